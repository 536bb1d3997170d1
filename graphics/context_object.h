// What every engine object shares: the context that it lives in.
#ifndef QUARN_GRAPHICS_CONTEXT_OBJECT_H_
#define QUARN_GRAPHICS_CONTEXT_OBJECT_H_

#include <quarn/ref_count.h>

#include "graphics/graphics_context_impl.h"

// Holds a reference on its context, so that an object that outlives its device still finds the lock that its calls
// take; and counts as one of the context's objects, once it is said to be what a host knows it as.
class ContextObject {
 public:
  using Kind = GraphicsContextImpl::ObjectKind;

  // Null for none.
  explicit ContextObject(GraphicsContextImpl* context) : context_(context) {}
  virtual ~ContextObject() { CountAs(Kind::kPart); }
  ContextObject(const ContextObject&) = delete;
  ContextObject& operator=(const ContextObject&) = delete;

  GraphicsContextImpl* context_impl() const { return context_; }

  // Whether the device of the object is there, and can draw. Thread: any.
  bool can_draw() const { return context_ && context_->can_draw(); }

  // What the host knows the object as. A part of another object, as it is at first, is not counted.
  void CountAs(Kind kind) {
    if (context_) context_->CountObject(kind_, kind);
    kind_ = kind;
  }

 private:
  const scoped_refptr<GraphicsContextImpl> context_;
  Kind kind_ = Kind::kPart;
};

#endif  // QUARN_GRAPHICS_CONTEXT_OBJECT_H_
