// The items of a scene, exchanged as a whole.
#ifndef QUARN_EXAMPLES_PREVIEW_SCENE_LIST_H_
#define QUARN_EXAMPLES_PREVIEW_SCENE_LIST_H_

#include <memory>
#include <vector>

#include <quarn/gs_device.h>
#include <quarn/gs_item.h>
#include <quarn/gs_scene.h>

namespace preview {

// A scene's items change one by one, and a frame may come between any two changes. Here they change in a queued task,
// which runs between two frames: each frame has either all of the old list or all of the new.
//
// Used on the host's thread, on which items also end: their filters must not on the render thread.
class SceneList {
 public:
  using Items = std::vector<scoped_refptr<GsItem>>;

  SceneList(GsScene* scene, GsDevice* device);
  // Takes all items out of the scene.
  ~SceneList();
  SceneList(const SceneList&) = delete;
  SceneList& operator=(const SceneList&) = delete;

  // From one of the next frames on the scene has these items, the first at the bottom. Into a scene without any they
  // come at once. Lets go of what was taken out meanwhile, so call it every now and then.
  void Set(Items items);

 private:
  struct Shared;
  static void Exchange(void* task);

  GsDevice* const device_;
  const scoped_refptr<GsScene> scene_;
  Items set_;
  const std::shared_ptr<Shared> shared_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_SCENE_LIST_H_
