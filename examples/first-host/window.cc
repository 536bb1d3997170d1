// first-window: a square in a window of SDL's, which follows the window's size and is framed under the pointer.
#include <SDL.h>
#include <SDL_syswm.h>

#include <cmath>
#include <cstring>

#include <quarn/quarn.h>

int main(int /*argc*/, char** /*argv*/) {
  if (SDL_Init(SDL_INIT_VIDEO) != 0) return SDL_Log("%s", SDL_GetError()), 1;
  SDL_Window* const window = SDL_CreateWindow("first-window", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 640,
                                              360, SDL_WINDOW_RESIZABLE);
  if (!window) return SDL_Log("%s", SDL_GetError()), 1;
  const bool wayland = std::strcmp(SDL_GetCurrentVideoDriver(), "wayland") == 0;
  // Under Wayland a window is seen once it was painted, and as large as that.
  const auto paint = [&] { return wayland && SDL_GetWindowSurface(window) && SDL_UpdateWindowSurface(window) == 0; };
  paint();  // SDL may make the window anew for the first time.
  SDL_SysWMinfo info;
  SDL_VERSION(&info.version);
  if (!SDL_GetWindowWMInfo(window, &info) || (!wayland && info.subsystem != SDL_SYSWM_X11)) {
    return SDL_Log("Views are shown under X11 and Wayland: is DISPLAY or WAYLAND_DISPLAY set?"), 1;
  }
  void* native = reinterpret_cast<void*>(info.info.x11.window);
  if (wayland) {
    if (!qn_set_native_display(kQnNativeDisplayWayland, info.info.wl.display)) return 1;  // The log says why.
    native = info.info.wl.surface;
  }
  {
    const GsDefaultDevice device;
    const auto scene = MakeRefCounted<GsScene>(640u, 360u);
    const auto square = MakeRefCounted<GsPictureItem>(gs_vec2(160, 160), gs_vec3(1, 0, 0));
    scene->AddItem(square);
    GsViewImpl view({native}, 640, 360);
    view.SetScene(scene);
    view.Attch();
    const auto pixels = [&view](int length) { return static_cast<float>(length) * view.WindowScale(); };
    for (SDL_Event event = {}; event.type != SDL_QUIT;) {
      const bool idle = SDL_WaitEventTimeout(&event, 100) == 0;  // A look at the scale, which may change at any time.
      if (idle) event.type = SDL_FIRSTEVENT;
      int width = 0, height = 0;
      SDL_GetWindowSize(window, &width, &height);
      view.Resize(static_cast<unsigned int>(std::lround(pixels(width))),
                  static_cast<unsigned int>(std::lround(pixels(height))));
      if (idle || event.type == SDL_WINDOWEVENT) {
        paint();
      } else if (event.type == SDL_MOUSEMOTION) {
        const gs_vec2 pointer(pixels(event.motion.x) + 0.5f, pixels(event.motion.y) + 0.5f);
        square->SetHovered(view.HitTest(pointer).item == square);
      }
    }
    view.Detach();
  }
  SDL_DestroyWindow(window);
  SDL_Quit();
}
