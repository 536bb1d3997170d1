// Windows inside Wayland surfaces of the host's.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_WINDOW_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_WINDOW_H_

#include <fractional-scale-v1-client-protocol.h>
#include <viewporter-client-protocol.h>
#include <wayland-client.h>
#include <wayland-egl.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "graphics/opengl/cgl/linux/native_window.h"
#include "graphics/opengl/cgl/linux/window_system.h"

class WaylandWindowSystem;

// A subsurface of the host's surface, with another in it, which has the pictures. A subsurface's place belongs to the
// surface around it and changes when that is committed, and the host's surface is the host's to commit: the outer one,
// the anchor, which is one transparent pixel, is there so that the place can change without the host. Neither takes
// input.
//
// Nothing here waits for the compositor. A compositor that is stopped, or does not show the window, takes a connection
// that is full for the end of it, so no picture and no place is sent before the last one has been answered: a picture
// waits for the frame callback of the one before, a place for the answer to a wl_display.sync.
class WaylandWindow : public NativeWindow {
 public:
  // Null when there is no window or it is no surface; the log says which.
  static std::unique_ptr<WaylandWindow> Create(WaylandWindowSystem* system, const WindowSystem::WindowRequest& request);
  ~WaylandWindow() override;

  bool Alive() const override;
  void LogGone() const override;
  // A whole number of units, where the compositor cannot be told another number of them than a buffer has.
  unsigned int width() const override { return buffer_width_; }
  unsigned int height() const override { return buffer_height_; }
  // Where the surface has grown it is seen only with a picture of the new size.
  void Resize(unsigned int width, unsigned int height) override;
  void Move(int x, int y) override;
  float scale() const override;
  // A surface is never larger than its picture: there is nothing to fill.
  void SetBackground(float, float, float) override {}
  bool Ready() override;
  void BeginPresent() override;
  void EndPresent(bool taken) override;
  void* egl_window() override { return egl_window_; }

  wl_surface* surface() const { return surface_; }
  // A screen has gone.
  void NoteLeft(wl_output* output);
  // Follows the scale of the screens. To be called when what the compositor has sent is taken in.
  void TakeInScale();

 private:
  WaylandWindow(WaylandWindowSystem* system, const WindowSystem::WindowRequest& request);

  bool MakeSurfaces(wl_surface* host_surface);
  // Makes a subsurface of `parent`, which changes by itself and takes no input. False where memory is missing.
  bool MakeSubsurface(wl_surface* parent, wl_surface** surface, wl_subsurface** subsurface);
  // The size of the buffers, from the size and the scale.
  void SetBufferSize();
  // How large the picture is on the screen, from its size and the scale; holds from the surface's next commit on.
  void SetViewport(unsigned int width, unsigned int height);
  void SendPlace();

  static WaylandWindow* From(void* data) { return static_cast<WaylandWindow*>(data); }
  static void OnFrame(void* data, wl_callback*, std::uint32_t);
  static void OnPlaceTaken(void* data, wl_callback*, std::uint32_t);
  static void OnEnter(void* data, wl_surface*, wl_output* output);
  static void OnLeave(void* data, wl_surface*, wl_output* output);
  static void OnPreferredScale(void* data, wp_fractional_scale_v1*, std::uint32_t scale);

  WaylandWindowSystem* const system_;
  const std::function<void()> on_ready_;
  const std::function<void(float)> on_scale_;
  wl_surface* anchor_ = nullptr;
  wl_subsurface* anchor_place_ = nullptr;
  wl_surface* surface_ = nullptr;
  wl_subsurface* place_ = nullptr;
  wp_viewport* viewport_ = nullptr;  // Null where the compositor has none; then scales are whole numbers.
  wp_fractional_scale_v1* fractional_scale_ = nullptr;
  wl_egl_window* egl_window_ = nullptr;

  unsigned int width_;
  unsigned int height_;
  unsigned int buffer_width_ = 0;
  unsigned int buffer_height_ = 0;
  unsigned int shown_width_ = 0;  // Of the picture that was presented last; 0 before the first.
  unsigned int shown_height_ = 0;
  wl_callback* frame_ = nullptr;  // Until the compositor wants the next picture.
  bool was_unready_ = false;      // Whether somebody waits for that.

  std::vector<wl_output*> entered_;   // The screens that it is on.
  unsigned int preferred_scale_ = 0;  // In 120ths; 0 while the compositor has not told.
  unsigned int scale_ = 0;            // In 120ths, the one that is used.
  unsigned int buffer_scale_ = 1;     // Of the buffers, without a viewport.

  int x_;  // In pixels.
  int y_;
  int sent_x_ = 0;  // In units.
  int sent_y_ = 0;
  wl_callback* place_taken_ = nullptr;  // Until the compositor has taken in the place that was sent.
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_WINDOW_H_
