// Somebody who sits at an X server: a pointer, a keyboard, and files to drop. Everything that is done has reached the
// server when the call returns, and programs get it in that order. Links no code of the library.
#ifndef QUARN_TESTS_SUPPORT_X_USER_H_
#define QUARN_TESTS_SUPPORT_X_USER_H_

#include <xcb/xcb.h>

#include <cstdint>
#include <string>

#include "tests/support/x_window.h"

namespace test {

// Works on one window; positions are counted from its upper left corner. Keys are the values of X11/keysym.h.
class XUser {
 public:
  // Gives the window the keyboard's focus: there is no window manager to do it.
  XUser(const XConnection& connection, xcb_window_t window);

  void MoveTo(int x, int y);
  void Press();
  void Release();
  void Click(int x, int y);
  // Presses at one place and releases at another.
  void Drag(int from_x, int from_y, int to_x, int to_y);

  void HoldKey(std::uint32_t keysym);
  void LetKeyGo(std::uint32_t keysym);
  void Key(std::uint32_t keysym);
  // With another one held down.
  void Key(std::uint32_t held, std::uint32_t keysym);

  // Drops the file as a file manager does: returns once the window has taken it. False when it does not.
  bool DropFile(const std::string& path, int x, int y);

  // The title as UTF-8; empty when the window is gone.
  std::string Title() const;

 private:
  struct Point {
    int x, y;
  };

  void Fake(std::uint8_t type, std::uint8_t detail, Point point = Point());
  void FakeKey(std::uint8_t type, std::uint32_t keysym);
  Point ToScreen(int x, int y) const;
  void SendToWindow(const char* type, xcb_window_t source, std::uint32_t a, std::uint32_t b, std::uint32_t c,
                    std::uint32_t d) const;

  const XConnection& connection_;
  const xcb_window_t window_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_X_USER_H_
