// The scene on the graphics engine's side: one item for each layer of the editor.
#ifndef QUARN_EXAMPLES_PREVIEW_SCENE_ITEMS_H_
#define QUARN_EXAMPLES_PREVIEW_SCENE_ITEMS_H_

#include <cstdint>
#include <map>
#include <vector>

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>

#include "preview/editor.h"
#include "studio/description.h"
#include "studio/film_clock.h"
#include "studio/layers.h"
#include "studio/live_mix.h"
#include "studio/stage_times.h"

namespace preview {

// Used on the host's thread.
class SceneItems {
 public:
  // Of the description only the canvas and the rate matter. Throws Error.
  SceneItems(const studio::Description& description, GsDevice* device);
  ~SceneItems();
  SceneItems(const SceneItems&) = delete;
  SceneItems& operator=(const SceneItems&) = delete;

  GsScene* scene() const { return scene_; }
  studio::FilmClock* clock() { return &clock_; }

  // Makes the item of a layer that was opened. A video begins at the film's start, or with `from_now` at once.
  void Make(int id, const studio::Layer& layer, studio::LayerSource source, bool from_now);
  // What is heard of the editor's layers.
  std::vector<studio::LiveLayer> LiveLayers(const Editor& editor) const;
  // Goes back to the film's start.
  void Rewind();
  // Brings the scene to what the editor shows. Every layer of it was made. A deleted one keeps its item, for an undo.
  void Show(const Editor& editor);

 private:
  struct Item {
    scoped_refptr<studio::LayerItem> item;
    studio::Size opened_at;     // The size for which the media was scaled.
    int opened_for = 0;         // The value of rewinds_ at which the media was opened.
    std::int64_t begin_ns = 0;  // The film's time at which a video begins.
    bool in_scene = false;
  };

  bool IsStale(const Entry& entry, studio::Size size, const Item& item) const;
  void Reopen(const Entry& entry, studio::Size size, Item* item);

  const studio::Description description_;
  GsDevice* const device_;
  studio::StageTimes times_;
  scoped_refptr<GsScene> scene_;
  studio::FilmClock clock_;
  std::map<int, Item> items_;
  std::vector<int> order_;  // As the scene has it.
  int rewinds_ = 0;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_SCENE_ITEMS_H_
