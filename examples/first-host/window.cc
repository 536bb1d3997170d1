// first-window: a square in a window of SDL's, which follows the window's size and is framed under the pointer.
#include <SDL.h>
#include <SDL_syswm.h>

#include <quarn/quarn.h>

int main(int /*argc*/, char** /*argv*/) {
  SDL_SetHint(SDL_HINT_VIDEODRIVER, "x11");  // Views are for X11 windows; under Wayland that is XWayland.
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return SDL_Log("%s", SDL_GetError()), 1;
  SDL_Window* const window = SDL_CreateWindow("first-window", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 640,
                                              360, SDL_WINDOW_RESIZABLE);
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!window || !SDL_GetWindowWMInfo(window, &info)) return SDL_Log("%s", SDL_GetError()), 1;
  {
    const GsDefaultDevice device;
    const auto scene = MakeRefCounted<GsScene>(640u, 360u);
    const auto square = MakeRefCounted<GsPictureItem>(gs_vec2(160, 160), gs_vec3(1, 0, 0));
    scene->AddItem(square);
    GsViewImpl view({reinterpret_cast<void*>(info.info.x11.window)}, 640, 360);
    view.SetScene(scene);
    view.Attch();
    for (SDL_Event event; SDL_WaitEvent(&event) && event.type != SDL_QUIT;) {
      if (event.type == SDL_WINDOWEVENT && event.window.event == SDL_WINDOWEVENT_SIZE_CHANGED) {
        view.Resize(static_cast<unsigned int>(event.window.data1), static_cast<unsigned int>(event.window.data2));
      } else if (event.type == SDL_MOUSEMOTION) {
        const gs_vec2 pointer(static_cast<float>(event.motion.x) + 0.5f, static_cast<float>(event.motion.y) + 0.5f);
        square->SetHovered(view.HitTest(pointer).item == square);
      }
    }
    view.Detach();
  }
  SDL_DestroyWindow(window);
  SDL_Quit();
}
