// Windows inside X11 windows of the host's.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_H_

#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

#include "graphics/opengl/cgl/linux/native_window.h"
#include "graphics/opengl/cgl/linux/window_system.h"

class X11WindowSystem;

// What the server answers, which xcb leaves to be freed.
struct X11Free {
  void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using X11Reply = std::unique_ptr<T, X11Free>;

// A window inside one of the host's, of a visual of our own choice: the host's toolkit may have a drawable on its
// window, and another visual. It asks for no input and takes none, so that to the pointer there is the host's window
// only.
class X11Window : public NativeWindow {
 public:
  // Null when there is no such window or it takes none inside. The log says which, but where the server does not know
  // the window: *missing is true then, and the rest the caller's to say.
  //
  // Blocks: until the server has answered.
  static std::unique_ptr<X11Window> Create(X11WindowSystem* system, const WindowSystem::WindowRequest& request,
                                           bool* missing);
  ~X11Window() override;

  void Enter() override;
  bool Alive() const override;
  void LogGone() const override;
  unsigned int width() const override { return width_; }
  unsigned int height() const override { return height_; }
  void Resize(unsigned int width, unsigned int height) override;
  void Move(int x, int y) override;
  void SetBackground(float r, float g, float b) override;
  // The interface that takes a platform's window wants a pointer to the id.
  void* egl_window() override { return &id_; }

  xcb_window_t id() const { return id_; }
  // The server has said that the window is no more.
  void NoteDestroyed() { destroyed_ = true; }

 private:
  X11Window(X11WindowSystem* system, xcb_window_t host_window, const WindowSystem::WindowRequest& request);

  // Asks the server for another place or size, by xcb's mask.
  void Configure(std::uint16_t what, const std::uint32_t* values);

  X11WindowSystem* const system_;
  const xcb_window_t host_window_;
  xcb_window_t id_;
  const xcb_visualtype_t* visual_ = nullptr;
  xcb_colormap_t colormap_ = XCB_NONE;
  std::optional<std::uint32_t> background_;  // As a pixel.
  std::uint16_t width_;
  std::uint16_t height_;
  std::int16_t x_;
  std::int16_t y_;
  bool destroyed_ = false;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_H_
