// The scene on the graphics engine's side: one item for each layer of the editor.
#ifndef QUARN_EXAMPLES_PREVIEW_SCENE_ITEMS_H_
#define QUARN_EXAMPLES_PREVIEW_SCENE_ITEMS_H_

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>

#include "preview/editor.h"
#include "preview/scene_list.h"
#include "studio/description.h"
#include "studio/film_clock.h"
#include "studio/layers.h"
#include "studio/live_mix.h"
#include "studio/stage_times.h"

namespace preview {

// Used on the host's thread.
class SceneItems {
 public:
  // Of the description only the canvas, the rate and the film's end matter. Throws Error.
  SceneItems(const studio::Description& description, GsDevice* device);
  SceneItems(const SceneItems&) = delete;
  SceneItems& operator=(const SceneItems&) = delete;

  GsScene* scene() const { return scene_; }
  studio::FilmClock* clock() { return &clock_; }

  // Makes the item of a layer that was opened. A video begins at the film's start, or with `from_now` at once.
  void Make(int id, const studio::Layer& layer, studio::LayerSource source, bool from_now);
  // What is heard of the editor's layers.
  std::vector<studio::LiveLayer> LiveLayers(const Editor& editor) const;
  // Goes back to the film's start.
  void Rewind() { Seek(0); }
  // Goes to a time of the film.
  void Seek(std::int64_t film_ns);
  // Brings the scene to what the editor shows, from one of the next frames on; none of these lacks what is only
  // exchanged for another of its size. A layer that was not made, such as a copy, is opened here, a video of which
  // begins at once. A deleted one keeps its item, for an undo.
  void Show(const Editor& editor);
  // Why a layer could not be opened by Show, once; empty if all could. Such a layer is not seen.
  std::string TakeProblem() { return std::exchange(problem_, {}); }

 private:
  struct Item {
    scoped_refptr<studio::LayerItem> item;  // Null where the media could not be opened.
    studio::Size opened_at;                 // The size for which the media was scaled.
    int opened_for = 0;                     // The value of seeks_ at which the media was opened.
    std::int64_t begin_ns = 0;              // The film's time at which a video begins.
  };

  Item& ItemOf(const Entry& entry);

  bool IsStale(const Entry& entry, studio::Size size, const Item& item) const;
  void Reopen(const Entry& entry, studio::Size size, Item* item);

  const studio::Description description_;
  GsDevice* const device_;
  studio::StageTimes times_;
  scoped_refptr<GsScene> scene_;
  studio::FilmClock clock_;
  std::map<int, Item> items_;
  int seeks_ = 0;
  double sought_s_ = 0;  // Where the last one went.
  std::string problem_;
  SceneList list_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_SCENE_ITEMS_H_
