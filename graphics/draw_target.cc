// The target of the running Draw. Render thread; any thread asks.
#include "graphics/draw_target.h"

#include "graphics/graphics_context_impl.h"

namespace {

// Null outside of a Draw.
const DrawTarget* TargetOf(const GraphicsContext* context) {
  const GraphicsContextImpl* const impl = GraphicsContextImpl::From(context);
  // Whoever holds the lock is the render thread, or keeps it from drawing.
  return impl && impl->HeldByCaller() ? impl->draw_target() : nullptr;
}

}  // namespace

DrawTarget::DrawTarget(GraphicsContext* context, unsigned int width, unsigned int height)
    : context_(GraphicsContextImpl::From(context)),
      width_(width),
      height_(height),
      before_(context_ ? context_->draw_target() : nullptr) {
  if (context_) context_->SetDrawTarget(this);
  if (context) context->SetViewPort(0, 0, width, height);
}

DrawTarget::~DrawTarget() {
  if (context_) context_->SetDrawTarget(before_);
}

internal_vec2 DrawTargetSize(const GraphicsContext* context) {
  const DrawTarget* const target = TargetOf(context);
  return target ? target->size() : internal_vec2(0.0f, 0.0f);
}

void SetWholeViewport(GraphicsContext* context) {
  if (const DrawTarget* const target = TargetOf(context)) {
    context->SetViewPort(0, 0, target->width(), target->height());
  }
}

void ReportNoDrawTarget(GraphicsContext* context) {
  if (GraphicsContextImpl* const impl = GraphicsContextImpl::From(context)) impl->ReportNoDrawTarget();
}
