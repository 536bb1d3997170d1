// What the programs of this folder have in common: a view over the whole of a window that somebody presses in, and what
// the program hears of that, a line each on its standard output. They end with the release.
#ifndef QUARN_TESTS_X11_DRAG_HOSTS_DRAG_HOST_H_
#define QUARN_TESTS_X11_DRAG_HOSTS_DRAG_HOST_H_

#include <cstdint>
#include <cstdio>

#include <quarn/quarn.h>

constexpr int kDragHostWidth = 300;
constexpr int kDragHostHeight = 200;

// Starts the engine, which logs nothing.
inline bool StartEngine() {
  qn_set_log_handle(nullptr, nullptr);
  return GsDevice::CreateDefaultDevice(true);
}

// A view that is red all over.
struct DragHostView : GsView {
  explicit DragHostView(std::uintptr_t window)
      : GsView({reinterpret_cast<void*>(window)}, kDragHostWidth, kDragHostHeight, nullptr) {
    SetBackgroundColor(1, 0, 0, 1);
    Attch();
  }
  ~DragHostView() override { Detach(); }
};

inline void Say(const char* what, int x, int y) {
  std::printf("%s %d %d\n", what, x, y);
  std::fflush(stdout);
}

#endif  // QUARN_TESTS_X11_DRAG_HOSTS_DRAG_HOST_H_
