// A window for a view's pictures, inside one of the host's: what every window system of this platform offers.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_NATIVE_WINDOW_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_NATIVE_WINDOW_H_

// Made by WindowSystem::CreateWindow. It lies somewhere in the host's window and gets none of its input.
// Sizes are in pixels of pictures: a window system that counts in other units, or scales, converts them inside.
//
// Thread: window.
class NativeWindow {
 public:
  NativeWindow() = default;
  // Takes it out of the host's window again, whether that still exists or not.
  virtual ~NativeWindow() = default;
  NativeWindow(const NativeWindow&) = delete;
  NativeWindow& operator=(const NativeWindow&) = delete;

  // Puts it into the host's window and has it seen. Before that, its surface is made: a driver may not survive that of
  // a window that goes meanwhile, as it does with the host's. Where that has gone this one counts as gone, unseen, and
  // lasts until its end.
  virtual void Enter() {}
  // Whether the window exists: it goes with the host's, and with the window system. Takes in what the window system has
  // sent before it answers.
  virtual bool Alive() const = 0;
  // Says in the log that the host's window has gone, by the handle that the host knows.
  virtual void LogGone() const = 0;

  // The size last given to it, as the window system has taken it: within its limits.
  virtual unsigned int width() const = 0;
  virtual unsigned int height() const = 0;
  // Does not wait for the window system.
  virtual void Resize(unsigned int width, unsigned int height) = 0;
  // Puts its upper left corner that many pixels to the right of the host's window's, and below. It may lie outside, in
  // part or as a whole. Does not wait for the window system.
  virtual void Move(int x, int y) = 0;
  // How many pixels of pictures lie on a unit that the host's window is measured in.
  virtual float scale() const { return 1; }
  // What the window system fills the window with where it is new or comes to light again, each part 0 to 1; before the
  // first call it leaves there what it finds. Does not wait for the window system.
  virtual void SetBackground(float r, float g, float b) = 0;

  // Whether the window system wants a picture now. Where it does not, for it has not shown the last one yet, or does
  // not show the window at all, WindowRequest::on_ready follows when it does.
  virtual bool Ready() { return true; }
  // Around the handing over of a picture, by eglSwapBuffers; `taken`: whether that was done.
  virtual void BeginPresent() {}
  virtual void EndPresent(bool /*taken*/) {}

  // What eglCreatePlatformWindowSurfaceEXT wants to be given for it, valid as long as the window.
  virtual void* egl_window() = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_NATIVE_WINDOW_H_
