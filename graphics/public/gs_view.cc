// The host's side of a view. Host threads attach, resize and set scenes; the render thread draws, through the bridge.
//
// The context's lock comes before the view's mutex: the render thread holds it when it draws. So scenes are taken into
// use and let go of without the mutex.
#include <quarn/gs_view.h>

#include <utility>

#include <quarn/gs_scene.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_scene.h"
#include "graphics/graphics_view.h"
#include "graphics/internal_types.h"
#include "graphics/public/gs_bridge.h"
#include "graphics/public/gs_scene_use.h"
#include "graphics/public/to_engine.h"

// Leads the engine view's draw to the host's.
class GsViewOnDraw : public GsBridge<GraphicsView::DrawCallback, GsView> {
 public:
  using GsBridge::GsBridge;
  void Draw() override {
    if (GsView* const view = host()) LeadDraw(&GsView::Draw, view->context_, view->width(), view->height());
  }
};

GsView::GsView(const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device) {
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine) return;
  context_ = AcquireContext(engine->gs_context());
  InternalWindowInfo internal_info = {};
  GsWindowInfoToInternalWindowInfo(info, internal_info);
  EvenWithoutMemory("GsView::GsView", [&] { impl_ = engine->CreateView(internal_info, width, height); });
}

GsView::~GsView() {
  DetachForDestruction();
  delete impl_;
  // Only now: the engine's view may be drawing the scene until it is gone.
  { const GsSceneUse last_use = GsSceneUse::Adopt(scene_); }
  ReleaseContext(context_);
}

void GsView::SetScene(GsScene* scene) {
  GsSceneUse use(scene);
  const GsSceneUse use_before = GsSceneUse::Adopt(ExchangeScene(use.Leave()));
}

void GsView::Resize(unsigned int width, unsigned int height) {
  if (impl_) impl_->Resize(width, height);
}

void GsView::Draw() {}

bool GsView::valid() const { return impl_ && CanDraw(context_); }

// Kept: C1.
void GsView::Attch() {
  ContextLock lock(context_);
  if (on_draw_) return;
  if (!AttachBridge("GsView::Attch", this, impl_, &on_draw_)) Detach();
}

void GsView::Detach() {
  ContextLock lock(context_);
  DetachBridge(impl_, &on_draw_);
}

GsScene* GsView::scene() {
  QNMutexLocker lock(mutex_);
  return scene_;
}

scoped_refptr<GsScene> GsView::scene_ptr() { return scoped_refptr<GsScene>(scene_); }

unsigned int GsView::width() const { return impl_ ? impl_->width() : 0; }

unsigned int GsView::height() const { return impl_ ? impl_->height() : 0; }

void GsView::SetBackgroundColor(float r, float g, float b, float a) {
  if (impl_) impl_->SetBackgroundColor(r, g, b, a);
}

void GsView::Move(int x, int y) {
  if (PresentedView* const view = ToPresented(impl_)) view->Move(x, y);
}

void GsView::SetWindow(const GsWindowInfo& info) {
  PresentedView* const view = ToPresented(impl_);
  if (!view) return;
  InternalWindowInfo internal_info = {};
  GsWindowInfoToInternalWindowInfo(info, internal_info);
  view->SetWindow(internal_info);
}

float GsView::WindowScale() const {
  const PresentedView* const view = ToPresented(impl_);
  return view ? view->window_scale() : 1;
}

GsViewCounts GsView::Counts() const {
  const ViewCounts counts = ReadViewCounts(impl_);
  return {counts.drawn, counts.presented, counts.skipped};
}

GraphicsView* GsView::impl() const { return impl_; }

GsScene* GsView::ExchangeScene(GsScene* scene) {
  if (impl_ && scene && scene->impl() && GsSceneUse::Context(scene) != context_) {
    Logger::default_logger()->Error("[GsView] the scene is of another device: it is not shown");
  }
  QNMutexLocker lock(mutex_);
  return std::exchange(scene_, scene);
}

void GsView::DetachForDestruction() {
  // The context must not keep the view: the next frame would draw it.
  ContextLock lock(context_);
  if (!on_draw_) return;
  Logger::default_logger()->Error("[GsView] destroyed while attached: call Detach first");
  Detach();
}

bool GsView::CanShow(GsScene* scene) const {
  return scene->impl() && scene->impl()->texture() && GsSceneUse::Context(scene) == context_;
}
