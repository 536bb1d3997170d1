// Somebody who sits at a Wayland compositor: a pointer and a keyboard. Everything that is done has reached the
// compositor when the call returns, and programs get it in that order. Links no code of the library.
#ifndef QUARN_TESTS_SUPPORT_WAYLAND_USER_H_
#define QUARN_TESTS_SUPPORT_WAYLAND_USER_H_

#include <wayland-client-protocol.h>

#include <cstdint>

#include "tests/support/wayland_compositor.h"

struct zwlr_virtual_pointer_manager_v1;
struct zwlr_virtual_pointer_v1;
struct zwp_virtual_keyboard_manager_v1;
struct zwp_virtual_keyboard_v1;

namespace test {

// For sway. Places are pixels of the screen, and keys those of linux/input-event-codes.h on a keyboard of the United
// States.
class WaylandUser {
 public:
  explicit WaylandUser(const WaylandCompositor& compositor);
  ~WaylandUser();
  WaylandUser(const WaylandUser&) = delete;
  WaylandUser& operator=(const WaylandUser&) = delete;

  bool ok() const { return pointer_ && keyboard_; }

  void MoveTo(int x, int y);
  void Press() { Button(WL_POINTER_BUTTON_STATE_PRESSED); }
  void Release() { Button(WL_POINTER_BUTTON_STATE_RELEASED); }
  void Click(int x, int y) { Drag(x, y, x, y); }
  // Presses at one place and releases at another.
  void Drag(int from_x, int from_y, int to_x, int to_y);

  void HoldKey(std::uint32_t key) { KeyIs(key, WL_KEYBOARD_KEY_STATE_PRESSED); }
  void LetKeyGo(std::uint32_t key) { KeyIs(key, WL_KEYBOARD_KEY_STATE_RELEASED); }
  void Key(std::uint32_t key);
  // With another one held down.
  void Key(std::uint32_t held, std::uint32_t key);

 private:
  struct Listeners;

  void SendKeymap();
  void Button(std::uint32_t state);
  void KeyIs(std::uint32_t key, std::uint32_t state);

  const int width_;  // Of the screen.
  const int height_;
  std::uint32_t modifiers_ = 0;  // That are held.
  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_seat* seat_ = nullptr;
  zwlr_virtual_pointer_manager_v1* pointers_ = nullptr;
  zwp_virtual_keyboard_manager_v1* keyboards_ = nullptr;
  zwlr_virtual_pointer_v1* pointer_ = nullptr;
  zwp_virtual_keyboard_v1* keyboard_ = nullptr;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_WAYLAND_USER_H_
