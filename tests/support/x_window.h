// What a host does in X11: connections and windows of its own, and a look at what they show. Everything that is asked
// of the server is done when the call returns. Links no code of the library.
#ifndef QUARN_TESTS_SUPPORT_X_WINDOW_H_
#define QUARN_TESTS_SUPPORT_X_WINDOW_H_

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <string>

#include "tests/support/comes_true.h"
#include "tests/support/image_compare.h"

namespace test {

// A host's connection to the X server of DISPLAY.
class XConnection {
 public:
  explicit XConnection(const std::string& display = "");
  ~XConnection();
  XConnection(const XConnection&) = delete;
  XConnection& operator=(const XConnection&) = delete;

  bool ok() const { return connection_ && xcb_connection_has_error(connection_) == 0; }
  xcb_connection_t* get() const { return connection_; }
  const xcb_screen_t* screen() const { return screen_; }
  // The first true-colour visual of that depth, and 0 when there is none.
  xcb_visualid_t FindVisual(int depth) const;
  // These live as long as the connection.
  std::uint32_t MakePixmap(int width, int height) const;
  xcb_window_t MakeInputOnlyWindow(int width, int height) const;
  // The id of the first window below the root that is to be seen and has this title; 0 when there is none.
  xcb_window_t FindWindow(const std::string& title) const;
  // Waits until the server has done what was asked of it.
  void Sync() const;
  // Ends the connection early, as a crash of the host would: the server destroys what was made on it.
  void Disconnect();
  // A part of the screen, as one sees it.
  Picture ReadScreen(int x, int y, int width, int height) const;

 private:
  xcb_connection_t* connection_;
  const xcb_screen_t* screen_ = nullptr;
};

struct XWindowOptions {
  int x = 0;
  int y = 0;
  std::uint32_t background = 0x00f000;  // What the server fills it with: 0xrrggbb.
  int depth = 0;                        // The screen's when 0.
  bool mapped = true;
  xcb_window_t parent = 0;  // The root when 0.
};

class XWindow {
 public:
  XWindow(const XConnection& connection, int width, int height, const XWindowOptions& options = {});
  // Somebody else's, which stays theirs.
  XWindow(const XConnection& connection, xcb_window_t id);
  ~XWindow();
  XWindow(const XWindow&) = delete;
  XWindow& operator=(const XWindow&) = delete;

  xcb_window_t id() const { return id_; }
  // As GsWindowInfo wants it.
  void* handle() const { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(id_)); }

  void Map();
  void Unmap();
  void Resize(int width, int height);
  void MoveTo(int x, int y);
  void Raise();
  void Lower();
  void Destroy();
  // How many windows there are in this one, and whether there come to be `count`: another connection's requests take
  // their time.
  int ChildCount() const;
  bool ComesToHold(int count) const;
  // Presses a button at a place of the window, as the user would, and returns whether the window's owner is told of
  // it, with that place.
  bool HearsAClickAt(int x, int y);
  // Asks the program that owns the window to close it, as a window manager does.
  void AskToClose();

  // What the window shows with all that is in it, alpha opaque; empty when the server has no answer. Parts that are off
  // the screen are undefined.
  Picture Read() const;
  // Reads until the picture is the expected one or the patience runs out, then judges. `between` is called before each
  // look, to draw a frame for instance.
  ::testing::AssertionResult ComesToShow(const Picture& expected, const Tolerance& tolerance,
                                         const std::function<void()>& between = nullptr) const;

 private:
  void Configure(std::uint16_t mask, const std::uint32_t* values);

  const XConnection& connection_;
  xcb_window_t id_ = 0;
  bool owned_ = false;
  // A window's own image is undefined where a child has another depth; the screen's is not.
  bool read_from_screen_ = false;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_X_WINDOW_H_
