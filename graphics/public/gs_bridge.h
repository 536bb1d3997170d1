// The way from an engine object back to the host's override, and how it is laid and taken away.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_BRIDGE_H_
#define QUARN_GRAPHICS_PUBLIC_GS_BRIDGE_H_

#include "foundation/no_memory.h"
#include "graphics/draw_target.h"

// What an engine object calls in place of the host's own object. `Callback` is the engine's interface, of one
// operation, and `Host` the public class. It lives from attach to detach; the render thread calls it.
template <class Callback, class Host>
class GsBridge : public Callback {
 public:
  explicit GsBridge(Host* host) : host_(host) {}

 protected:
  // Calls the host's override. The host may detach in it, so the bridge may be gone when it returns.
  void Lead(void (Host::*overridden)()) {
    if (host_) (host_->*overridden)();
  }
  // The same for a Draw, into something of that size in pixels.
  void LeadDraw(void (Host::*overridden)(), GraphicsContext* context, unsigned int width, unsigned int height) {
    const DrawTarget target(context, width, height);
    Lead(overridden);
  }

  // Null for none.
  Host* host() const { return host_; }

 private:
  Host* const host_;
};

// Makes the bridge to `host`, keeps it in `*bridge` and attaches it to the engine's object, if there is one. Returns
// false when memory was missing for that, which the log says of `what`: then the caller detaches what there is.
//
// The caller holds the lock of the objects' context, here and in DetachBridge.
template <class Bridge, class Host, class Engine>
[[nodiscard]] bool AttachBridge(const char* what, Host* host, Engine* engine, Bridge** bridge) {
  return EvenWithoutMemory(what, [&] {
    *bridge = new Bridge(host);
    if (engine) engine->Attach(*bridge);
  });
}

// Detaches the engine's object, which waits for a call in progress, and deletes the bridge, if there is one.
template <class Bridge, class Engine>
void DetachBridge(Engine* engine, Bridge** bridge) {
  if (engine) engine->Detach();
  delete *bridge;
  *bridge = nullptr;
}

#endif  // QUARN_GRAPHICS_PUBLIC_GS_BRIDGE_H_
