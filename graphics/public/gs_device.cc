// The host's handle on the engine: checks and forwarding. Host threads; a host that drives the frames itself also calls
// the stages, on its render thread.
#include <quarn/gs_device.h>

#include <optional>

#include <quarn/gs_frame_times.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/driven_stage.h"
#include "graphics/frame_clock.h"
#include "graphics/graphics_device.h"

GsDevice* app_default_device = nullptr;

bool GsDevice::CreateDefaultDevice(bool start) {
  if (app_default_device) return true;
  bool ready = false;
  EvenWithoutMemory("GsDevice::CreateDefaultDevice", [&] {
    app_default_device = new GsDevice;
    ready = app_default_device->Init() && (!start || app_default_device->impl_->Start());
  });
  if (!ready) DestroyDefaultDevice();
  return ready;
}

GsDevice* GsDevice::DefaultDevice() { return app_default_device; }

void GsDevice::DestroyDefaultDevice() {
  GraphicsDevice* const engine = app_default_device ? app_default_device->impl_ : nullptr;
  // In a forked child no thread of the engine runs, even where its locks look held.
  const bool at_work = engine && !IsOfAnotherProcess(engine);
  if (at_work && IsOnRenderThreadOf(engine)) {
    Logger::default_logger()->Error("[GsDevice] the default device stays: it cannot be destroyed on its render thread");
    return;
  }
  if (at_work && HoldsContextLock(engine->gs_context())) {
    Logger::default_logger()->Error(
        "[GsDevice] the default device stays: it cannot be destroyed inside one of its stages");
    return;
  }
  // The last frame may still ask for the default device, so the global outlasts the render thread.
  delete app_default_device;
  app_default_device = nullptr;
}

GsDevice::GsDevice() : impl_(nullptr) {}

GsDevice::~GsDevice() {
  if (!impl_) return;
  if (IsOfAnotherProcess(impl_)) {
    Logger::default_logger()->Error("[GsDevice] left behind: it belongs to the process that this one was forked from");
    return;
  }
  // The platform's device tears its drawing context down before its base would stop the render thread.
  impl_->Stop();
  delete impl_;
  impl_ = nullptr;
}

bool GsDevice::Init() {
  if (impl_) return true;
  bool ready = false;
  EvenWithoutMemory("GsDevice::Init", [&] {
    impl_ = GraphicsDevice::Create();
    ready = impl_ && impl_->Init();
  });
  if (ready) {
    // Kept: C3.
    Logger::default_logger()->Error("device create success");
    return true;
  }
  Logger::default_logger()->Error("device create failed");
  delete impl_;
  impl_ = nullptr;
  return false;
}

void GsDevice::SetFps(unsigned int fps) {
  if (impl_) impl_->SetFps(fps);
}

unsigned int GsDevice::fps() const { return impl_ ? impl_->fps() : 30; }

bool GsDevice::valid() const { return impl_ && CanDraw(impl_->gs_context()); }

bool GsDevice::SetFrameRate(unsigned int numerator, unsigned int denominator) {
  FrameClock* const clock = ClockOf(impl_);
  return clock && clock->SetFrameRate(numerator, denominator);
}

void GsDevice::SetRealtime(bool realtime) { ::SetRealtime(impl_, realtime); }

bool GsDevice::realtime() const { return IsRealtime(impl_); }

unsigned long long GsDevice::frame_time() const {
  const FrameClock* const clock = ClockOf(impl_);
  return clock ? clock->stamp() : 0;
}

unsigned long long GsDevice::frame_interval() const {
  const FrameClock* const clock = ClockOf(impl_);
  return FrameGrid(0, clock ? clock->rate() : FrameRate()).interval();
}

bool GsDevice::Start() {
  if (!impl_) return false;
  if (IsOfAnotherProcess(impl_)) {
    Logger::default_logger()->Error("[GsDevice] not started: it belongs to the process that this one was forked from");
    return false;
  }
  if (!IsOnRenderThreadOf(impl_) && HoldsContextLock(impl_->gs_context())) {
    Logger::default_logger()->Error("[GsDevice] not started: it cannot be started inside one of its stages");
    return false;
  }
  bool started = false;
  EvenWithoutMemory("GsDevice::Start", [&] { started = impl_->Start(); });
  return started;
}

void GsDevice::Stop() {
  // In a forked child no thread of the engine runs, so there is nothing to stop.
  if (!impl_ || IsOfAnotherProcess(impl_)) return;
  // On the render thread the engine says why it cannot be waited for. Elsewhere that thread may want the lock.
  if (!IsOnRenderThreadOf(impl_) && HoldsContextLock(impl_->gs_context())) {
    Logger::default_logger()->Error("[GsDevice] not stopped: it cannot be stopped inside one of its stages");
    return;
  }
  impl_->Stop();
}

bool GsDevice::IsInternalRenderThread() const { return impl_ && impl_->IsInternalRenderThread(); }

void GsDevice::ClearFrameList() {
  if (impl_) impl_->ClearFrameList();
}

bool GsDevice::AddShader(const char* name, const char* vs, const char* fs) {
  if (!impl_) return false;
  if (!name || !vs || !fs) {
    Logger::default_logger()->Error("[GsDevice] AddShader needs a name and both sources");
    return false;
  }
  bool added = false;
  EvenWithoutMemory("GsDevice::AddShader", [&] { added = impl_->AddShader(name, vs, fs); });
  return added;
}

bool GsDevice::InitThreadContext() { return impl_ && impl_->InitThreadContext(); }

void GsDevice::UninitThreadContext() {
  if (impl_) impl_->UninitThreadContext();
}

void GsDevice::TickSource() {
  if (!impl_) return;
  DrivenStage stage(impl_, FramePart::kTicks);
  stage.BeforeOutput();
  EvenWithoutMemory("GsDevice::TickSource", [this] { impl_->TickSource(0, 0); });
}

void GsDevice::HandleFilter() {
  if (!impl_) return;
  DrivenStage stage(impl_, FramePart::kFilters);
  stage.BeforeOutput();
  EvenWithoutMemory("GsDevice::HandleFilter", [this] { impl_->HandleFilter(); });
}

void GsDevice::OutputFrame(unsigned long long timestamp, unsigned int count) {
  if (!impl_) return;
  DrivenStage stage(impl_, std::nullopt);  // The platform tells scenes from outputs.
  stage.Output(timestamp, count);
  EvenWithoutMemory("GsDevice::OutputFrame", [&] { impl_->OutputFrame(timestamp, count); });
}

void GsDevice::DrawDisplay() {
  if (!impl_) return;
  const DrivenStage stage(impl_, FramePart::kViews);
  EvenWithoutMemory("GsDevice::DrawDisplay", [this] { impl_->DrawDisplay(); });
}

void GsDevice::RunFrame(unsigned long long timestamp, unsigned int count) {
  if (!impl_ || !BeginDrivenFrame(impl_, timestamp)) return;
  TickSource();
  HandleFilter();
  OutputFrame(timestamp, count);
  DrawDisplay();
  DoTask();
}

void GsDevice::EnterThreadContext() {
  if (impl_) impl_->EnterThreadContext();
}

void GsDevice::LeaveThreadContext() {
  if (impl_) impl_->LeaveThreadContext();
}

void* GsDevice::native_obj() { return impl_ ? impl_->native_obj() : nullptr; }

void GsDevice::QueueTask(void (*func)(void*), void* param) {
  if (impl_) EvenWithoutMemory("GsDevice::QueueTask", [&] { impl_->QueueTask(func, param); });
}

void GsDevice::DoTask() {
  if (!impl_) return;
  const DrivenStage stage(impl_, FramePart::kTasks);
  impl_->DoTask();
}

void GsDevice::Enter() {}

void GsDevice::Leave() {}

GraphicsDevice* GsDevice::impl() const { return impl_; }

unsigned int GsDevice::ReadFrameTimes(GsFrameTime* times, unsigned int capacity) const {
  return ::ReadFrameTimes(impl_, times, capacity);
}

GsDeviceStats GsDevice::stats() const { return ReadDeviceStats(impl_); }

GsDefaultDevice::GsDefaultDevice(bool start)
    : made_(!GsDevice::DefaultDevice() && GsDevice::CreateDefaultDevice(start)) {}

GsDefaultDevice::~GsDefaultDevice() {
  if (made_) GsDevice::DestroyDefaultDevice();
}

bool GsDefaultDevice::valid() const { return get() && get()->valid(); }

GsDevice* GsDefaultDevice::get() const { return GsDevice::DefaultDevice(); }

GsDevice* GsDefaultDevice::operator->() const { return get(); }
