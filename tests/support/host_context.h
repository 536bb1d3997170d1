// A GL context of a host's own, on the display that a library without a window system uses.
#ifndef QUARN_TESTS_SUPPORT_HOST_CONTEXT_H_
#define QUARN_TESTS_SUPPORT_HOST_CONTEXT_H_

#include <EGL/egl.h>

namespace test {

// Current on its thread from construction to destruction, but for what happens in between.
class HostContext {
 public:
  enum class Api { kOpenGl, kOpenGlEs };

  explicit HostContext(Api api = Api::kOpenGl);
  ~HostContext();
  HostContext(const HostContext&) = delete;
  HostContext& operator=(const HostContext&) = delete;

  void MakeCurrent();
  // Whether it is current, with its API as the thread's choice.
  bool IsCurrent() const;
  void Destroy();

 private:
  const EGLenum api_;
  EGLDisplay display_;
  EGLContext context_;
};

// The display, as a host gets it; and its end, for everybody in the process.
EGLDisplay SharedDisplay();
void TerminateSharedDisplay();

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_HOST_CONTEXT_H_
