// What a host does under Wayland: a connection, windows with one colour behind everything, and a look at the screen.
// Sizes and places are in pixels of the screen, as a view's are, and whole in the compositor's own units: multiples of
// 3 under a scale of 1.5, of 2 under one of 2. What is asked of the compositor is done when the call returns. Links no
// code of the library.
#ifndef QUARN_TESTS_SUPPORT_WAYLAND_WINDOW_H_
#define QUARN_TESTS_SUPPORT_WAYLAND_WINDOW_H_

#include <gtest/gtest.h>
#include <wayland-client-protocol.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tests/support/comes_true.h"
#include "tests/support/image_compare.h"
#include "tests/support/wayland_compositor.h"

struct wp_viewport;
struct wp_viewporter;
struct weston_screenshooter;
struct xdg_surface;
struct xdg_toplevel;
struct xdg_wm_base;
struct zwlr_screencopy_manager_v1;
struct zwlr_virtual_pointer_manager_v1;
struct zxdg_output_manager_v1;
struct zxdg_output_v1;

namespace test {

// A buffer that the compositor reads, in shared memory.
class WaylandBuffer {
 public:
  WaylandBuffer(wl_shm* shm, int width, int height, std::uint32_t format, int stride);
  ~WaylandBuffer();
  WaylandBuffer(const WaylandBuffer&) = delete;
  WaylandBuffer& operator=(const WaylandBuffer&) = delete;

  wl_buffer* get() const { return buffer_; }
  unsigned char* data() const { return static_cast<unsigned char*>(data_); }
  std::size_t size() const { return size_; }

 private:
  wl_buffer* buffer_ = nullptr;
  void* data_ = nullptr;
  std::size_t size_ = 0;
};

// A host's connection to a compositor, and its event loop, which runs while a call waits. One thread at a time.
class WaylandConnection {
 public:
  explicit WaylandConnection(const WaylandCompositor& compositor);
  ~WaylandConnection();
  WaylandConnection(const WaylandConnection&) = delete;
  WaylandConnection& operator=(const WaylandConnection&) = delete;

  bool ok() const;
  wl_display* get() const { return display_; }
  const WaylandCompositor& compositor() const { return compositor_; }
  wl_compositor* surfaces() const { return surfaces_; }
  wl_subcompositor* subsurfaces() const { return subsurfaces_; }
  // Pixels of the screen for each of the compositor's units. Known anew after a Sync.
  double scale() const;
  // Waits until the compositor has done what was asked of it, and has the host do what it was told meanwhile.
  void Sync() const;
  // Ends the connection early, as a crash of the host would. No window of it may be used after that.
  void Disconnect();
  // A part of the screen, as one sees it; what is off the screen is black. Empty when the compositor has no answer.
  Picture ReadScreen(int x, int y, int width, int height) const;
  // Brings a pointer to a place of the screen, presses its button, lets it go and takes it away: for sway.
  void Click(int x, int y);
  // The surface that was clicked last since the last call, and where; null when none was.
  wl_surface* TakeClick(double* x, double* y);

 private:
  friend class WaylandWindow;
  struct Listeners;
  struct Shot;

  Picture ReadAll() const;

  const WaylandCompositor& compositor_;
  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_compositor* surfaces_ = nullptr;
  wl_subcompositor* subsurfaces_ = nullptr;
  wl_shm* shm_ = nullptr;
  wl_seat* seat_ = nullptr;
  wl_pointer* pointer_ = nullptr;
  wl_output* output_ = nullptr;
  xdg_wm_base* shell_ = nullptr;
  wp_viewporter* viewporter_ = nullptr;
  zxdg_output_manager_v1* output_manager_ = nullptr;
  zxdg_output_v1* logical_output_ = nullptr;
  weston_screenshooter* screenshooter_ = nullptr;
  zwlr_screencopy_manager_v1* screencopy_ = nullptr;
  zwlr_virtual_pointer_manager_v1* pointers_ = nullptr;
  int width_ = 0;  // Of the screen, in pixels.
  int height_ = 0;
  int logical_width_ = 0;
  int logical_height_ = 0;
  wl_surface* entered_ = nullptr;
  double pointer_x_ = 0;
  double pointer_y_ = 0;
  wl_surface* clicked_ = nullptr;
  double clicked_x_ = 0;
  double clicked_y_ = 0;
};

struct WaylandWindowOptions {
  int x = 0;  // In sway.
  int y = 0;
  std::uint32_t background = 0x00f000;  // What it shows where nothing else does: 0xrrggbb.
  bool mapped = true;
  std::string title = "a window";
};

class WaylandWindow {
 public:
  WaylandWindow(WaylandConnection& connection, int width, int height, const WaylandWindowOptions& options = {});
  ~WaylandWindow();
  WaylandWindow(const WaylandWindow&) = delete;
  WaylandWindow& operator=(const WaylandWindow&) = delete;

  wl_surface* surface() const { return surface_; }
  // As GsWindowInfo wants it.
  void* handle() const { return surface_; }

  // A window that is not mapped has no picture, and nothing in it has. As toolkits do, it stops being a window of the
  // shell's meanwhile; the surface stays.
  void Map();
  void Unmap();
  void Resize(int width, int height);
  // What a host does that draws: whatever waits for the parent's next commit happens.
  void Commit();
  void Destroy();
  // For sway: where it is, and whether it is seen. Somebody else hides it, and it is not told.
  void MoveTo(int x, int y);
  void Hide();
  void Show();
  // What the user asks for at its corner. Whether the compositor knows it is the compositor's.
  void Minimize();

  // What the screen shows where the window is; empty when the compositor has no answer.
  Picture Read() const;
  // Reads until the picture is the expected one or the patience runs out, then judges. `between` is called before each
  // look, to draw a frame for instance.
  ::testing::AssertionResult ComesToShow(const Picture& expected, const Tolerance& tolerance,
                                         const std::function<void()>& between = nullptr) const;

 private:
  struct Listeners;

  void Attach();
  void DestroyRole();
  bool Command(const std::string& what) const;

  WaylandConnection& connection_;
  const WaylandWindowOptions options_;
  const bool is_in_weston_;
  const std::string name_;  // By which commands find it.
  int x_;
  int y_;
  int width_;
  int height_;
  bool configured_ = false;
  wl_surface* surface_ = nullptr;
  wp_viewport* viewport_ = nullptr;
  xdg_surface* shell_surface_ = nullptr;
  xdg_toplevel* toplevel_ = nullptr;
  std::unique_ptr<WaylandBuffer> background_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_WAYLAND_WINDOW_H_
