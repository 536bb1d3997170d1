// Windows in an X11 window of the host's.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_H_

#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

class X11Window;

// The library's own connection to the X server, so that nothing that the host does to its connection concerns us, and
// an error is an answer instead of the end of the process. The GL driver sends its requests on it too.
//
// Thread: what windows do belongs to the window thread, the rest to any.
class X11Connection {
 public:
  // The process's connection to the server that DISPLAY names, made by the first call that finds one; null without.
  // Never closed, for an EGL display on it is for ever.
  static X11Connection* Get();

  xcb_connection_t* xcb() const { return connection_; }
  int screen_number() const { return screen_number_; }
  const xcb_screen_t* screen() const { return screen_; }
  // Whether windows can have a region that takes input.
  bool has_shapes() const { return has_shapes_; }

  // Takes in what the server has sent, answers to unchecked requests of the driver included. Returns whether the server
  // is still there; when it is not, the log says so, once.
  bool Poll();

 private:
  friend class X11Window;

  X11Connection(xcb_connection_t* connection, int screen_number);
  void Add(X11Window* window);
  void Remove(X11Window* window);
  void Dispatch(const xcb_generic_event_t& event);

  xcb_connection_t* const connection_;
  const int screen_number_;
  const xcb_screen_t* screen_ = nullptr;
  bool has_shapes_ = false;
  std::vector<X11Window*> windows_;
  bool lost_ = false;
};

// A window inside one of the host's, at its upper left corner, of a visual of our own choice: the host's toolkit may
// have a drawable on its window, and another visual. It asks for no input and takes none, so that to the pointer there
// is the host's window only.
class X11Window {
 public:
  // Null when there is no such window or it takes none inside. The log says which, but where the server does not know
  // the window: *missing is true then, and the rest the caller's to say.
  //
  // Blocks: until the server has answered.
  static std::unique_ptr<X11Window> Create(X11Connection* connection, void* host_window, xcb_visualid_t visual,
                                           unsigned int width, unsigned int height, bool* missing);
  ~X11Window();
  X11Window(const X11Window&) = delete;
  X11Window& operator=(const X11Window&) = delete;

  xcb_window_t id() const { return id_; }
  xcb_window_t host_window() const { return host_window_; }
  // Whether the window exists. It goes with the host's.
  bool Alive() const;
  // The size last given to it.
  std::uint16_t width() const { return width_; }
  std::uint16_t height() const { return height_; }
  // Does not wait for the server.
  void Resize(unsigned int width, unsigned int height);
  // What the server fills the window with where it is new or comes to light again; before the first call it leaves
  // there what it finds. Does not wait for the server.
  void SetBackground(float r, float g, float b);

 private:
  friend class X11Connection;

  X11Window(X11Connection* connection, xcb_window_t host_window, unsigned int width, unsigned int height);

  X11Connection* const connection_;
  const xcb_window_t host_window_;
  const xcb_window_t id_;
  const xcb_visualtype_t* visual_ = nullptr;
  xcb_colormap_t colormap_ = XCB_NONE;
  std::optional<std::uint32_t> background_;  // As a pixel.
  std::uint16_t width_;
  std::uint16_t height_;
  bool destroyed_ = false;  // Written by the connection.
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_X11_WINDOW_H_
