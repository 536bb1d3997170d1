// The concrete view: the fitting, the scene's picture and the editing overlay. Host threads fit; the render thread
// draws. What both touch is either atomic or guarded by the view's mutex, which a frame holds throughout.
#include <quarn/gs_view.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include <quarn/gs_context.h>
#include <quarn/gs_item.h>
#include <quarn/gs_scene.h>

#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/context_object.h"
#include "graphics/graphics_context.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_scene.h"
#include "graphics/graphics_texture.h"
#include "graphics/graphics_texture_array.h"
#include "graphics/graphics_view.h"
#include "graphics/internal_types.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/public/device_resolve.h"
#include "graphics/public/gs_scene_use.h"

namespace {

// View pixels.
constexpr unsigned int kMargin = 10;  // In all, in the limiting direction.
constexpr float kLineWidth = 2.0f;
constexpr float kHandleSize = 8.0f;

// Radians. An item turned by less keeps its corners where they are; its bars and handles are turned all the same.
constexpr float kMinRotation = 1e-6f;

constexpr unsigned char kBlue[] = {0, 0, 255, 255};
constexpr unsigned char kRed[] = {255, 0, 0, 255};
constexpr unsigned char kGreen[] = {0, 255, 0, 255};

// A texture of one colour; null when there is no drawing context.
GraphicsTexture* CreateSolidTexture(GraphicsDevice* engine, const unsigned char (&color)[4]) {
  constexpr unsigned int kSide = 2;
  GraphicsFrame frame(kFormatRGBA, kSide, kSide);
  if (frame.format == kFormatUnknown) throw std::bad_alloc();  // As any other memory that is missing.
  for (unsigned int pixel = 0; pixel < kSide * kSide; ++pixel) {
    std::memcpy(frame.data[0] + pixel * sizeof(color), color, sizeof(color));
  }
  GraphicsTexture* const texture = engine->CreateTexture(std::move(frame));
  // The host has a view, not three textures.
  if (auto* const object = dynamic_cast<ContextObject*>(texture)) object->CountAs(ContextObject::Kind::kPart);
  return texture;
}

// The context that views draw with: the default device's, whatever device a view is of. That is part of the interface
// and must stay.
GraphicsContext* DrawingContext() {
  GraphicsDevice* const engine = ResolveDevice(nullptr);
  return engine ? engine->gs_context() : nullptr;
}

// Halves away from zero; what does not fit is clamped.
unsigned int RoundToPixels(float value) {
  constexpr float kLimit = 4294967296.0f;
  const float rounded = std::round(value);
  if (rounded >= kLimit) return std::numeric_limits<unsigned int>::max();
  return rounded > 0.0f ? static_cast<unsigned int>(rounded) : 0;
}

// What is drawn and where, in pixels.
struct Sizes {
  Sizes(const GsView& view, const GsScene& scene)
      : view_width(view.width()),
        view_height(view.height()),
        scene_width(scene.width()),
        scene_height(scene.height()) {}
  bool AnyIsZero() const { return view_width == 0 || view_height == 0 || scene_width == 0 || scene_height == 0; }

  unsigned int view_width;
  unsigned int view_height;
  unsigned int scene_width;
  unsigned int scene_height;
};

gs_vec2 ToVec2(unsigned int x, unsigned int y) { return gs_vec2(static_cast<float>(x), static_cast<float>(y)); }

gs_vec2 Midpoint(const gs_vec2& a, const gs_vec2& b) { return (a + b) * 0.5f; }

}  // namespace

GsViewImpl::GsViewImpl(const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device)
    : GsView(info, width, height, device) {
  GraphicsDevice* const engine = ResolveDevice(device);
  if (!engine) return;
  EvenWithoutMemory("The overlay of a view", [&] {
    hover_texture_ = CreateSolidTexture(engine, kBlue);
    select_texture_ = CreateSolidTexture(engine, kRed);
    guide_texture_ = CreateSolidTexture(engine, kGreen);
  });
}

GsViewImpl::~GsViewImpl() {
  // Before anything else: from here on the render thread would find less and less of the view.
  DetachForDestruction();
  delete hover_texture_;
  delete select_texture_;
  delete guide_texture_;
}

void GsViewImpl::SetScene(GsScene* scene) {
  GsSceneUse use(scene);
  GsSceneUse use_before;  // Ends without the mutex.
  // At once, so that no frame shows the new scene at the old one's scale.
  QNMutexLocker lock(mutex_);
  use_before = GsSceneUse::Adopt(ExchangeScene(use.Leave()));
  ResizePreview();
}

void GsViewImpl::Resize(unsigned int width, unsigned int height) {
  GsView::Resize(width, height);
  ResizePreview();
}

void GsViewImpl::Draw() { DefaultDraw(); }

void GsViewImpl::SetClampX(float x) { clamp_x_.store(x, std::memory_order_relaxed); }

void GsViewImpl::SetClampY(float y) { clamp_y_.store(y, std::memory_order_relaxed); }

float GsViewImpl::scale() const { return scale_.load(std::memory_order_relaxed); }

gs_vec2 GsViewImpl::offset() const {
  return gs_vec2(offset_x_.load(std::memory_order_relaxed), offset_y_.load(std::memory_order_relaxed));
}

void GsViewImpl::ResizePreview() {
  QNMutexLocker lock(mutex_);
  if (!impl() || !scene()) {
    scale_.store(0.0f, std::memory_order_relaxed);
    offset_x_.store(0.0f, std::memory_order_relaxed);
    offset_y_.store(0.0f, std::memory_order_relaxed);
    return;
  }
  const Sizes sizes(*this, *scene());
  if (sizes.AnyIsZero()) {
    scale_.store(0.0f, std::memory_order_relaxed);
    return;
  }
  const gs_vec2 view = ToVec2(sizes.view_width, sizes.view_height);
  const gs_vec2 canvas = ToVec2(sizes.scene_width, sizes.scene_height);
  // The margin is taken off as unsigned numbers, so a view smaller than the margin gets an enormous scale: part of the
  // interface, and must stay.
  const float scale = canvas.x / canvas.y >= view.x / view.y
                          ? static_cast<float>(sizes.view_width - kMargin) / canvas.x
                          : static_cast<float>(sizes.view_height - kMargin) / canvas.y;
  scale_.store(scale, std::memory_order_relaxed);
  offset_x_.store(view.x * -0.5f, std::memory_order_relaxed);
  offset_y_.store(view.y * -0.5f, std::memory_order_relaxed);
}

void GsViewImpl::DefaultDraw() {
  ContextLock context_lock(DrawingContext());
  QNMutexLocker lock(mutex_);
  if (!scene()) return;
  const Sizes sizes(*this, *scene());
  if (sizes.AnyIsZero()) return;

  const float s = scale();
  DrawSceneTexture(RoundToPixels(static_cast<float>(sizes.scene_width) * s),
                   RoundToPixels(static_cast<float>(sizes.scene_height) * s));

  const auto draw_frame = [](GsItem* item, void* view) {
    const bool framed = item->visible() && (item->hovered() || item->selected());
    if (framed) static_cast<GsViewImpl*>(view)->DrawEditingItem(item);
    return true;
  };
  scene()->EnumItems(draw_frame, this);

  if (!guide_texture_) return;
  // Where neither the scene nor a frame was drawn, it is still that of whoever drew before.
  GsContextDefault::SetViewport(0, 0, sizes.view_width, sizes.view_height);
  if (!GsContextDefault::BindShader("rgba")) return;
  GraphicsTextureArray texture(guide_texture_);
  texture.Bind();
  const gs_vec2 view = ToVec2(sizes.view_width, sizes.view_height);
  const float clamp_x = clamp_x_.load(std::memory_order_relaxed);
  const float clamp_y = clamp_y_.load(std::memory_order_relaxed);
  if (!std::isnan(clamp_x)) {
    GsContextDefault::DrawRect(gs_transform(gs_vec2(clamp_x, 0.0f), gs_vec2(kLineWidth, view.y)), view);
  }
  if (!std::isnan(clamp_y)) {
    GsContextDefault::DrawRect(gs_transform(gs_vec2(0.0f, clamp_y), gs_vec2(view.x, kLineWidth)), view);
  }
  texture.Unbind();
  GsContextDefault::UnbindShader();
}

void GsViewImpl::DrawSceneTexture(unsigned int width, unsigned int height) {
  if (!impl()) return;
  GraphicsContext* const context = DrawingContext();
  ContextLock context_lock(context);
  QNMutexLocker lock(mutex_);
  if (!context || !scene() || !CanShow(scene())) return;
  const unsigned int view_width = this->width();
  const unsigned int view_height = this->height();
  context->SetViewPort(0, 0, view_width, view_height);
  if (!context->BindShader("rgba")) return;
  GraphicsTextureArray texture(scene()->impl()->texture());
  texture.Bind();
  context->DrawRect(internal_transform(ToVec2(width, height)), ToVec2(view_width, view_height));
  context->UnbindShader();
  texture.Unbind();
}

void GsViewImpl::DrawEditingItem(GsItem* item) {
  if (!impl() || !item) return;
  const gs_vec2 pos = item->pos();
  const gs_vec2 size = item->size();
  const float rotation = item->rotation();
  const bool selected = item->selected();
  GraphicsTexture* const color = selected ? select_texture_ : hover_texture_;
  if (!color) return;
  const float s = scale();
  const unsigned int view_width = width();
  const unsigned int view_height = height();
  const gs_vec2 view = ToVec2(view_width, view_height);

  const gs_vec2 low = size * -0.5f;
  const gs_vec2 high = size * 0.5f;
  enum Corner { kTopLeft, kTopRight, kBottomLeft, kBottomRight };
  gs_vec2 corners[] = {low, gs_vec2(high.x, low.y), gs_vec2(low.x, high.y), high};

  GsContextDefault::SetViewport(0, 0, view_width, view_height);
  if (!GsContextDefault::BindShader("rgba")) return;
  if (std::fabs(rotation) > kMinRotation) {
    const float cosine = std::cos(rotation);
    const float sine = std::sin(rotation);
    for (gs_vec2& corner : corners) {
      corner = gs_vec2(corner.x * cosine - corner.y * sine, corner.x * sine + corner.y * cosine);
    }
  }

  GraphicsTextureArray texture(color);
  texture.Bind();
  const auto draw = [&](const gs_vec2& point, const gs_vec2& rect_size) {
    GsContextDefault::DrawRect(gs_transform((point + pos) * s, rect_size, rotation), view);
  };
  const gs_vec2 left = Midpoint(corners[kTopLeft], corners[kBottomLeft]);
  const gs_vec2 top = Midpoint(corners[kTopLeft], corners[kTopRight]);
  const gs_vec2 right = Midpoint(corners[kTopRight], corners[kBottomRight]);
  const gs_vec2 bottom = Midpoint(corners[kBottomLeft], corners[kBottomRight]);
  // Longer than the sides by their own width, so that they meet at the corners.
  const gs_vec2 upright(kLineWidth, size.y * s + kLineWidth);
  const gs_vec2 level(size.x * s + kLineWidth, kLineWidth);
  draw(left, upright);
  draw(top, level);
  draw(right, upright);
  draw(bottom, level);
  if (selected) {
    const gs_vec2 handle(kHandleSize, kHandleSize);
    for (const gs_vec2& corner : corners) draw(corner, handle);
    for (const gs_vec2& middle : {left, top, right, bottom}) draw(middle, handle);
  }
  texture.Unbind();
  GsContextDefault::UnbindShader();
}
