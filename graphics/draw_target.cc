// The target of the running Draw. Render thread; any thread asks.
#include "graphics/draw_target.h"

#include "graphics/graphics_context_impl.h"

DrawTarget::DrawTarget(GraphicsContext* context, unsigned int width, unsigned int height)
    : context_(GraphicsContextImpl::From(context)),
      size_(static_cast<float>(width), static_cast<float>(height)),
      before_(context_ ? context_->draw_target() : nullptr) {
  if (context_) context_->SetDrawTarget(this);
  if (context) context->SetViewPort(0, 0, width, height);
}

DrawTarget::~DrawTarget() {
  if (context_) context_->SetDrawTarget(before_);
}

internal_vec2 DrawTargetSize(const GraphicsContext* context) {
  const GraphicsContextImpl* const impl = GraphicsContextImpl::From(context);
  // Whoever holds the lock is the render thread, or keeps it from drawing.
  const DrawTarget* const target = impl && impl->HeldByCaller() ? impl->draw_target() : nullptr;
  return target ? target->size() : internal_vec2(0.0f, 0.0f);
}

void ReportNoDrawTarget(GraphicsContext* context) {
  if (GraphicsContextImpl* const impl = GraphicsContextImpl::From(context)) impl->ReportNoDrawTarget();
}
