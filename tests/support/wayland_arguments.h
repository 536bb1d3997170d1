// The arguments of a request to a Wayland compositor, for functions that stand in for wl_proxy_marshal_flags.
#ifndef QUARN_TESTS_SUPPORT_WAYLAND_ARGUMENTS_H_
#define QUARN_TESTS_SUPPORT_WAYLAND_ARGUMENTS_H_

#include <wayland-client-core.h>

#include <cstdarg>
#include <cstdint>

namespace test {

// As many as a request can have.
struct WaylandArguments {
  wl_argument values[20] = {};
};

// Takes them out of the list, as the request's signature has them.
inline WaylandArguments TakeWaylandArguments(wl_proxy* proxy, std::uint32_t request, va_list list) {
  // No function tells a proxy's interface; it is the first that a proxy has.
  const wl_interface* const interface = *reinterpret_cast<const wl_interface* const*>(proxy);
  WaylandArguments arguments;
  wl_argument* next = arguments.values;
  for (const char* type = interface->methods[request].signature; *type; ++type) {
    switch (*type) {
      case 'i':
      case 'f':
      case 'h': (next++)->i = va_arg(list, std::int32_t); break;
      case 'u': (next++)->u = va_arg(list, std::uint32_t); break;
      case 's':
      case 'o':
      case 'n':
      case 'a': (next++)->s = va_arg(list, const char*); break;
      default: break;  // A version, or that an argument may be null.
    }
  }
  return arguments;
}

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_WAYLAND_ARGUMENTS_H_
