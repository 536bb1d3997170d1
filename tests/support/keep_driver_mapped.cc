// Keeps what a process loads mapped until its end. A GL driver is otherwise unloaded before the leak checker reports:
// what its globals held then looks leaked, and its frames have no names.
//
// A library of its own, put before all others (LD_PRELOAD) in the tests of a build with AddressSanitizer.

#include <dlfcn.h>

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* file, int mode) {
  using Open = void* (*)(const char*, int);
  static const Open next = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
  return next(file, mode | RTLD_NODELETE);
}
