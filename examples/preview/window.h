// The host's window, an SDL one.
#ifndef QUARN_EXAMPLES_PREVIEW_WINDOW_H_
#define QUARN_EXAMPLES_PREVIEW_WINDOW_H_

#include <SDL.h>

#include <map>
#include <string>

#include "studio/description.h"

namespace preview {

// SDL and one window of it, for as long as it lives. Sizes and positions are in pixels of the screen.
class Window {
 public:
  // As large as wanted, or as the screen allows. Throws Error.
  explicit Window(studio::Size wanted);
  ~Window();
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  // The X11 window, as a view wants it.
  void* handle() const;
  studio::Size size() const;
  // From the coordinates of SDL's events.
  studio::Vec ToPixels(int x, int y) const;
  // Where the pointer is now, also while another program has it in a drag and drop.
  studio::Vec PointerPixels() const;

  void SetTitle(const std::string& title);
  void SetCursor(SDL_SystemCursor cursor);

 private:
  SDL_Window* window_ = nullptr;
  std::string title_;
  SDL_SystemCursor cursor_ = SDL_SYSTEM_CURSOR_ARROW;
  std::map<SDL_SystemCursor, SDL_Cursor*> cursors_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_WINDOW_H_
