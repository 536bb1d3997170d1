// The linker sends the library's calls here.
#include "tests/support/failing_wayland.h"

#include <pthread.h>
#include <wayland-client-core.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <map>
#include <mutex>

#include "tests/support/wayland_arguments.h"

namespace {

std::mutex mutex;
std::string missing;
std::map<std::string, int> living;
std::atomic<bool> has_threads{true};
std::atomic<int> full{0};

bool IsMissing(const wl_interface* interface) {
  const std::lock_guard<std::mutex> lock(mutex);
  return interface && missing == interface->name;
}

void Count(const std::string& interface, int change) {
  const std::lock_guard<std::mutex> lock(mutex);
  living[interface] += change;
}

}  // namespace

extern "C" {

wl_proxy* __wrap_wl_proxy_marshal_flags(wl_proxy* proxy, std::uint32_t request, const wl_interface* interface,
                                        std::uint32_t version, std::uint32_t flags, ...) {
  if (IsMissing(interface)) {
    errno = ENOMEM;
    return nullptr;
  }
  va_list list;
  va_start(list, flags);
  test::WaylandArguments arguments = test::TakeWaylandArguments(proxy, request, list);
  va_end(list);
  if (flags & WL_MARSHAL_FLAG_DESTROY) Count(wl_proxy_get_class(proxy), -1);
  if (interface) Count(interface->name, 1);
  return wl_proxy_marshal_array_flags(proxy, request, interface, version, flags, arguments.values);
}

int __real_wl_display_flush(wl_display* display);
int __wrap_wl_display_flush(wl_display* display) {
  if (full == 0 || full-- == 0) return __real_wl_display_flush(display);
  errno = EAGAIN;
  return -1;
}

int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* arg) {
  return has_threads ? __real_pthread_create(thread, attributes, entry, arg) : EAGAIN;
}

}  // extern "C"

namespace test {

NoneOfInterface::NoneOfInterface(const std::string& name) {
  const std::lock_guard<std::mutex> lock(mutex);
  missing = name;
}

NoneOfInterface::~NoneOfInterface() {
  const std::lock_guard<std::mutex> lock(mutex);
  missing.clear();
}

int Living(const std::string& interface) {
  const std::lock_guard<std::mutex> lock(mutex);
  return living[interface];
}

FullConnection::FullConnection(int calls) { full = calls; }

FullConnection::~FullConnection() { full = 0; }

NoThreads::NoThreads() { has_threads = false; }

NoThreads::~NoThreads() { has_threads = true; }

}  // namespace test
