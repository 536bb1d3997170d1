// The engine's side of an item: what the render loop ticks.
#ifndef QUARN_GRAPHICS_GRAPHICS_ITEM_H_
#define QUARN_GRAPHICS_GRAPHICS_ITEM_H_

#include <memory>

#include "foundation/mutex.h"
#include "graphics/context_object.h"

// Registers itself with the context while a callback is attached. The callback runs under the item's mutex, so that
// Detach waits for a tick in progress.
class GraphicsItem : public ContextObject {
 public:
  class TickCallback {
   public:
    virtual ~TickCallback() = default;
    virtual void OnTick() = 0;
  };

  // A null context leaves the item unregistered for good.
  explicit GraphicsItem(GraphicsContext* context);
  ~GraphicsItem() override;

  void Attach(TickCallback* callback);
  void Detach();
  // Render thread. The item may be destroyed by its own callback.
  void Tick();

  GraphicsContext* context() const { return context_; }

 private:
  GraphicsContext* context_;
  TickCallback* callback_ QUARN_GUARDED_BY(*mutex_) = nullptr;
  const std::shared_ptr<Mutex> mutex_ = std::make_shared<Mutex>();  // Shared with a running tick.
};

#endif  // QUARN_GRAPHICS_GRAPHICS_ITEM_H_
