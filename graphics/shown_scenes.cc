// The order of scenes that show each other. Entered with the context's lock held, by whoever adds and removes scenes
// and by the render thread.
#include "graphics/shown_scenes.h"

#include <algorithm>

#include "graphics/graphics_context_impl.h"

void ShownScenes::Note(const GraphicsScene* shown, const GraphicsScene* in) {
  for (Entry& entry : entries_) {
    if (entry.shown != shown || entry.in != in) continue;
    entry.frame = frame_;
    return;
  }
  entries_.push_back({shown, in, frame_});
}

void ShownScenes::Forget(const GraphicsScene* scene) {
  entries_.erase(std::remove_if(entries_.begin(), entries_.end(),
                                [scene](const Entry& entry) { return entry.shown == scene || entry.in == scene; }),
                 entries_.end());
}

bool ShownScenes::Has(const GraphicsScene* shown, const GraphicsScene* in) const {
  return std::any_of(entries_.begin(), entries_.end(),
                     [=](const Entry& entry) { return entry.shown == shown && entry.in == in; });
}

bool ShownScenes::InItself(const GraphicsScene* scene) const { return Has(scene, scene); }

void ShownScenes::Arrange(GraphicsScene** scenes, std::size_t count) {
  entries_.erase(
      std::remove_if(entries_.begin(), entries_.end(), [this](const Entry& entry) { return entry.frame != frame_; }),
      entries_.end());
  ++frame_;
  // From `placed` on stands a chain of scenes, each of which is shown in the next; behind the chain are those that are
  // still to be placed. The chain grows at its front while something there is shown in its first, and then gives that
  // one away: no memory is needed.
  std::size_t chain = 0;
  for (std::size_t placed = 0; placed < count;) {
    if (chain == 0) chain = 1;
    GraphicsScene** const first = scenes + placed;
    GraphicsScene** const end = scenes + count;
    GraphicsScene** const shown =
        std::find_if(first + chain, end, [this, first](const GraphicsScene* scene) { return Has(scene, *first); });
    if (shown == end) {
      ++placed;
      --chain;
    } else {
      std::rotate(first, shown, shown + 1);
      ++chain;
    }
  }
}

void NoteShown(GraphicsContext* context, const GraphicsScene* shown, const void* owner) {
  GraphicsContextImpl* const impl = GraphicsContextImpl::From(context);
  if (impl && shown && owner && impl->HeldByCaller()) impl->NoteShownIn(shown, owner);
}
