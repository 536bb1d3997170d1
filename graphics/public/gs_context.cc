// Drawing operations, forwarded to the engine's context. Render thread.
#include <quarn/gs_context.h>

#include <cstddef>

#include <quarn/gs_device.h>

#include "foundation/no_memory.h"
#include "graphics/draw_target.h"
#include "graphics/graphics_context.h"
#include "graphics/graphics_device.h"
#include "graphics/internal_types.h"

static_assert(sizeof(GsVertex) == sizeof(GraphicsVertex) &&
                  offsetof(GsVertex, tex_coord) == offsetof(GraphicsVertex, tex_coord),
              "public vertices are passed through unchanged");

namespace {

GraphicsContext* Resolve(GsDevice* device) { return device && device->impl() ? device->impl()->gs_context() : nullptr; }

}  // namespace

GsContext::GsContext(GsDevice* device) : device_(device) {}

bool GsContext::valid() const { return device_ && device_->valid(); }

bool GsContext::BindShader(const char* name) {
  GraphicsContext* context = Resolve(device_);
  bool bound = false;
  if (context && name) EvenWithoutMemory("GsContext::BindShader", [&] { bound = context->BindShader(name); });
  return bound;
}

void GsContext::UnbindShader() {
  if (GraphicsContext* context = Resolve(device_)) context->UnbindShader();
}

gs_vec2 GsContext::target_size() const {
  const internal_vec2 size = DrawTargetSize(Resolve(device_));
  return gs_vec2(size.x, size.y);
}

void GsContext::SetViewport(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
  if (GraphicsContext* context = Resolve(device_)) context->SetViewPort(x, y, width, height);
}

void GsContext::DrawRect(const gs_transform& transform, const gs_vec2& target_size) {
  if (GraphicsContext* context = Resolve(device_)) context->DrawRect(transform, target_size);
}

void GsContext::DrawRect(const gs_transform& transform) {
  GraphicsContext* const context = Resolve(device_);
  if (!context) return;
  const internal_vec2 size = DrawTargetSize(context);
  if (size.x == 0.0f || size.y == 0.0f) return ReportNoDrawTarget(context);
  context->DrawRect(transform, size);
}

void GsContext::DrawVertexArray(GsVertex* vertices, unsigned int vertex_count, unsigned int* indices,
                                unsigned int index_count, const gs_transform& transform, const gs_vec2& target_size) {
  if (GraphicsContext* context = Resolve(device_)) {
    context->DrawVertexArray(reinterpret_cast<GraphicsVertex*>(vertices), vertex_count, indices, index_count, transform,
                             target_size);
  }
}

bool GsContextDefault::BindShader(const char* name) { return GsContext(app_default_device).BindShader(name); }

void GsContextDefault::UnbindShader() { GsContext(app_default_device).UnbindShader(); }

gs_vec2 GsContextDefault::target_size() { return GsContext(app_default_device).target_size(); }

void GsContextDefault::SetViewport(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
  GsContext(app_default_device).SetViewport(x, y, width, height);
}

void GsContextDefault::DrawRect(const gs_transform& transform, const gs_vec2& target_size) {
  GsContext(app_default_device).DrawRect(transform, target_size);
}

void GsContextDefault::DrawRect(const gs_transform& transform) { GsContext(app_default_device).DrawRect(transform); }

void GsContextDefault::DrawVertexArray(GsVertex* vertices, unsigned int vertex_count, unsigned int* indices,
                                       unsigned int index_count, const gs_transform& transform,
                                       const gs_vec2& target_size) {
  GsContext(app_default_device).DrawVertexArray(vertices, vertex_count, indices, index_count, transform, target_size);
}
