// Keeps what a process loads mapped until its end. A GL driver is otherwise unloaded before the leak checker reports:
// what its globals held then looks leaked, and its frames have no names.
//
// It also frees what one function of a driver, which has no name, leaks.
//
// A library of its own, put before all others (LD_PRELOAD) in the tests of a build with AddressSanitizer.

#include <dlfcn.h>
#include <xcb/xcb.h>

#include <cstdlib>

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* file, int mode) {
  using Open = void* (*)(const char*, int);
  static const Open next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
  return next(file, mode | RTLD_NODELETE);
}

// Mesa asks for the size of the window that it draws into. Where there is no such window any more, it makes do without
// an answer and forgets the error that it was given instead.
extern "C" __attribute__((visibility("default"))) xcb_get_geometry_reply_t* xcb_get_geometry_reply(
    xcb_connection_t* connection, xcb_get_geometry_cookie_t cookie, xcb_generic_error_t** error) {
  using Reply = xcb_get_geometry_reply_t* (*)(xcb_connection_t*, xcb_get_geometry_cookie_t, xcb_generic_error_t**);
  static const Reply next =
      reinterpret_cast<Reply>(dlsym(dlopen("libxcb.so.1", RTLD_LAZY | RTLD_NOLOAD), "xcb_get_geometry_reply"));
  xcb_get_geometry_reply_t* const reply = next(connection, cookie, error);
  if (!reply && error) {
    std::free(*error);
    *error = nullptr;
  }
  return reply;
}
