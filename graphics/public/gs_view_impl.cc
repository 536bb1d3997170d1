// The concrete view: the fitting, the scene's picture and the editing overlay. Host threads fit; the render thread
// draws. What both touch is either atomic or guarded by the view's mutex, which a frame holds throughout.
#include <quarn/gs_view.h>

#include <cstring>
#include <new>
#include <utility>

#include <quarn/gs_context.h>
#include <quarn/gs_item.h>
#include <quarn/gs_scene.h>

#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/graphics_context.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_scene.h"
#include "graphics/graphics_texture.h"
#include "graphics/graphics_texture_array.h"
#include "graphics/graphics_view.h"
#include "graphics/internal_types.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/public/gs_scene_use.h"
#include "graphics/public/overlay_geometry.h"
#include "graphics/public/to_engine.h"

namespace {

constexpr unsigned char kBlue[] = {0, 0, 255, 255};
constexpr unsigned char kRed[] = {255, 0, 0, 255};
constexpr unsigned char kGreen[] = {0, 255, 0, 255};

// A texture of one colour; null when there is no drawing context.
GraphicsTexture* CreateSolidTexture(GraphicsDevice* engine, const unsigned char (&color)[4]) {
  constexpr unsigned int kSide = 2;
  GraphicsFrame frame(kFormatRGBA, kSide, kSide);
  if (frame.format == kFormatUnknown) throw std::bad_alloc();  // An empty frame: no memory.
  for (unsigned int pixel = 0; pixel < kSide * kSide; ++pixel) {
    std::memcpy(frame.data[0] + pixel * sizeof(color), color, sizeof(color));
  }
  GraphicsTexture* const texture = engine->CreateTexture(std::move(frame));
  CountAsPart(texture);
  return texture;
}

// The context that views draw with: the default device's, whatever device a view is of. Kept: C28.
GraphicsContext* DrawingContext() {
  GraphicsDevice* const engine = ResolveDevice(nullptr);
  return engine ? engine->gs_context() : nullptr;
}

gs_overlay::Sizes SizesOf(const GsView& view, const GsScene& scene) {
  return {view.width(), view.height(), scene.width(), scene.height()};
}

// GsHandle counts the handles as the overlay does.
static_assert(kGsHandleTopRight - kGsHandleTopLeft == gs_overlay::kTopRight &&
              kGsHandleBottomLeft - kGsHandleTopLeft == gs_overlay::kBottomLeft &&
              kGsHandleBottomRight - kGsHandleTopLeft == gs_overlay::kBottomRight &&
              kGsHandleLeft - kGsHandleTopLeft == gs_overlay::kLeft &&
              kGsHandleTop - kGsHandleTopLeft == gs_overlay::kTop &&
              kGsHandleRight - kGsHandleTopLeft == gs_overlay::kRight &&
              kGsHandleBottom - kGsHandleTopLeft == gs_overlay::kBottom);

gs_vec2 ToVec2(unsigned int x, unsigned int y) { return gs_vec2(static_cast<float>(x), static_cast<float>(y)); }

// Calls draw(size of the view), whose rectangles then come out in one colour, that of the texture, anywhere in the
// view. It is not called when the program "rgba", with which they are drawn, is missing.
template <class Draw>
void DrawInColor(GraphicsTexture* color, unsigned int view_width, unsigned int view_height, Draw draw) {
  // The viewport may still be that of whoever drew last: nothing else of the view need have set it.
  GsContextDefault::SetViewport(0, 0, view_width, view_height);
  if (!GsContextDefault::BindShader("rgba")) return;
  GraphicsTextureArray texture(color);
  texture.Bind();
  draw(ToVec2(view_width, view_height));
  texture.Unbind();
  GsContextDefault::UnbindShader();
}

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
  // First of all: the render thread must not draw a view that is being taken apart.
  DetachForDestruction();
  delete hover_texture_;
  delete select_texture_;
  delete guide_texture_;
}

void GsViewImpl::SetScene(GsScene* scene) {
  GsSceneUse use(scene);
  GsSceneUse use_before;  // Ends after the mutex is given back.
  // The new scene is fitted under the same lock, so that no frame shows it at the old one's scale.
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

gs_vec2 GsViewImpl::ToScene(gs_vec2 view_point) const {
  const float s = scale();
  return s == 0.0f ? gs_vec2() : (view_point + offset()) * (1 / s);
}

gs_vec2 GsViewImpl::ToView(gs_vec2 scene_point) const {
  const float s = scale();
  return s == 0.0f ? gs_vec2() : scene_point * s + offset() * -1.0f;
}

GsHit GsViewImpl::HitTest(gs_vec2 point) {
  struct Search {
    gs_vec2 point;
    float scale = 0.0f;
    GsHit handle;
    GsHit body;
  } search;
  scoped_refptr<GsScene> shown;  // Walked without the mutex; its last reference may be this one.
  {
    QNMutexLocker lock(mutex_);
    shown = scene_ptr();
    search.scale = scale();
    search.point = point + offset();
  }
  if (!shown || search.scale == 0.0f) return {};
  const auto look = [](GsItem* item, void* user) {
    if (!item->visible()) return true;
    Search& found = *static_cast<Search*>(user);
    const gs_transform placement(item->pos(), item->size(), item->rotation());
    const int handle =
        item->selected() ? gs_overlay::HandleAt(placement, found.scale, found.point) : gs_overlay::kHandlePoints;
    if (handle != gs_overlay::kHandlePoints) {
      found.handle = {item, static_cast<GsHandle>(kGsHandleTopLeft + handle)};
    } else if (gs_overlay::Holds(gs_overlay::FrameBody(placement, found.scale), found.point)) {
      found.body = {item, kGsHandleBody};
    }
    return true;
  };
  shown->EnumItems(look, &search);  // From the bottom: later items lie on top.
  return search.handle.item ? search.handle : search.body;
}

void GsViewImpl::ResizePreview() {
  QNMutexLocker lock(mutex_);
  if (!impl() || !scene()) {
    scale_.store(0.0f, std::memory_order_relaxed);
    offset_x_.store(0.0f, std::memory_order_relaxed);
    offset_y_.store(0.0f, std::memory_order_relaxed);
    return;
  }
  const gs_overlay::Sizes sizes = SizesOf(*this, *scene());
  if (sizes.AnyIsZero()) {
    scale_.store(0.0f, std::memory_order_relaxed);
    return;
  }
  const gs_vec2 origin = gs_overlay::ViewOrigin(sizes);
  scale_.store(gs_overlay::FitScale(sizes), std::memory_order_relaxed);
  offset_x_.store(origin.x, std::memory_order_relaxed);
  offset_y_.store(origin.y, std::memory_order_relaxed);
}

void GsViewImpl::DefaultDraw() {
  ContextLock context_lock(DrawingContext());
  QNMutexLocker lock(mutex_);
  if (!scene()) return;
  const gs_overlay::Sizes sizes = SizesOf(*this, *scene());
  if (sizes.AnyIsZero()) return;

  const gs_vec2 picture = sizes.scene() * scale();
  DrawSceneTexture(gs_overlay::RoundToPixels(picture.x), gs_overlay::RoundToPixels(picture.y));

  const auto draw_frame = [](GsItem* item, void* view) {
    const bool framed = item->visible() && (item->hovered() || item->selected());
    if (framed) static_cast<GsViewImpl*>(view)->DrawEditingItem(item);
    return true;
  };
  scene()->EnumItems(draw_frame, this);

  if (!guide_texture_) return;
  DrawInColor(guide_texture_, sizes.view_width, sizes.view_height, [this](const gs_vec2& view) {
    const auto vertical = gs_overlay::VerticalGuide(clamp_x_.load(std::memory_order_relaxed), view);
    const auto horizontal = gs_overlay::HorizontalGuide(clamp_y_.load(std::memory_order_relaxed), view);
    if (vertical) GsContextDefault::DrawRect(*vertical, view);
    if (horizontal) GsContextDefault::DrawRect(*horizontal, view);
  });
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
  const gs_transform placement(item->pos(), item->size(), item->rotation());
  const bool selected = item->selected();
  GraphicsTexture* const color = selected ? select_texture_ : hover_texture_;
  if (!color) return;
  const float s = scale();
  DrawInColor(color, width(), height(), [&](const gs_vec2& view) {
    for (const gs_transform& bar : gs_overlay::FrameBars(placement, s)) GsContextDefault::DrawRect(bar, view);
    if (!selected) return;
    for (const gs_transform& handle : gs_overlay::FrameHandles(placement, s)) GsContextDefault::DrawRect(handle, view);
  });
}
