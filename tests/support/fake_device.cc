#include "tests/support/fake_device.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "foundation/mutex.h"
#include "graphics/context_lock.h"
#include "graphics/internal_types.h"

namespace fake {
namespace {

std::mutex journal_mutex;
std::vector<std::string> journal;

}  // namespace

Options& options() {
  static Options instance;
  return instance;
}

void Reset() {
  options() = Options();
  ClearCalls();
}

std::vector<std::string> Calls() {
  std::lock_guard<std::mutex> lock(journal_mutex);
  return journal;
}

void ClearCalls() {
  std::lock_guard<std::mutex> lock(journal_mutex);
  journal.clear();
}

int Count(const std::string& call) {
  std::lock_guard<std::mutex> lock(journal_mutex);
  return static_cast<int>(std::count(journal.begin(), journal.end(), call));
}

void Record(std::string call) {
  if (options().on_call) options().on_call(call);
  std::lock_guard<std::mutex> lock(journal_mutex);
  journal.push_back(std::move(call));
}

}  // namespace fake

namespace {

std::string WithSize(const char* call, unsigned int width, unsigned int height) {
  return std::string(call) + " " + std::to_string(width) + " " + std::to_string(height);
}

constexpr int kUnits = 4;
FakeTexture* bound_textures[kUnits] = {};

std::string OrNull(const char* text) { return text ? text : "null"; }

}  // namespace

GraphicsDevice* GraphicsDevice::Create() { return fake::options().create ? new FakeDevice : nullptr; }

FakeScene::FakeScene(GraphicsContextImpl* context, unsigned int width, unsigned int height)
    : GraphicsSceneImpl(width, height), context_(context) {
  if (fake::options().scene_texture) texture_ = std::make_unique<FakeTexture>(width, height);
}

FakeScene::~FakeScene() { fake::Record("scene.~"); }

void FakeScene::Attach(DrawCallback* callback) {
  fake::Record("scene.Attach");
  if (context_) context_->AddScene(this);
  GraphicsSceneImpl::Attach(callback);
}

void FakeScene::Detach() {
  fake::Record("scene.Detach");
  if (context_) context_->RemoveScene(this);
  GraphicsSceneImpl::Detach();
}

void FakeScene::AddRef() {
  fake::Record("scene.AddRef");
  GraphicsSceneImpl::AddRef();
}

void FakeScene::ReleaseRef() {
  fake::Record("scene.ReleaseRef");
  GraphicsSceneImpl::ReleaseRef();
}

GraphicsTexture* FakeScene::texture() { return texture_.get(); }

FakeFilter::FakeFilter(GraphicsContextImpl* context, unsigned int width, unsigned int height)
    : GraphicsFilterImpl(width, height), context_(context) {
  if (fake::options().filter_texture) texture_ = std::make_unique<FakeTexture>(width, height);
}

FakeFilter::~FakeFilter() { fake::Record("filter.~"); }

void FakeFilter::Attach(DrawCallback* callback) {
  fake::Record("filter.Attach");
  if (context_) context_->AddFilter(this);
  GraphicsFilterImpl::Attach(callback);
}

void FakeFilter::Detach() {
  fake::Record("filter.Detach");
  if (context_) context_->RemoveFilter(this);
  GraphicsFilterImpl::Detach();
}

void FakeFilter::Resize(unsigned int width, unsigned int height) {
  fake::Record(WithSize("filter.Resize", width, height));
  GraphicsFilterImpl::Resize(width, height);
}

GraphicsTexture* FakeFilter::texture() { return texture_.get(); }

FakeView::FakeView(GraphicsContextImpl* context, const InternalWindowInfo& info, unsigned int width,
                   unsigned int height)
    : GraphicsViewImpl(width, height), window(info.window), context_(context) {}

FakeView::~FakeView() { fake::Record("view.~"); }

void FakeView::Attach(DrawCallback* callback) {
  fake::Record("view.Attach");
  if (context_) context_->AddView(this);
  GraphicsViewImpl::Attach(callback);
}

void FakeView::Detach() {
  fake::Record("view.Detach");
  if (context_) context_->RemoveView(this);
  GraphicsViewImpl::Detach();
}

void FakeView::Resize(unsigned int width, unsigned int height) {
  fake::Record(WithSize("view.Resize", width, height));
  GraphicsViewImpl::Resize(width, height);
}

void FakeView::SetBackgroundColor(float r, float g, float b, float a) {
  fake::Record("view.SetBackgroundColor");
  GraphicsViewImpl::SetBackgroundColor(r, g, b, a);
}

void FakeView::Move(int x, int y) { fake::Record("view.Move " + std::to_string(x) + " " + std::to_string(y)); }

void FakeView::SetWindow(const InternalWindowInfo& info) {
  fake::Record("view.SetWindow");
  window = info.window;
}

std::vector<float> FakeView::background() {
  MutexLocker<Mutex> lock(background_mutex_);
  return {background_.r, background_.g, background_.b, background_.a};
}

FakeTexture::FakeTexture(unsigned int width, unsigned int height) : GraphicsTextureImpl(width, height) {}

FakeTexture::~FakeTexture() { fake::Record("texture.~"); }

bool FakeTexture::BindShaderResource(int unit) {
  if (fake::options().binds) fake::Record("texture.BindShaderResource " + std::to_string(unit));
  unit_ = unit;
  bound_textures[unit] = this;
  return true;
}

void FakeTexture::ReleaseShaderResource() {
  if (fake::options().binds) fake::Record("texture.ReleaseShaderResource");
  bound_textures[unit_] = nullptr;
}

FakeTexture* FakeTexture::Bound(int unit) { return bound_textures[unit]; }

void FakeTexture::Update(GraphicsFrame&& new_frame) {
  fake::Record(WithSize("texture.Update(frame)", new_frame.width, new_frame.height));
  frame = std::move(new_frame);
}

void FakeTexture::Update(void* external_image) {
  fake::Record(external_image ? "texture.Update(image)" : "texture.Update(null)");
}

void* FakeTexture::native_obj() { return &native_object; }

FakeConstantBuffer::FakeConstantBuffer(unsigned int size, const void* data) {
  fake::Record("buffer " + std::to_string(size) + (data ? " data" : " null"));
}

FakeConstantBuffer::~FakeConstantBuffer() { fake::Record("buffer.~"); }

void FakeConstantBuffer::Update(const void* /*data*/, unsigned int size) {
  fake::Record("buffer.Update " + std::to_string(size));
}

bool FakeConstantBuffer::Bind(int slot) {
  fake::Record("buffer.Bind " + std::to_string(slot));
  return true;
}

void FakeConstantBuffer::Unbind() { fake::Record("buffer.Unbind"); }

FakeOutput::FakeOutput(GraphicsContextImpl* context, GraphicsScene* scene, unsigned int width, unsigned int height,
                       unsigned int fps)
    : GraphicsOutputImpl(scene, width, height, fps),
      context_(context),
      context_use_(AcquireContext(context)),
      texture_(std::make_unique<FakeTexture>(width, height)) {}

FakeOutput::~FakeOutput() {
  StopThread();
  ReleaseContext(context_use_);
  fake::Record("output.~");
}

void FakeOutput::Attach(OutputCallback* callback) {
  fake::Record("output.Attach " + std::to_string(callback ? callback->format() : kOutputNone));
  GraphicsOutputImpl::Attach(callback);
  if (context_) context_->AddOutput(this);
}

void FakeOutput::Detach() {
  fake::Record("output.Detach");
  if (context_) context_->RemoveOutput(this);
  GraphicsOutputImpl::Detach();
  if (context_) context_->RemoveOutput(this);
}

void FakeOutput::Output(unsigned long long timestamp, int count) {
  const OutputFormat format = attached_format();
  if (format == kOutputTexture) {
    MutexLocker<Mutex> lock(callback_mutex_);
    if (!callback_) return;
    callback_->OnOutputTexture(texture_.get(), timestamp);
    CountDelivery(false);
  } else if (format != kNotAttached) {
    GraphicsFrame* frame = nullptr;
    if (LockFrame(&frame, timestamp, count)) UnlockFrame();
  }
}

FakeDuplicator::FakeDuplicator() : texture_(std::make_unique<FakeTexture>(2, 2)) {}

FakeDuplicator::~FakeDuplicator() { fake::Record("duplicator.~"); }

int FakeDuplicator::Dup(GraphicsTexture** out) {
  fake::Record(*out ? "duplicator.Dup set" : "duplicator.Dup null");
  *out = texture_.get();
  return fake::options().dup_result;
}

FakeDevice::FakeDevice() {
  if (fake::options().context) context = std::make_unique<GraphicsContextImpl>();
}

FakeDevice::~FakeDevice() { fake::Record("device.~"); }

bool FakeDevice::Init() {
  fake::Record("device.Init");
  return fake::options().init;
}

bool FakeDevice::Start() {
  fake::Record("device.Start");
  if (fake::options().run_loop) return GraphicsDeviceImpl::Start();
  return fake::options().start;
}

void FakeDevice::Stop() {
  GraphicsDeviceImpl::Stop();
  fake::Record("device.Stop");
}

void FakeDevice::SetFps(unsigned int fps) {
  fake::Record("device.SetFps " + std::to_string(fps));
  GraphicsDeviceImpl::SetFps(fps);
}

void FakeDevice::ClearFrameList() { fake::Record("device.ClearFrameList"); }

bool FakeDevice::AddShader(const char* name, const char* vs, const char* fs) {
  fake::Record("device.AddShader " + OrNull(name) + " " + OrNull(vs) + " " + OrNull(fs));
  return true;
}

GraphicsView* FakeDevice::CreateView(const InternalWindowInfo& info, unsigned int width, unsigned int height) {
  fake::Record(WithSize("device.CreateView", width, height));
  return fake::options().objects ? new FakeView(context.get(), info, width, height) : nullptr;
}

GraphicsScene* FakeDevice::CreateScene(unsigned int width, unsigned int height) {
  fake::Record(WithSize("device.CreateScene", width, height));
  if (!fake::options().objects || width == 0 || height == 0) return nullptr;
  return new FakeScene(context.get(), width, height);
}

GraphicsTexture* FakeDevice::CreateTexture(GraphicsFrame&& frame) {
  fake::Record(WithSize("device.CreateTexture(frame)", frame.width, frame.height));
  if (fake::options().on_frame) fake::options().on_frame(frame);
  if (!fake::options().objects) return nullptr;
  auto* texture = new FakeTexture(frame.width, frame.height);
  texture->frame = std::move(frame);
  return texture;
}

GraphicsTexture* FakeDevice::CreateTexture(GraphicsFormatInternal format, unsigned int width, unsigned int height) {
  fake::Record(WithSize("device.CreateTexture(format)", width, height) + " " + std::to_string(format));
  return fake::options().objects ? new FakeTexture(width, height) : nullptr;
}

GraphicsTexture* FakeDevice::CreateTexture(void* /*external_image*/) {
  fake::Record("device.CreateTexture(image)");
  return fake::options().objects ? new FakeTexture(4, 4) : nullptr;
}

GraphicsConstantBuffer* FakeDevice::CreateConstantBuffer(unsigned int size, const void* data) {
  return fake::options().objects ? new FakeConstantBuffer(size, data) : nullptr;
}

GraphicsDuplicator* FakeDevice::CreateDuplicator(const char* name) {
  if (!fake::options().duplicator) return GraphicsDeviceImpl::CreateDuplicator(name);
  fake::Record("device.CreateDuplicator " + OrNull(name));
  return new FakeDuplicator;
}

GraphicsOutput* FakeDevice::CreateOutput(GraphicsScene* scene, unsigned int width, unsigned int height) {
  fake::Record(WithSize("device.CreateOutput", width, height));
  if (!fake::options().objects || !scene || width == 0 || height == 0) return nullptr;
  const auto* const of_ours = dynamic_cast<const FakeScene*>(scene);
  if (of_ours && of_ours->context() != context.get()) return nullptr;
  auto output = std::make_unique<FakeOutput>(context.get(), scene, width, height, fps());
  output->FollowClock(shared_clock());
  return output->Init() ? output.release() : nullptr;
}

GraphicsFilter* FakeDevice::CreateFilter(unsigned int width, unsigned int height) {
  fake::Record(WithSize("device.CreateFilter", width, height));
  if (!fake::options().objects || width == 0 || height == 0) return nullptr;
  return new FakeFilter(context.get(), width, height);
}

GraphicsContext* FakeDevice::gs_context() { return context.get(); }

bool FakeDevice::InitThreadContext() {
  fake::Record("device.InitThreadContext");
  return GraphicsDeviceImpl::InitThreadContext();
}

void FakeDevice::UninitThreadContext() {
  fake::Record("device.UninitThreadContext");
  GraphicsDeviceImpl::UninitThreadContext();
}

void FakeDevice::EnterThreadContext() {
  fake::Record("device.EnterThreadContext");
  GraphicsDeviceImpl::EnterThreadContext();
}

void FakeDevice::LeaveThreadContext() {
  fake::Record("device.LeaveThreadContext");
  GraphicsDeviceImpl::LeaveThreadContext();
}

void* FakeDevice::native_obj() { return this; }

void FakeDevice::QueueTask(void (*func)(void*), void* param) {
  fake::Record("device.QueueTask");
  GraphicsDeviceImpl::QueueTask(func, param);
}

void FakeDevice::DoTask() {
  fake::Record("device.DoTask");
  GraphicsDeviceImpl::DoTask();
}

std::uint64_t FakeDevice::TickSource(unsigned long long frame_time, unsigned long long last_tick) {
  fake::Record("device.TickSource " + std::to_string(frame_time) + " " + std::to_string(last_tick));
  if (context) {
    MutexLocker<GraphicsContextImpl> lock(*context);
    context->TickSource();
  }
  return frame_time;
}

void FakeDevice::HandleFilter() {
  fake::Record("device.HandleFilter");
  if (!context) return;
  MutexLocker<GraphicsContextImpl> lock(*context);
  context->HandleFilters();
}

void FakeDevice::OutputFrame(unsigned long long timestamp, unsigned int count) {
  fake::Record("device.OutputFrame " + std::to_string(timestamp) + " " + std::to_string(count));
  if (!context) return;
  MutexLocker<GraphicsContextImpl> lock(*context);
  context->DrawSceneOutput();
  if (count != 0) context->DoOutput(timestamp, static_cast<int>(count));
}

void FakeDevice::DrawDisplay() {
  fake::Record("device.DrawDisplay");
  if (!context) return;
  MutexLocker<GraphicsContextImpl> lock(*context);
  context->DrawViews();
}

void FakeDevice::HandleTask(void (*func)(void*), void* param) {
  fake::Record("device.HandleTask");
  if (!context) return GraphicsDeviceImpl::HandleTask(func, param);
  MutexLocker<GraphicsContextImpl> lock(*context);
  func(param);
}
