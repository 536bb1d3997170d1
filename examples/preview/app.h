// The program: a window with a view of the scene in it, and what pointer and keys make of them.
#ifndef QUARN_EXAMPLES_PREVIEW_APP_H_
#define QUARN_EXAMPLES_PREVIEW_APP_H_

#include <SDL.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <quarn/gs_view.h>

#include "main-loop/sdl_main_queue.h"
#include "preview/editor.h"
#include "preview/keys.h"
#include "preview/options.h"
#include "preview/recording.h"
#include "preview/scene_items.h"
#include "preview/window.h"
#include "studio/device.h"

namespace preview {

class App {
 public:
  // Opens the media, the window and the graphics engine. Throws Error.
  explicit App(Options options);
  ~App();
  App(const App&) = delete;
  App& operator=(const App&) = delete;

  // Until the user quits. Throws Error when the film that is then being recorded cannot be completed.
  void Run();

 private:
  void Handle(const SDL_Event& event);
  void HandleKey(const SDL_KeyboardEvent& key);
  void HandleWindow(const SDL_WindowEvent& event);
  void Do(Command command, bool shift, bool repeated);
  void DoUnrepeated(Command command, bool shift);
  // Shows what the events have made of the scene.
  void Refresh();

  // Only where the pointer's place on the canvas can be told.
  std::optional<studio::Vec> ToCanvas(studio::Vec pixels) const;
  void MovePointer(studio::Vec pixels);
  void AddFile(const std::string& file, studio::Vec pos);
  void DropFile(const std::string& file);
  void AddNext();
  void Save();
  void ToggleRecording();
  std::string NextFilm() const;
  void FinishRecording();
  void RequestQuit();

  // Tells the user, until the next key or click.
  void Tell(const std::string& message);
  void TellError(const std::string& message);
  std::string Title();
  std::string SceneName() const;
  SDL_SystemCursor Cursor() const;

  Options options_;
  std::vector<studio::LayerSource> sources_;  // Until their items are made.
  Window window_;
  studio::Device device_;
  Editor editor_;
  SceneItems items_;
  SdlMainQueue main_queue_;
  std::unique_ptr<GsViewImpl> view_;
  std::unique_ptr<Recording> recording_;
  std::string film_;  // Where the last recording went.

  studio::Vec pointer_;  // In the window, in pixels.
  Modifiers modifiers_;
  std::size_t next_to_add_ = 0;
  bool playing_ = false;
  bool quit_ = false;
  bool quit_refused_ = false;  // Once, to say that something is not saved.
  std::string message_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_APP_H_
