// A device without a GPU, for tests of the inside: linked in place of the platform's, it is what
// GraphicsDevice::Create() makes. It records what reaches it and its objects in one journal for the process.
//
//   fake::Reset();
//   fake::options().start = false;
//   EXPECT_FALSE(GsDevice::CreateDefaultDevice(true));
//   EXPECT_THAT(fake::Calls(), ElementsAre("device.Init", "device.Start", "device.Stop", "device.~"));
//
// Its context is a real GraphicsContextImpl: stages called on the device walk its registries under its lock, as a
// platform's do. Any thread may record; options are set before the device is made.
#ifndef QUARN_TESTS_SUPPORT_FAKE_DEVICE_H_
#define QUARN_TESTS_SUPPORT_FAKE_DEVICE_H_

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "graphics/graphics_constant_buffer_impl.h"
#include "graphics/graphics_context_impl.h"
#include "graphics/graphics_device_impl.h"
#include "graphics/graphics_duplicator.h"
#include "graphics/graphics_filter_impl.h"
#include "graphics/graphics_scene_impl.h"
#include "graphics/graphics_texture_impl.h"
#include "graphics/graphics_view_impl.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/output/graphics_output_impl.h"

class FakeTexture;

namespace fake {

struct Options {
  bool create = true;          // What Create answers: a device or null.
  bool init = true;            // What Init answers.
  bool start = true;           // What Start answers.
  bool run_loop = false;       // Start runs the real render thread.
  bool context = true;         // Whether gs_context() answers a context.
  bool objects = true;         // Whether the factories serve; else they answer null.
  bool filter_texture = true;  // Whether filters have a target.
  bool scene_texture = true;   // Whether scenes have one.
  bool binds = true;           // Whether the binding of textures is recorded.
  bool duplicator = false;     // Whether CreateDuplicator serves; else the default answers.
  int dup_result = 0;          // What a duplicator's Dup answers.
  // Called with every frame that a texture is to be made of.
  std::function<void(const GraphicsFrame&)> on_frame;
  // Called with every entry of the journal, where it happens.
  std::function<void(const std::string&)> on_call;
};

// The options of what is made from now on.
Options& options();
// Default options, empty journal.
void Reset();
// The journal, oldest first: "device.Start", "device.CreateScene 640 480", "scene.Attach", "texture.~", ...
std::vector<std::string> Calls();
void ClearCalls();
// How often `call` stands in the journal.
int Count(const std::string& call);
void Record(std::string call);

}  // namespace fake

// Registers with the context as the platform's scenes do.
class FakeScene : public GraphicsSceneImpl {
 public:
  FakeScene(GraphicsContextImpl* context, unsigned int width, unsigned int height);
  ~FakeScene() override;
  void Attach(DrawCallback* callback) override;
  void Detach() override;
  void AddRef() override;
  void ReleaseRef() override;
  GraphicsTexture* texture() override;
  const GraphicsContextImpl* context() const { return context_; }

 private:
  GraphicsContextImpl* context_;
  std::unique_ptr<FakeTexture> texture_;
};

class FakeFilter : public GraphicsFilterImpl {
 public:
  FakeFilter(GraphicsContextImpl* context, unsigned int width, unsigned int height);
  ~FakeFilter() override;
  void Attach(DrawCallback* callback) override;
  void Detach() override;
  void Resize(unsigned int width, unsigned int height) override;
  GraphicsTexture* texture() override;

 private:
  GraphicsContextImpl* context_;
  std::unique_ptr<FakeTexture> texture_;
};

// Draws by its callback alone.
class FakeView : public GraphicsViewImpl, public PresentedView {
 public:
  FakeView(GraphicsContextImpl* context, const InternalWindowInfo& info, unsigned int width, unsigned int height);
  ~FakeView() override;
  void Attach(DrawCallback* callback) override;
  void Detach() override;
  void Resize(unsigned int width, unsigned int height) override;
  void SetBackgroundColor(float r, float g, float b, float a) override;
  ViewCounts counts() const override { return pictures; }
  void Move(int x, int y) override;
  float window_scale() const override { return scale; }
  void SetWindow(const InternalWindowInfo& info) override;

  float scale = 1;      // Of its window.
  ViewCounts pictures;  // What became of them.
  void* window;         // What the host gave last.
  // The colour in force.
  std::vector<float> background();

 private:
  GraphicsContextImpl* context_;
};

class FakeTexture : public GraphicsTextureImpl {
 public:
  FakeTexture(unsigned int width, unsigned int height);
  ~FakeTexture() override;
  bool BindShaderResource(int unit) override;
  void ReleaseShaderResource() override;
  void Update(GraphicsFrame&& new_frame) override;
  void Update(void* external_image) override;
  void* native_obj() override;

  // The texture on that unit; null when it has been released.
  static FakeTexture* Bound(int unit);

  GraphicsFrame frame;    // The pixels of the last frame taken.
  int native_object = 0;  // native_obj() is its address.

 private:
  int unit_ = 0;
};

class FakeConstantBuffer : public GraphicsConstantBufferImpl {
 public:
  FakeConstantBuffer(unsigned int size, const void* data);
  ~FakeConstantBuffer() override;
  void Update(const void* data, unsigned int size) override;
  bool Bind(int slot) override;
  void Unbind() override;
};

// The base's pool and thread; Output queues no pictures by itself. It may outlive its device, as a platform's.
class FakeOutput : public GraphicsOutputImpl {
 public:
  FakeOutput(GraphicsContextImpl* context, GraphicsScene* scene, unsigned int width, unsigned int height,
             unsigned int fps);
  ~FakeOutput() override;
  void Attach(OutputCallback* callback) override;
  void Detach() override;
  // Hands a texture to an attached texture receiver, and one blank frame of the pool to any other.
  void Output(unsigned long long timestamp, int count) override;

 private:
  GraphicsContextImpl* context_;
  GraphicsContext* context_use_;  // The same, with a reference.
  std::unique_ptr<FakeTexture> texture_;
};

class FakeDuplicator : public GraphicsDuplicator {
 public:
  FakeDuplicator();
  ~FakeDuplicator() override;
  int Dup(GraphicsTexture** out) override;
  bool is_hdr() override { return true; }
  unsigned int sdr_white_level() override { return 203; }

 private:
  std::unique_ptr<FakeTexture> texture_;
};

// Gives a device's reference on its context back. Objects hold theirs.
struct ContextReleaser {
  ContextReleaser() = default;
  template <class Context>
  ContextReleaser(std::default_delete<Context>) {}
  void operator()(GraphicsContextImpl* context) const { context->Release(); }
};

class FakeDevice : public GraphicsDeviceImpl {
 public:
  FakeDevice();
  ~FakeDevice() override;

  bool Init() override;
  bool Start() override;
  void Stop() override;
  void SetFps(unsigned int fps) override;
  void ClearFrameList() override;
  bool AddShader(const char* name, const char* vs, const char* fs) override;
  GraphicsView* CreateView(const InternalWindowInfo& info, unsigned int width, unsigned int height) override;
  GraphicsScene* CreateScene(unsigned int width, unsigned int height) override;
  GraphicsTexture* CreateTexture(GraphicsFrame&& frame) override;
  GraphicsTexture* CreateTexture(GraphicsFormatInternal format, unsigned int width, unsigned int height) override;
  GraphicsTexture* CreateTexture(void* external_image) override;
  GraphicsConstantBuffer* CreateConstantBuffer(unsigned int size, const void* data) override;
  GraphicsDuplicator* CreateDuplicator(const char* name) override;
  GraphicsOutput* CreateOutput(GraphicsScene* scene, unsigned int width, unsigned int height) override;
  GraphicsFilter* CreateFilter(unsigned int width, unsigned int height) override;
  GraphicsContext* gs_context() override;
  bool InitThreadContext() override;
  void UninitThreadContext() override;
  void EnterThreadContext() override;
  void LeaveThreadContext() override;
  // The device's own address.
  void* native_obj() override;
  void QueueTask(void (*func)(void*), void* param) override;
  void DoTask() override;
  std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) override;
  void HandleFilter() override;
  void OutputFrame(unsigned long long timestamp, unsigned int count) override;
  void DrawDisplay() override;
  void HandleTask(void (*func)(void*), void* param) override;

  // A test may put a context of its own here before it makes objects.
  std::unique_ptr<GraphicsContextImpl, ContextReleaser> context;
};

#endif  // QUARN_TESTS_SUPPORT_FAKE_DEVICE_H_
