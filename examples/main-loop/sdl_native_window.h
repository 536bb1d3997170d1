// What an SDL 2 program tells Quarn of its display and its windows, under Wayland or X11, whichever SDL has picked.
// Copy it into your program.
//
//   SDL_Window* window = SDL_CreateWindow(...);
//   if (!UseSdlDisplay(window)) ...             // before the first device
//   GsView view(SdlWindowInfo(window), ...);
//   PaintSdlWindow(window);                     // after that, and with each new size
//
// SDL counts in pixels under X11, and in the compositor's units under Wayland: what it tells is multiplied by
// GsView::WindowScale, which is asked again now and then: a compositor tells it when it likes.
#ifndef QUARN_EXAMPLES_MAIN_LOOP_SDL_NATIVE_WINDOW_H_
#define QUARN_EXAMPLES_MAIN_LOOP_SDL_NATIVE_WINDOW_H_

#include <SDL.h>
#include <SDL_syswm.h>

#include <cstdint>
#include <cstring>

#include <quarn/gs_view.h>
#include <quarn/qn_native_display.h>

// Under Wayland a window shows nothing, nor what lies in it, before it has been painted, and it is as large as what was
// painted last. For the first time SDL may make the window anew.
inline void PaintSdlWindow(SDL_Window* window) {
  if (std::strcmp(SDL_GetCurrentVideoDriver(), "wayland") != 0) return;
  SDL_FillRect(SDL_GetWindowSurface(window), nullptr, 0);
  SDL_UpdateWindowSurface(window);
}

// Hands SDL's connection to a Wayland compositor to Quarn, where SDL has one. Returns whether views can be shown.
inline bool UseSdlDisplay(SDL_Window* window) {
  PaintSdlWindow(window);  // From then on it stays the same.
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!SDL_GetWindowWMInfo(window, &info)) return false;
  if (info.subsystem != SDL_SYSWM_WAYLAND) return info.subsystem == SDL_SYSWM_X11;
  return qn_set_native_display(kQnNativeDisplayWayland, info.info.wl.display);
}

inline GsWindowInfo SdlWindowInfo(SDL_Window* window) {
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!SDL_GetWindowWMInfo(window, &info)) return {};
  if (info.subsystem == SDL_SYSWM_WAYLAND) return {info.info.wl.surface};
  if (info.subsystem != SDL_SYSWM_X11) return {};
  return {reinterpret_cast<void*>(static_cast<std::uintptr_t>(info.info.x11.window))};
}

#endif  // QUARN_EXAMPLES_MAIN_LOOP_SDL_NATIVE_WINDOW_H_
