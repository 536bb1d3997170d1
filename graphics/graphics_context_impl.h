// The registries that the render loop walks, and the lock that orders everything.
//
// Any thread adds and removes; the render thread walks. Both hold the context's lock, which is recursive: a stage takes
// it and the walk takes it again.
#ifndef QUARN_GRAPHICS_GRAPHICS_CONTEXT_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_CONTEXT_IMPL_H_

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <unordered_map>

#include "foundation/mutex.h"
#include "graphics/graphics_context.h"
#include "graphics/registry.h"

class GraphicsFilter;
class GraphicsOutput;
class GraphicsScene;
class GraphicsShader;
class GraphicsView;

class QUARN_CAPABILITY("mutex") GraphicsContextImpl : public GraphicsContext {
 public:
  GraphicsContextImpl();
  ~GraphicsContextImpl() override;
  GraphicsContextImpl(const GraphicsContextImpl&) = delete;
  GraphicsContextImpl& operator=(const GraphicsContextImpl&) = delete;

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

  // Recursive. A waiter gets the lock after one holder at the most, however often that one comes back for it.
  void Lock() QUARN_ACQUIRE();
  void Unlock() QUARN_RELEASE();
  // Whether the calling thread holds the lock: it does in every stage of a frame, and in what a stage calls.
  bool HeldByCaller() const;

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

  // Programs by name. The caller holds the lock, or is the render thread. A name that is taken keeps its program, and
  // the newcomer is destroyed.
  void AddShader(std::string name, GraphicsShader* shader);
  // Returns null for an unknown name.
  GraphicsShader* GetShader(const std::string& name);
  void ReleaseShader();

  // The YUV-to-RGB matrix of limited-range BT.709 video: 16 floats, rows of four.
  const float* matrix_limit() const { return matrix_limit_; }
  // The same for full-range video.
  const float* matrix_full() const { return matrix_full_; }

 private:
  Mutex lock_;
  Mutex turnstile_;                       // Held by the thread that waits for the lock.
  std::atomic<std::thread::id> owner_{};  // Of the lock.
  int lock_count_ = 0;                    // How often its owner holds it.
  std::unordered_map<std::string, std::unique_ptr<GraphicsShader>> shaders_;
  Registry<GraphicsItem> items_;
  Registry<GraphicsFilter> filters_;
  Registry<GraphicsScene> scenes_;
  Registry<GraphicsView> views_;
  Registry<GraphicsOutput> outputs_;
  float matrix_full_[16];
  float matrix_limit_[16];
};

// Fills `matrix` (16 floats, rows of four) with the conversion of (Y, U, V, 1), each 0 to 1, to red, green and blue,
// and logs it at debug level. kb and kr are the luma coefficients; the ranges and the black level are code values of Y,
// U and V.
void initialize_matrix(float kb, float kr, float bit_range, const float* range_min, const float* range_max,
                       const float* black, float* matrix);

#endif  // QUARN_GRAPHICS_GRAPHICS_CONTEXT_IMPL_H_
