#include "tests/support/wayland_user.h"

#include <linux/input-event-codes.h>
#include <sys/mman.h>
#include <unistd.h>
#include <virtual-keyboard-unstable-v1-client-protocol.h>
#include <wayland-client.h>
#include <wlr-virtual-pointer-unstable-v1-client-protocol.h>

#include <chrono>
#include <cstring>

namespace test {
namespace {

// The compositor makes the whole of it.
constexpr char kKeymap[] = R"(xkb_keymap {
  xkb_keycodes { include "evdev" };
  xkb_types { include "complete" };
  xkb_compat { include "complete" };
  xkb_symbols { include "pc+us" };
};)";

// As the keymap's first eight are numbered: those of X.
std::uint32_t ModifierOf(std::uint32_t key) {
  switch (key) {
    case KEY_LEFTSHIFT: return 1u << 0;
    case KEY_LEFTCTRL: return 1u << 2;
    case KEY_LEFTALT: return 1u << 3;
    default: return 0;
  }
}

// In milliseconds: by it programs tell two clicks from a double one.
std::uint32_t Now() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

}  // namespace

struct WaylandUser::Listeners {
  static void Global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                     std::uint32_t /*version*/) {
    auto* const user = static_cast<WaylandUser*>(data);
    const auto bind = [&](const wl_interface& wanted, auto** object) {
      if (*object || std::strcmp(interface, wanted.name) != 0) return;
      *object = static_cast<std::remove_reference_t<decltype(*object)>>(wl_registry_bind(registry, name, &wanted, 1));
    };
    bind(wl_seat_interface, &user->seat_);
    bind(zwlr_virtual_pointer_manager_v1_interface, &user->pointers_);
    bind(zwp_virtual_keyboard_manager_v1_interface, &user->keyboards_);
  }
  static void GlobalRemove(void* /*data*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}
  static constexpr wl_registry_listener kRegistry = {Global, GlobalRemove};
};

WaylandUser::WaylandUser(const WaylandCompositor& compositor)
    : width_(compositor.options().width),
      height_(compositor.options().height),
      display_(wl_display_connect(compositor.socket().c_str())) {
  if (!display_) return;
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &Listeners::kRegistry, this);
  wl_display_roundtrip(display_);
  if (!seat_ || !pointers_ || !keyboards_) return;
  pointer_ = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(pointers_, seat_);
  keyboard_ = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(keyboards_, seat_);
  SendKeymap();
  wl_display_roundtrip(display_);
}

WaylandUser::~WaylandUser() {
  if (!display_) return;
  if (pointer_) zwlr_virtual_pointer_v1_destroy(pointer_);
  if (keyboard_) zwp_virtual_keyboard_v1_destroy(keyboard_);
  if (pointers_) zwlr_virtual_pointer_manager_v1_destroy(pointers_);
  if (keyboards_) zwp_virtual_keyboard_manager_v1_destroy(keyboards_);
  if (seat_) wl_seat_destroy(seat_);
  if (registry_) wl_registry_destroy(registry_);
  wl_display_disconnect(display_);
}

void WaylandUser::SendKeymap() {
  const int fd = memfd_create("keymap", MFD_CLOEXEC);
  if (write(fd, kKeymap, sizeof(kKeymap)) == static_cast<ssize_t>(sizeof(kKeymap))) {
    zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd, sizeof(kKeymap));
  }
  close(fd);
}

void WaylandUser::MoveTo(int x, int y) {
  // A hand's way is made of many steps. A program into whose window the first one leads hears of it as an entering
  // only.
  for (const int from : {x > 0 ? x - 1 : x + 1, x}) {
    zwlr_virtual_pointer_v1_motion_absolute(pointer_, Now(), static_cast<std::uint32_t>(from),
                                            static_cast<std::uint32_t>(y), static_cast<std::uint32_t>(width_),
                                            static_cast<std::uint32_t>(height_));
    zwlr_virtual_pointer_v1_frame(pointer_);
  }
  wl_display_roundtrip(display_);
}

void WaylandUser::Button(std::uint32_t state) {
  zwlr_virtual_pointer_v1_button(pointer_, Now(), BTN_LEFT, state);
  zwlr_virtual_pointer_v1_frame(pointer_);
  wl_display_roundtrip(display_);
}

void WaylandUser::Drag(int from_x, int from_y, int to_x, int to_y) {
  MoveTo(from_x, from_y);
  Press();
  if (to_x != from_x || to_y != from_y) MoveTo(to_x, to_y);
  Release();
}

void WaylandUser::KeyIs(std::uint32_t key, std::uint32_t state) {
  zwp_virtual_keyboard_v1_key(keyboard_, Now(), key, state);
  // Programs are told of keys and of modifiers, and this keyboard has to tell both.
  if (const std::uint32_t modifier = ModifierOf(key)) {
    modifiers_ = state == WL_KEYBOARD_KEY_STATE_PRESSED ? modifiers_ | modifier : modifiers_ & ~modifier;
    zwp_virtual_keyboard_v1_modifiers(keyboard_, modifiers_, 0, 0, 0);
  }
  wl_display_roundtrip(display_);
}

void WaylandUser::Key(std::uint32_t key) {
  HoldKey(key);
  LetKeyGo(key);
}

void WaylandUser::Key(std::uint32_t held, std::uint32_t key) {
  HoldKey(held);
  Key(key);
  LetKeyGo(held);
}

}  // namespace test
