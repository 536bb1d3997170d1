// The scene that is open, and what is done with it: opened, saved, added to, played, recorded. Knows no toolkit.
#ifndef QUARN_EXAMPLES_PREVIEW_SESSION_H_
#define QUARN_EXAMPLES_PREVIEW_SESSION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "preview/editor.h"
#include "preview/options.h"
#include "preview/recording.h"
#include "preview/scene_items.h"
#include "studio/device.h"

namespace preview {

// What cannot be done is told of, and changes nothing.
class Session {
 public:
  // Opens the media and the graphics engine. Throws Error.
  explicit Session(Options options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Where the user reads what was done, and what went wrong.
  void SetTeller(std::function<void(const std::string& message, bool is_error)> tell) { tell_ = std::move(tell); }
  void Tell(const std::string& message);
  void TellError(const std::string& message);

  const Options& options() const { return options_; }
  const studio::Description& description() const { return options_.description; }
  GsDevice* device() const { return device_.get(); }
  // Others once another scene is opened: then `shown` is called, while those before are still there.
  void SetShown(std::function<void()> shown) { shown_ = std::move(shown); }
  Editor* editor() { return editor_.get(); }
  SceneItems* items() { return items_.get(); }
  // "scene.json", or what a new one is called.
  std::string SceneName() const;

  // Shows what was made of the scene since the last time. `scale`: pixels of the screen for each of the canvas.
  void Refresh(float scale);

  void New();
  void Open(const std::string& file);
  // Under the name that it has; a new scene gets one that is free.
  bool Save();
  bool SaveAs(const std::string& file);

  void AddFile(const std::string& file, studio::Vec pos);
  // The next one of --add. Returns false when there are none.
  bool AddNext();
  void AddColor(studio::Color color);
  // The selected layers, in the words of scene files; and layers from there.
  std::string CopyText();
  void Paste(const std::string& text);

  bool playing() const { return playing_; }
  void TogglePlay();
  void Rewind() { items_->Rewind(); }
  // While the user looks for a place, videos stay as they are.
  void Seek(double seconds, bool looking);
  double seconds() { return static_cast<double>(items_->clock()->now_ns()) * 1e-9; }

  // Null while nothing is recorded.
  Recording* recording() { return recording_.get(); }
  void ToggleRecording();
  // Ends the film that is being recorded, if there is one. Throws Error.
  void FinishRecording();

 private:
  void Show(studio::Description description);
  bool WriteScene(const std::string& file);
  void AddLayer(studio::Layer layer);
  std::string NextFilm() const;

  Options options_;
  std::function<void(const std::string&, bool)> tell_;
  std::function<void()> shown_;
  std::vector<studio::LayerSource> sources_;  // Until their items are made.
  studio::Device device_;
  std::unique_ptr<Editor> editor_;
  std::unique_ptr<SceneItems> items_;
  std::unique_ptr<Recording> recording_;
  std::string film_;  // Where the last recording went.
  std::size_t next_to_add_ = 0;
  bool playing_ = false;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_SESSION_H_
