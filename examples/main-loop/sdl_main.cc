// main-loop-sdl: a view in an SDL window, on the program's own event loop.
#include <SDL.h>
#include <SDL_syswm.h>

#include "demo_scene.h"
#include "sdl_main_queue.h"

int main(int /*argc*/, char** /*argv*/) {
  SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");  // Views are for X11 windows; under Wayland that is XWayland.
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return SDL_Log("%s", SDL_GetError()), 1;
  SDL_Window* const window = SDL_CreateWindow("main-loop-sdl", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 640,
                                              360, SDL_WINDOW_RESIZABLE);
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!window || !SDL_GetWindowWMInfo(window, &info)) return SDL_Log("%s", SDL_GetError()), 1;
  {
    const GsDefaultDevice device;
    if (!device.valid()) return 1;
    const SdlMainQueue queue;
    DemoView view(info.info.x11.window, 640, 360);
    for (SDL_Event event; SDL_WaitEvent(&event) && event.type != SDL_QUIT;) {
      if (queue.Handle(event)) continue;
      if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
        view.Resize(static_cast<unsigned int>(event.window.data1), static_cast<unsigned int>(event.window.data2));
      }
    }
  }
  SDL_DestroyWindow(window);
  SDL_Quit();
}
