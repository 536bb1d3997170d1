// drag-host-sdl: a window of SDL 2, which grabs the pointer for a drag and lets go of it in certain events.
#include <SDL.h>
#include <SDL_syswm.h>

#include "drag_host.h"

int main(int /*argc*/, char** /*argv*/) {
  SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return 1;
  SDL_Window* const window = SDL_CreateWindow("drag-host-sdl", 0, 0, kDragHostWidth, kDragHostHeight, 0);
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!window || !SDL_GetWindowWMInfo(window, &info) || !StartEngine()) return 1;
  {
    const DragHostView view(info.info.x11.window);
    bool ends = false;
    for (SDL_Event event; !ends && SDL_WaitEvent(&event);) {
      if (event.type == SDL_MOUSEBUTTONDOWN) Say("press", event.button.x, event.button.y);
      if (event.type == SDL_MOUSEMOTION) Say("move", event.motion.x, event.motion.y);
      if (event.type == SDL_MOUSEBUTTONUP) {
        Say("release", event.button.x, event.button.y);
        ends = true;
      }
    }
  }
  GsDevice::DestroyDefaultDevice();
  SDL_DestroyWindow(window);
  SDL_Quit();
}
