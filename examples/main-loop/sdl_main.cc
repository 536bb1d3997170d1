// main-loop-sdl: a view in an SDL window, on the program's own event loop.
#include <SDL.h>

#include "demo_scene.h"
#include "sdl_main_queue.h"
#include "sdl_native_window.h"

int main(int /*argc*/, char** /*argv*/) {
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return SDL_Log("%s", SDL_GetError()), 1;
  SDL_Window* const window = SDL_CreateWindow("main-loop-sdl", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 640,
                                              360, SDL_WINDOW_RESIZABLE);
  if (!window) return SDL_Log("%s", SDL_GetError()), 1;
  if (!UseSdlDisplay(window)) return SDL_Log("Views cannot be shown here"), 1;
  {
    const GsDefaultDevice device;
    if (!device.valid()) return 1;
    const SdlMainQueue queue;
    DemoView view(SdlWindowInfo(window), 640, 360);
    PaintSdlWindow(window);
    for (SDL_Event event = {}; event.type != SDL_QUIT;) {
      const bool idle = SDL_WaitEventTimeout(&event, 100) == 0;
      if (idle) event.type = SDL_FIRSTEVENT;
      if (queue.Handle(event)) continue;
      // What is painted at once may still have the size before.
      if (idle || event.type == SDL_WINDOWEVENT) PaintSdlWindow(window);
      int width = 0, height = 0;
      SDL_GetWindowSize(window, &width, &height);
      view.Fit(0, 0, width, height, view.WindowScale());  // Another size, or another screen.
    }
  }
  SDL_DestroyWindow(window);
  SDL_Quit();
}
