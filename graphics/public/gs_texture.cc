// The host's handle on images: checks and forwarding. Any thread creates and updates; the render thread binds.
#include <quarn/gs_texture.h>

#include <new>
#include <utility>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/context_object.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_texture.h"
#include "graphics/graphics_texture_array.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/pixel_format.h"
#include "graphics/public/to_engine.h"

namespace {

// Copies the host's rows into `out`. Returns false, with an error line, when there are none.
bool CopyPixels(const unsigned char* data, unsigned int stride, GraphicsFormatInternal format, unsigned int width,
                unsigned int height, GraphicsFrame* out) {
  if (!data) {
    Logger::default_logger()->Error("[GsTexture] no pixel data");
    return false;
  }
  GraphicsFrame frame(format, width, height);
  const unsigned char* planes[4] = {data, nullptr, nullptr, nullptr};
  unsigned int strides[4] = {stride, 0, 0, 0};
  frame.Copy(planes, strides, format, width, height);
  *out = std::move(frame);
  return true;
}

// What a texture of that layout and size is made with: the engine, and the engine's name of the layout. Returns null
// when there can be no such texture, with an error line for a zero side.
GraphicsDevice* FindEngine(GsDevice* device, GsTexture::Format format, unsigned int width, unsigned int height,
                           GraphicsFormatInternal* internal_format) {
  GraphicsDevice* const engine = ResolveDevice(device);
  *internal_format = ToInternalFormat(format);
  if (!engine || *internal_format == kFormatUnknown) return nullptr;
  if (width == 0 || height == 0) {
    Logger::default_logger()->Error("[GsTexture] no texture of %u x %u pixels", width, height);
    return nullptr;
  }
  return engine;
}

void ReportNoMemory(unsigned int width, unsigned int height) {
  Logger::default_logger()->Error("[GsTexture] no memory for %u x %u pixels", width, height);
}

// Says so of a texture that comes out inert, or, for R8, empty.
void CheckStorage(GsTexture::Format format) {
  if (PixelFormatOf(ToInternalFormat(format)).sampled) return;
  Logger::default_logger()->Error("[GsTexture] a texture of layout %d shows nothing: in this version it has no storage",
                                  static_cast<int>(format));
}

GraphicsTexture* EngineTexture(GsTexture* texture) { return texture ? texture->impl() : nullptr; }

}  // namespace

GsTexture::GsTexture(const unsigned char* data, unsigned int stride, Format format, unsigned int width,
                     unsigned int height, GsDevice* device)
    : impl_(nullptr), owned_(true) {
  GraphicsFormatInternal internal_format = kFormatUnknown;
  GraphicsDevice* const engine = FindEngine(device, format, width, height, &internal_format);
  if (!engine) return;
  GraphicsFrame frame;
  if (!CopyPixels(data, stride, internal_format, width, height, &frame)) return;
  if (frame.format == kFormatUnknown) {
    ReportNoMemory(width, height);
    return;
  }
  CheckStorage(format);
  EvenWithoutMemory("GsTexture::GsTexture", [&] { impl_ = engine->CreateTexture(std::move(frame)); });
}

GsTexture::GsTexture(Format format, unsigned int width, unsigned int height, GsDevice* device)
    : impl_(nullptr), owned_(true) {
  GraphicsFormatInternal internal_format = kFormatUnknown;
  GraphicsDevice* const engine = FindEngine(device, format, width, height, &internal_format);
  if (!engine) return;
  EvenWithoutMemory("GsTexture::GsTexture", [&] { impl_ = engine->CreateTexture(internal_format, width, height); });
}

GsTexture::GsTexture(GraphicsFrame&& frame, GsDevice* device) : impl_(nullptr), owned_(true) {
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine || frame.width == 0 || frame.height == 0) return;
  EvenWithoutMemory("GsTexture::GsTexture", [&] { impl_ = engine->CreateTexture(std::move(frame)); });
}

GsTexture::GsTexture(void* external_image, GsDevice* device) : impl_(nullptr), owned_(true) {
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine || !external_image) return;
  EvenWithoutMemory("GsTexture::GsTexture", [&] { impl_ = engine->CreateTexture(external_image); });
}

GsTexture::GsTexture(GraphicsTexture* texture) : impl_(texture), owned_(false) {}

GsTexture::~GsTexture() {
  if (owned_) delete impl_;
}

bool GsTexture::valid() const {
  const auto* const object = dynamic_cast<const ContextObject*>(impl_);
  return object && object->can_draw();
}

void GsTexture::Update(const unsigned char* data, unsigned int stride, Format format, unsigned int width,
                       unsigned int height) {
  const GraphicsFormatInternal internal_format = ToInternalFormat(format);
  if (!impl_) return;
  bool shown = false;
  if (internal_format != kFormatUnknown && width != 0 && height != 0) {
    GraphicsFrame frame;
    if (!CopyPixels(data, stride, internal_format, width, height, &frame)) return;
    const unsigned char* const pixels = frame.data[0];
    if (!pixels) return ReportNoMemory(width, height);
    // The engine texture decides whether the layout and the size fit. It takes the pixels of a frame that it accepts
    // and leaves those of one that it refuses, which tells the two apart below. Written as a cast because a frame is
    // not read after a std::move.
    impl_->Update(static_cast<GraphicsFrame&&>(frame));
    shown = frame.data[0] != pixels && PixelFormatOf(internal_format).updates_shown;
  }
  if (update_refused_.exchange(!shown, std::memory_order_relaxed) || shown) return;
  Logger::default_logger()->Error(
      "[GsTexture] an update of %u x %u pixels in layout %d changes nothing: only RGBA pixels of the texture's own "
      "size do",
      width, height, static_cast<int>(format));
}

void GsTexture::Update(void* external_image) {
  if (impl_) impl_->Update(external_image);
}

unsigned int GsTexture::width() const { return impl_ ? impl_->width() : 0; }

unsigned int GsTexture::height() const { return impl_ ? impl_->height() : 0; }

void GsTexture::SetRotation(float rotation) {
  if (impl_) impl_->SetRotation(rotation);
}

float GsTexture::rotation() const { return impl_ ? impl_->rotation() : 0.0f; }

void* GsTexture::native_obj() const { return impl_ ? impl_->native_obj() : nullptr; }

GraphicsTexture* GsTexture::impl() const { return impl_; }

GsTextureBinder::GsTextureBinder() : GsTextureBinder(nullptr) {}

GsTextureBinder::GsTextureBinder(GsTexture* tex0) : GsTextureBinder(tex0, nullptr) {}

GsTextureBinder::GsTextureBinder(GsTexture* tex0, GsTexture* tex1) : GsTextureBinder(tex0, tex1, nullptr) {}

GsTextureBinder::GsTextureBinder(GsTexture* tex0, GsTexture* tex1, GsTexture* tex2)
    : GsTextureBinder(tex0, tex1, tex2, nullptr) {}

GsTextureBinder::GsTextureBinder(GsTexture* tex0, GsTexture* tex1, GsTexture* tex2, GsTexture* tex3) {
  static_assert(sizeof(GraphicsTextureArray) <= sizeof(storage_) && alignof(GraphicsTextureArray) <= alignof(void*),
                "the array must fit into the binder");
  array_ = new (storage_)
      GraphicsTextureArray(EngineTexture(tex0), EngineTexture(tex1), EngineTexture(tex2), EngineTexture(tex3));
  array_->Bind();
}

GsTextureBinder::~GsTextureBinder() {
  array_->Unbind();
  array_->~GraphicsTextureArray();
}
