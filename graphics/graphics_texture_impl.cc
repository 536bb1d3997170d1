// What every texture shares; the GPU's part is the backend's. Any thread makes, updates and asks; the render thread
// binds.
#include "graphics/graphics_texture_impl.h"

#include <cstdio>
#include <cstdlib>

#include "foundation/logger.h"
#include "graphics/context_object.h"

GraphicsTextureImpl::GraphicsTextureImpl(unsigned int width, unsigned int height) : width_(width), height_(height) {
  // Written out, because assert() is gone where NDEBUG is set and this check must not be.
  if (!(width_ > 0 && height_ > 0)) {
    std::fprintf(stderr, "%s:%d: %s: Assertion `width_ > 0 && height_ > 0' failed.\n", __FILE__, __LINE__, __func__);
    std::abort();
  }
}

bool GraphicsTextureImpl::BindShaderResource(int) { return false; }

void GraphicsTextureImpl::ReleaseShaderResource() {}

bool GraphicsTextureImpl::BindRenderTarget() { return false; }

void GraphicsTextureImpl::ReleaseRenderTarget() {}

void GraphicsTextureImpl::Update(GraphicsFrame&&) {}

void GraphicsTextureImpl::Update(void*) {}

unsigned int GraphicsTextureImpl::width() { return width_; }

unsigned int GraphicsTextureImpl::height() { return height_; }

void GraphicsTextureImpl::SetRotation(float rotation) { rotation_ = rotation; }

float GraphicsTextureImpl::rotation() { return rotation_; }

void* GraphicsTextureImpl::native_obj() {
  Logger::default_logger()->Warn("GraphicsTexture::native_obj is unimplemented");
  return nullptr;
}

void CountAsPart(GraphicsTexture* texture) {
  if (auto* const object = dynamic_cast<ContextObject*>(texture)) object->CountAs(ContextObject::Kind::kPart);
}
