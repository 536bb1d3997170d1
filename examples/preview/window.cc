#include "preview/window.h"

#include <SDL_syswm.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "studio/error.h"

namespace preview {
namespace {

using studio::Error;
using studio::Size;
using studio::Vec;

constexpr int kMinSide = 64;

[[noreturn]] void Fail() {
  const std::string why = SDL_GetError();
  SDL_Quit();
  const char* const display = std::getenv("DISPLAY");
  if (!display || !*display) throw Error("cannot open a window: there is no X display (DISPLAY is not set)");
  throw Error("cannot open a window on display " + std::string(display) + " (" + why + ")");
}

}  // namespace

Window::Window(Size wanted) {
  // Views are for X11 windows; under Wayland that is XWayland.
  SDL_SetHintWithPriority(SDL_HINT_VIDEODRIVER, "x11", SDL_HINT_OVERRIDE);
  SDL_SetHint(SDL_HINT_VIDEO_ALLOW_SCREENSAVER, "1");
  SDL_SetHint(SDL_HINT_VIDEO_X11_NET_WM_BYPASS_COMPOSITOR, "0");
  SDL_SetHint(SDL_HINT_MOUSE_FOCUS_CLICKTHROUGH, "1");  // The click that activates the window selects, too.
  SDL_SetHint(SDL_HINT_QUIT_ON_LAST_WINDOW_CLOSE, "0");
  if (SDL_Init(SDL_INIT_VIDEO) != 0) Fail();
  SDL_StopTextInput();

  SDL_Rect screen = {0, 0, wanted.width, wanted.height};
  SDL_GetDisplayUsableBounds(0, &screen);
  window_ = SDL_CreateWindow("quarn-preview", SDL_WINDOWPOS_CENTERED, SDL_WINDOWPOS_CENTERED,
                             std::min(wanted.width, screen.w), std::min(wanted.height, screen.h),
                             SDL_WINDOW_RESIZABLE | SDL_WINDOW_ALLOW_HIGHDPI);
  if (!window_) Fail();
  SDL_SetWindowMinimumSize(window_, kMinSide, kMinSide);
  SDL_EventState(SDL_DROPFILE, SDL_ENABLE);
}

Window::~Window() {
  for (const auto& [name, cursor] : cursors_) SDL_FreeCursor(cursor);
  SDL_DestroyWindow(window_);
  SDL_Quit();
}

void* Window::handle() const {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!SDL_GetWindowWMInfo(window_, &info) || info.subsystem != SDL_SYSWM_X11) return nullptr;
  return reinterpret_cast<void*>(static_cast<std::uintptr_t>(info.info.x11.window));
}

Size Window::size() const {
  Size size;
#if SDL_VERSION_ATLEAST(2, 26, 0)
  SDL_GetWindowSizeInPixels(window_, &size.width, &size.height);
#else
  SDL_GetWindowSize(window_, &size.width, &size.height);  // On X11 the units of windows are pixels.
#endif
  return size;
}

Vec Window::ToPixels(int x, int y) const {
  Size points;
  SDL_GetWindowSize(window_, &points.width, &points.height);
  const Size pixels = size();
  const auto scaled = [](int value, int from, int to) {
    return (static_cast<float>(value) + 0.5f) * static_cast<float>(to) / static_cast<float>(from);
  };
  return Vec{scaled(x, points.width, pixels.width), scaled(y, points.height, pixels.height)};
}

Vec Window::PointerPixels() const {
  int x = 0, y = 0, left = 0, top = 0;
  SDL_GetGlobalMouseState(&x, &y);
  SDL_GetWindowPosition(window_, &left, &top);
  return ToPixels(x - left, y - top);
}

void Window::SetTitle(const std::string& title) {
  if (title == title_) return;
  title_ = title;
  SDL_SetWindowTitle(window_, title.c_str());
}

void Window::SetCursor(SDL_SystemCursor cursor) {
  if (cursor == cursor_) return;
  cursor_ = cursor;
  SDL_Cursor*& made = cursors_[cursor];
  if (!made) made = SDL_CreateSystemCursor(cursor);
  SDL_SetCursor(made);
}

}  // namespace preview
