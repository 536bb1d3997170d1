// Which scene is shown in which: what the order of drawing has to know where a scene is part of another one's picture.
#ifndef QUARN_GRAPHICS_SHOWN_SCENES_H_
#define QUARN_GRAPHICS_SHOWN_SCENES_H_

#include <cstddef>
#include <cstdint>
#include <vector>

class GraphicsContext;
class GraphicsScene;

// Somebody who shows a scene in another says so in every frame: before the scenes are drawn, which counts in the same
// frame, or in the midst of the drawing, which counts in the next. Nothing is owned, and no scene is looked into. Not
// locked: the context's lock guards it.
class ShownScenes {
 public:
  // Where this is so, scenes are drawn as they come.
  bool empty() const { return entries_.empty(); }
  // Notes that `shown` is shown in `in`. Throws std::bad_alloc.
  void Note(const GraphicsScene* shown, const GraphicsScene* in);
  // The scene has gone.
  void Forget(const GraphicsScene* scene);
  // Whether the scene's picture is part of its own next picture.
  bool InItself(const GraphicsScene* scene) const;
  // Before the scenes of a frame are drawn: drops what was not noted again since the last frame's, and puts each scene
  // behind those that are shown in it. What this leaves open stays as it is. Of scenes that show each other in a ring,
  // the one that comes first among them is drawn last: its picture of the frame before is what the others show.
  void Arrange(GraphicsScene** scenes, std::size_t count);

 private:
  struct Entry {
    const GraphicsScene* shown;
    const GraphicsScene* in;
    std::uint64_t frame;  // In which it was last noted.
  };

  bool Has(const GraphicsScene* shown, const GraphicsScene* in) const;

  std::vector<Entry> entries_;
  std::uint64_t frame_ = 1;  // Counts the calls of Arrange.
};

// Notes, in a tick, that `shown` is shown in the scene of a host's `owner` (GraphicsSceneImpl::SetOwner), which is only
// compared and may be gone. Nothing is noted for null, and on a thread that does not hold the context's lock.
void NoteShown(GraphicsContext* context, const GraphicsScene* shown, const void* owner);

#endif  // QUARN_GRAPHICS_SHOWN_SCENES_H_
