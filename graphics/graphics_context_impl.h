// The registries that the render loop walks, and the lock that orders everything.
//
// Any thread adds and removes; the render thread walks. Both hold the context's lock, which is recursive: a stage takes
// it and the walk takes it again.
#ifndef QUARN_GRAPHICS_GRAPHICS_CONTEXT_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_CONTEXT_IMPL_H_

#include <atomic>
#include <memory>
#include <string>
#include <unordered_map>

#include "foundation/fair_mutex.h"
#include "foundation/fork_count.h"
#include "foundation/mutex.h"
#include "graphics/graphics_context.h"
#include "graphics/registry.h"
#include "graphics/shown_scenes.h"

class DrawTarget;
class GraphicsFilter;
class GraphicsOutput;
class GraphicsScene;
class GraphicsShader;
class GraphicsView;

// Counted by reference: its device holds one, and so does every object of it. When the device goes the context is
// closed: what outlives the device still finds the lock, and nothing to draw with.
class QUARN_CAPABILITY("mutex") GraphicsContextImpl : public GraphicsContext {
 public:
  // What a host knows an engine object as.
  enum class ObjectKind { kPart, kScene, kItem, kFilter, kView, kOutput, kTexture, kConstantBuffer };

  GraphicsContextImpl();
  ~GraphicsContextImpl() override;
  GraphicsContextImpl(const GraphicsContextImpl&) = delete;
  GraphicsContextImpl& operator=(const GraphicsContextImpl&) = delete;

  // A context of the engine's own, from what it is known as outside; null for null and for any other context.
  static GraphicsContextImpl* From(GraphicsContext* context) { return dynamic_cast<GraphicsContextImpl*>(context); }
  static const GraphicsContextImpl* From(const GraphicsContext* context) {
    return dynamic_cast<const GraphicsContextImpl*>(context);
  }

  void InitWinrt() override;
  void UninitWinrt() override;
  void AddItem(GraphicsItem* item) override;
  void RemoveItem(GraphicsItem* item) override;
  bool BindShader(const char* name) override;
  void UnbindShader() override;
  void SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) override;
  void DrawRect(const internal_transform& transform, const internal_vec2& target_size) override;
  void DrawVertexArray(GraphicsVertex* vertices, unsigned int vertex_count, unsigned int* indices,
                       unsigned int index_count, const internal_transform& transform,
                       const internal_vec2& target_size) override;
  // Builds the built-in programs.
  virtual void BuildShader();

  // The count starts at one, its maker's. The last Release deletes.
  void AddRef();
  void Release();
  // Notes that an object that counted as `before` counts as `now`. Parts of other objects are not counted.
  void CountObject(ObjectKind before, ObjectKind now);

  // Recursive. However often its holder comes back for the lock, somebody who waits for it comes first; which of
  // several that is, is not said.
  void Lock() QUARN_ACQUIRE();
  void Unlock() QUARN_RELEASE();
  // Whether the calling thread holds the lock: it does in every stage of a frame, and in what a stage calls.
  bool HeldByCaller() const;
  // Whether there is something behind it to draw with. Thread: any.
  bool can_draw() const { return can_draw_ && !of_another_process(); }
  // Whether it was made before this process was forked from its parent: then what is behind it is the parent's.
  bool of_another_process() const { return fork_count_ != os::ForkCount(); }

  // Registries: insertion order, each pointer once, nothing owned. Null, a second Add and an unknown Remove are
  // ignored.
  void AddFilter(GraphicsFilter* filter);
  void RemoveFilter(GraphicsFilter* filter);
  void AddScene(GraphicsScene* scene);
  void RemoveScene(GraphicsScene* scene);
  void AddView(GraphicsView* view);
  void RemoveView(GraphicsView* view);
  void AddOutput(GraphicsOutput* output);
  void RemoveOutput(GraphicsOutput* output);

  // The walks of a frame, on the render thread.
  void TickSource();
  void HandleFilters();
  void DrawSceneOutput();
  void DrawViews();
  void DoOutput(unsigned long long timestamp, int count);

  // What is being drawn into, innermost first; null outside of a Draw. The lock guards it.
  const DrawTarget* draw_target() const { return draw_target_; }
  void SetDrawTarget(const DrawTarget* target) { draw_target_ = target; }
  // For a rectangle that wants to know its size, outside of a Draw: the first is logged.
  void ReportNoDrawTarget();

  // Scenes that are shown in other scenes; the lock guards them. Where memory is missing for a note, a frame comes out
  // as if it had not been made.
  const ShownScenes& shown_scenes() const { return shown_scenes_; }
  // Notes that `shown` is shown in the scene of that owner, if it is in the registry.
  void NoteShownIn(const GraphicsScene* shown, const void* owner);
  // Notes that `shown` is shown in the scene that is being drawn.
  void NoteShown(const GraphicsScene* shown);
  // The scene that is being drawn; null at any other time.
  const GraphicsScene* drawn_scene() const { return drawn_scene_; }

  // Programs by name. The caller holds the lock, or is the render thread. A name that is taken keeps its program, and
  // the newcomer is destroyed.
  void AddShader(std::string name, GraphicsShader* shader);
  // Returns null for an unknown name.
  GraphicsShader* GetShader(const std::string& name);
  void ReleaseShader();
  // Calls visit(program) for each.
  template <class Visit>
  void WalkShaders(Visit visit) {
    for (const auto& entry : shaders_) visit(entry.second.get());
  }

  // The YUV-to-RGB matrix of limited-range BT.709 video: 16 floats, rows of four.
  const float* matrix_limit() const { return matrix_limit_; }
  // The same for full-range video.
  const float* matrix_full() const { return matrix_full_; }

 protected:
  // For the end of the device: one line names what it leaves behind, if that is anything.
  void ReportObjectsLeft() const;
  void SetCanDraw(bool can_draw) { can_draw_ = can_draw; }

 private:
  static constexpr int kObjectKinds = static_cast<int>(ObjectKind::kConstantBuffer) + 1;

  const unsigned int fork_count_;
  std::atomic<bool> can_draw_{false};
  std::atomic<int> references_{1};
  std::atomic<int> objects_[kObjectKinds] = {};
  RecursiveFairMutex lock_;
  std::unordered_map<std::string, std::unique_ptr<GraphicsShader>> shaders_;
  Registry<GraphicsItem> items_;
  Registry<GraphicsFilter> filters_;
  Registry<GraphicsScene> scenes_;
  Registry<GraphicsView> views_;
  Registry<GraphicsOutput> outputs_;
  ShownScenes shown_scenes_;
  const GraphicsScene* drawn_scene_ = nullptr;
  const DrawTarget* draw_target_ = nullptr;
  std::atomic<bool> reported_no_draw_target_{false};
  float matrix_full_[16];
  float matrix_limit_[16];
};

#endif  // QUARN_GRAPHICS_GRAPHICS_CONTEXT_IMPL_H_
