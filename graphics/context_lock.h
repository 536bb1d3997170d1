// What the public classes ask of a drawing context beyond drawing: its lock, that it stays, and whether it can draw.
//
// Any thread. A context that is not the engine's own has neither a lock nor a count: then nothing happens here.
#ifndef QUARN_GRAPHICS_CONTEXT_LOCK_H_
#define QUARN_GRAPHICS_CONTEXT_LOCK_H_

class GraphicsContext;
class GraphicsContextImpl;

// Holds the lock of a context, when there is one, for as long as it lives.
//
// Whoever attaches or detaches a scene, an item, a filter or a view holds it throughout: so the render loop, and host
// threads among themselves, see each step whole. It is taken before every other lock but the callback mutex of a raw
// output, which is held when a host attaches or detaches something from inside OnFrame. Queued tasks and ticks run with
// it held; were it taken after any other lock, one of them that attaches something could deadlock.
class ContextLock {
 public:
  // Null for no context.
  explicit ContextLock(GraphicsContext* context);
  explicit ContextLock(GraphicsContextImpl* context);
  ~ContextLock();
  ContextLock(const ContextLock&) = delete;
  ContextLock& operator=(const ContextLock&) = delete;

 private:
  GraphicsContextImpl* const context_;
};

// Whether the calling thread holds the lock: it does in every stage of a frame, and in what a stage calls. False for
// null.
bool HoldsContextLock(const GraphicsContext* context);

// Whether the context can draw: not without OpenGL, nor once its device is gone, nor in a fork of its process. False
// for null.
bool CanDraw(const GraphicsContext* context);

// Takes a reference on a context, for an object that may outlive its device, and returns the context; ReleaseContext
// gives the reference back. Returns null, which both accept, when there is no context to hold.
GraphicsContext* AcquireContext(GraphicsContext* context);
void ReleaseContext(GraphicsContext* context);

#endif  // QUARN_GRAPHICS_CONTEXT_LOCK_H_
