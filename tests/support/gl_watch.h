// What a test tells gl_watch, which stands between it and the driver in some lanes of scripts/check.
//
//   const test::WrongOnPurpose wrong;  // What the driver says until its end is listed, and fails nothing.
#ifndef QUARN_TESTS_SUPPORT_GL_WATCH_H_
#define QUARN_TESTS_SUPPORT_GL_WATCH_H_

#include <dlfcn.h>

namespace test {

class WrongOnPurpose {
 public:
  WrongOnPurpose() { Expect(1); }
  ~WrongOnPurpose() { Expect(-1); }
  WrongOnPurpose(const WrongOnPurpose&) = delete;
  WrongOnPurpose& operator=(const WrongOnPurpose&) = delete;

 private:
  static void Expect(int more) {
    const auto expect = reinterpret_cast<void (*)(int)>(dlsym(RTLD_DEFAULT, "quarn_gl_watch_expect"));
    if (expect) expect(more);
  }
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_GL_WATCH_H_
