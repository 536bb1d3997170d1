// The registries and their walks, and the programs by name.
//
// Any thread adds and removes; the render thread walks; both under the context's lock.
#include "graphics/graphics_context_impl.h"

#include <cstdio>
#include <utility>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/color_matrix.h"
#include "graphics/frame_times.h"
#include "graphics/graphics_filter.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_output.h"
#include "graphics/graphics_scene_impl.h"
#include "graphics/graphics_shader.h"
#include "graphics/graphics_view.h"

namespace {

struct KindName {
  const char* one;
  const char* many;
};

KindName NameOf(GraphicsContextImpl::ObjectKind kind) {
  switch (kind) {
    case GraphicsContextImpl::ObjectKind::kPart: break;
    case GraphicsContextImpl::ObjectKind::kScene: return {"scene", "scenes"};
    case GraphicsContextImpl::ObjectKind::kItem: return {"item", "items"};
    case GraphicsContextImpl::ObjectKind::kFilter: return {"filter", "filters"};
    case GraphicsContextImpl::ObjectKind::kView: return {"view", "views"};
    case GraphicsContextImpl::ObjectKind::kOutput: return {"output", "outputs"};
    case GraphicsContextImpl::ObjectKind::kTexture: return {"texture", "textures"};
    case GraphicsContextImpl::ObjectKind::kConstantBuffer: return {"constant buffer", "constant buffers"};
  }
  return {"", ""};
}

}  // namespace

GraphicsContextImpl::GraphicsContextImpl() : fork_count_(os::ForkCount()) {
  InitializeFullRangeMatrix(matrix_full_);
  InitializeLimitedRangeMatrix(matrix_limit_);
}

GraphicsContextImpl::~GraphicsContextImpl() = default;

void GraphicsContextImpl::AddRef() { references_.fetch_add(1, std::memory_order_relaxed); }

void GraphicsContextImpl::Release() {
  if (references_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

void GraphicsContextImpl::CountObject(ObjectKind before, ObjectKind now) {
  --objects_[static_cast<int>(before)];
  ++objects_[static_cast<int>(now)];
}

void GraphicsContextImpl::ReportObjectsLeft() const {
  char list[256] = "";
  int length = 0;
  for (int kind = static_cast<int>(ObjectKind::kPart) + 1; kind < kObjectKinds; ++kind) {
    const int count = objects_[kind];
    if (count == 0) continue;
    const KindName name = NameOf(static_cast<ObjectKind>(kind));
    length += std::snprintf(list + length, sizeof(list) - static_cast<std::size_t>(length), "%s%d %s",
                            length == 0 ? "" : ", ", count, count == 1 ? name.one : name.many);
  }
  if (length == 0) return;
  Logger::default_logger()->Error("[GsDevice] destroyed before its objects: %s; they do nothing any more", list);
}

void GraphicsContextImpl::InitWinrt() {}

void GraphicsContextImpl::UninitWinrt() {}

void GraphicsContextImpl::AddItem(GraphicsItem* item) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  items_.Add(item);
}

void GraphicsContextImpl::RemoveItem(GraphicsItem* item) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  items_.Remove(item);
}

bool GraphicsContextImpl::BindShader(const char*) {
  Logger::default_logger()->Warn("BindShader is unimplemented");
  return false;
}

void GraphicsContextImpl::UnbindShader() { Logger::default_logger()->Warn("UnbindShader is unimplemented"); }

void GraphicsContextImpl::SetViewPort(unsigned int, unsigned int, unsigned int, unsigned int) {
  Logger::default_logger()->Warn("SetViewPort is unimplemented");
}

void GraphicsContextImpl::DrawRect(const internal_transform&, const internal_vec2&) {
  Logger::default_logger()->Warn("DrawRect is unimplemented");
}

void GraphicsContextImpl::DrawVertexArray(GraphicsVertex*, unsigned int, unsigned int*, unsigned int,
                                          const internal_transform&, const internal_vec2&) {
  // Kept: C24.
  Logger::default_logger()->Warn("DrawVertexArray is unimplemented");
}

void GraphicsContextImpl::BuildShader() { Logger::default_logger()->Warn("BuildShader is unimplemented"); }

// The context is the capability that callers see, so the analysis cannot follow it to the lock inside.
void GraphicsContextImpl::Lock() QUARN_NO_THREAD_SAFETY_ANALYSIS {
  if (lock_.LockAtOnce()) return;
  const FrameSpan wait(FramePart::kContextLockWait);
  lock_.Lock();
}

void GraphicsContextImpl::Unlock() QUARN_NO_THREAD_SAFETY_ANALYSIS { lock_.Unlock(); }

bool GraphicsContextImpl::HeldByCaller() const { return lock_.HeldByCaller(); }

void GraphicsContextImpl::AddFilter(GraphicsFilter* filter) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  filters_.Add(filter);
}

void GraphicsContextImpl::RemoveFilter(GraphicsFilter* filter) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  filters_.Remove(filter);
}

void GraphicsContextImpl::AddScene(GraphicsScene* scene) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  scenes_.Add(scene);
}

void GraphicsContextImpl::RemoveScene(GraphicsScene* scene) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  scenes_.Remove(scene);
  shown_scenes_.Forget(scene);
}

void GraphicsContextImpl::AddView(GraphicsView* view) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  views_.Add(view);
}

void GraphicsContextImpl::RemoveView(GraphicsView* view) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  views_.Remove(view);
}

void GraphicsContextImpl::AddOutput(GraphicsOutput* output) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  outputs_.Add(output);
}

void GraphicsContextImpl::RemoveOutput(GraphicsOutput* output) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  outputs_.Remove(output);
}

void GraphicsContextImpl::TickSource() {
  MutexLocker<GraphicsContextImpl> lock(*this);
  items_.Walk([](GraphicsItem* item) { item->Tick(); });
}

void GraphicsContextImpl::HandleFilters() {
  MutexLocker<GraphicsContextImpl> lock(*this);
  filters_.Walk([](GraphicsFilter* filter) { filter->Draw(); });
}

void GraphicsContextImpl::DrawSceneOutput() {
  MutexLocker<GraphicsContextImpl> lock(*this);
  const auto draw = [this](GraphicsScene* scene) {
    if (!scene->HasRef()) return;
    // Put back also where the host's Draw throws what its device survives: no memory.
    struct Drawn {
      Drawn(const GraphicsScene** place, const GraphicsScene* drawn)
          : now(place), before(std::exchange(*place, drawn)) {}
      ~Drawn() { *now = before; }
      const GraphicsScene** const now;
      const GraphicsScene* const before;
    } drawn(&drawn_scene_, scene);
    scene->Draw();
  };
  if (shown_scenes_.empty()) return scenes_.Walk(draw);
  scenes_.Walk(draw, [this](GraphicsScene** scenes, std::size_t count) { shown_scenes_.Arrange(scenes, count); });
}

void GraphicsContextImpl::NoteShownIn(const GraphicsScene* shown, const void* owner) {
  scenes_.Walk([=](GraphicsScene* scene) {
    const auto* const impl = dynamic_cast<GraphicsSceneImpl*>(scene);
    if (!impl || impl->owner() != owner) return;
    EvenWithoutMemory("The order of scenes that are shown in scenes", [&] { shown_scenes_.Note(shown, scene); });
  });
}

void GraphicsContextImpl::NoteShown(const GraphicsScene* shown) {
  if (!drawn_scene_) return;
  EvenWithoutMemory("The order of scenes that are shown in scenes", [&] { shown_scenes_.Note(shown, drawn_scene_); });
}

void GraphicsContextImpl::DrawViews() {
  MutexLocker<GraphicsContextImpl> lock(*this);
  views_.Walk([](GraphicsView* view) { view->Draw(); });
}

void GraphicsContextImpl::DoOutput(unsigned long long timestamp, int count) {
  MutexLocker<GraphicsContextImpl> lock(*this);
  outputs_.Walk([timestamp, count](GraphicsOutput* output) { output->Output(timestamp, count); });
}

void GraphicsContextImpl::ReportNoDrawTarget() {
  if (reported_no_draw_target_.exchange(true, std::memory_order_relaxed)) return;
  Logger::default_logger()->Error(
      "DrawRect without a target size does nothing: nothing is being drawn into on this thread; call it inside a Draw");
}

void GraphicsContextImpl::AddShader(std::string name, GraphicsShader* shader) {
  if (!shader) return;
  std::unique_ptr<GraphicsShader> newcomer(shader);
  shaders_.try_emplace(std::move(name), std::move(newcomer));
}

GraphicsShader* GraphicsContextImpl::GetShader(const std::string& name) {
  const auto found = shaders_.find(name);
  return found == shaders_.end() ? nullptr : found->second.get();
}

void GraphicsContextImpl::ReleaseShader() { shaders_.clear(); }
