// The platform's device. Factories are entered by any thread, the stages by the render thread.
#include "graphics/opengl/cgl/graphics_device_cgl.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "foundation/logger.h"
#include "foundation/workarounds.h"
#include "graphics/opengl/cgl/external_image.h"
#include "graphics/opengl/cgl/graphics_context_cgl.h"
#include "graphics/opengl/cgl/graphics_view_cgl.h"
#include "graphics/opengl/graphics_constant_buffer_gl.h"
#include "graphics/opengl/graphics_filter_gl.h"
#include "graphics/opengl/graphics_output_gl.h"
#include "graphics/opengl/graphics_scene_gl.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/graphics_video_texture_gl.h"

namespace {

// Returns the object when it is ready, counted as what the host knows it as; else destroys it and returns null.
template <class T>
T* ReadyOrNull(std::unique_ptr<T> object, bool ready, ContextObject::Kind kind) {
  if (!ready) return nullptr;
  object->CountAs(kind);
  return object.release();
}

}  // namespace

GraphicsDevice* GraphicsDevice::Create() {
  ReadWorkarounds();  // Here, on a thread of the host's: threads of the library must not read the environment.
  return new GraphicsDeviceCGL;
}

GraphicsDeviceCGL::GraphicsDeviceCGL() {
  DeclareMeasured({FramePart::kScenes, FramePart::kOutputs, FramePart::kContextLockWait, FramePart::kReadbackWait});
}

GraphicsDeviceCGL::~GraphicsDeviceCGL() {
  if (context_) context_->Close();
}

bool GraphicsDeviceCGL::Init() {
  context_ = MakeRef<GraphicsContextCGL>();
  return context_->Build();
}

bool GraphicsDeviceCGL::available() const { return context_ && context_->available(); }

bool GraphicsDeviceCGL::CheckSize(const char* what, unsigned int width, unsigned int height) const {
  return CheckSize(what, width, height, context_->max_texture_size());
}

bool GraphicsDeviceCGL::CheckSize(const char* what, unsigned int width, unsigned int height, unsigned int limit) {
  if (width == 0 || height == 0) {
    Logger::default_logger()->Error("%s of %ux%u cannot be made: a side is zero", what, width, height);
    return false;
  }
  if (limit != 0 && std::max(width, height) > limit) {
    Logger::default_logger()->Error("%s of %ux%u cannot be made: a side is longer than %u", what, width, height, limit);
    return false;
  }
  return true;
}

bool GraphicsDeviceCGL::AddShader(const char* name, const char* vs, const char* fs) {
  if (!context_ || !name || !vs || !fs) return false;
  GLScope gl(context_);
  return gl.ok() && context_->CompileShader(name, vs, fs);
}

GraphicsView* GraphicsDeviceCGL::CreateView(const InternalWindowInfo& info, unsigned int width, unsigned int height) {
  if (!available()) return nullptr;
  auto view = std::make_unique<GraphicsViewCGL>(context_, info, width, height);
  const bool ready = view->Init();
  return ReadyOrNull(std::move(view), ready, ContextObject::Kind::kView);
}

GraphicsScene* GraphicsDeviceCGL::CreateScene(unsigned int width, unsigned int height) {
  if (!available() || !CheckSize("A scene", width, height)) return nullptr;
  MutexLocker<GraphicsContextGL> lock(*context_);
  auto scene = std::make_unique<GraphicsSceneGL>(context_, width, height);
  const bool ready = scene->Init();
  return ReadyOrNull(std::move(scene), ready, ContextObject::Kind::kScene);
}

GraphicsTexture* GraphicsDeviceCGL::CreateTexture(GraphicsFrame&& frame) {
  if (!available() || !CheckSize("A texture", frame.width, frame.height)) return nullptr;
  auto texture = std::make_unique<GraphicsTextureGL>(context_, std::move(frame));
  const bool ready = texture->Init(false);
  return ReadyOrNull(std::move(texture), ready, ContextObject::Kind::kTexture);
}

GraphicsTexture* GraphicsDeviceCGL::CreateTexture(void* external_image) {
  if (!available() || !external_image) return nullptr;
  if (!CheckSize("A texture", ExternalImageWidth(external_image), ExternalImageHeight(external_image),
                 context_->max_rectangle_size())) {
    return nullptr;
  }
  auto texture = std::make_unique<GraphicsTextureGL>(context_, external_image);
  const bool ready = texture->Init(false);
  return ReadyOrNull(std::move(texture), ready, ContextObject::Kind::kTexture);
}

GraphicsConstantBuffer* GraphicsDeviceCGL::CreateConstantBuffer(unsigned int size, const void* data) {
  if (!available()) return nullptr;
  auto buffer = data ? std::make_unique<GraphicsConstantBufferGL>(context_, data, size)
                     : std::make_unique<GraphicsConstantBufferGL>(context_, size);
  const bool ready = buffer->Init();
  if (!ready) Logger::default_logger()->Error("A constant buffer of %u bytes could not be made", size);
  return ReadyOrNull(std::move(buffer), ready, ContextObject::Kind::kConstantBuffer);
}

GraphicsOutput* GraphicsDeviceCGL::CreateOutput(GraphicsScene* scene, unsigned int width, unsigned int height) {
  if (!available() || !CheckSize("An output", width, height)) return nullptr;
  auto* const object = dynamic_cast<GLObject*>(scene);
  if (scene && (!object || object->context() != context_)) {
    Logger::default_logger()->Error("An output cannot be made for a scene of another device");
    return nullptr;
  }
  auto output = std::make_unique<GraphicsOutputGL>(context_, scene, width, height, fps());
  output->FollowClock(shared_clock());
  const bool ready = output->Init();
  return ReadyOrNull(std::move(output), ready, ContextObject::Kind::kOutput);
}

GraphicsFilter* GraphicsDeviceCGL::CreateFilter(unsigned int width, unsigned int height) {
  // Without a native context it is the filter's Init that fails. Kept: C42.
  if (!context_ || !CheckSize("A filter", width, height)) return nullptr;
  auto filter = std::make_unique<GraphicsFilterGL>(context_, width, height);
  const bool ready = filter->Init();
  return ReadyOrNull(std::move(filter), ready, ContextObject::Kind::kFilter);
}

GraphicsVideoTexture* GraphicsDeviceCGL::CreateVideoTexture(VideoLayout layout, unsigned int width,
                                                            unsigned int height) {
  if (!available() || !CheckSize("A video texture", width, height)) return nullptr;
  auto texture = std::make_unique<GraphicsVideoTextureGL>(context_, layout, width, height);
  const bool ready = texture->Init();
  return ReadyOrNull(std::move(texture), ready, ContextObject::Kind::kTexture);
}

GraphicsContext* GraphicsDeviceCGL::gs_context() { return context_; }

std::uint64_t GraphicsDeviceCGL::TickSource(unsigned long long frame_time, unsigned long long last_tick) {
  const std::uint64_t time = GraphicsDeviceImpl::TickSource(frame_time, last_tick);
  if (!context_) return time;
  GLScope gl(context_);
  // Without a native context there is nothing to bind, and items go on all the same.
  if (gl.ok() || !available()) context_->TickSource();
  return time;
}

void GraphicsDeviceCGL::HandleFilter() {
  if (!context_) return;
  MutexLocker<GraphicsContextGL> lock(*context_);
  context_->HandleFilters();
}

void GraphicsDeviceCGL::OutputFrame(unsigned long long timestamp, unsigned int count) {
  if (!available()) return;
  std::optional<FrameSpan> part(std::in_place, FramePart::kScenes);  // The wait for the lock is a part of them.
  const GLScope gl(
      context_);  // For the scenes and the outputs, each of which would make the context current by itself.
  context_->DrawSceneOutput();
  if (count == 0) return;
  part.emplace(FramePart::kOutputs);
  constexpr unsigned int kMaxCount = std::numeric_limits<int>::max();
  context_->DoOutput(timestamp, static_cast<int>(std::min(count, kMaxCount)));
}

void GraphicsDeviceCGL::DrawDisplay() {
  if (!available()) return;
  MutexLocker<GraphicsContextGL> lock(*context_);
  context_->DrawViews();
}

void GraphicsDeviceCGL::HandleTask(void (*func)(void*), void* param) {
  if (!available()) return;
  GLScope gl(context_);
  if (gl.ok()) GraphicsDeviceImpl::HandleTask(func, param);
}

void GraphicsDeviceCGL::Run() {
  RunFrames();
  if (!ProcessIsEnding()) NativeContext::ReleaseThread();
  NoteEnd();
}
