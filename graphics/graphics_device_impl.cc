// The render loop: it paces frames on a grid of whole frame periods, runs the stages of each in order, and drains the
// task queue in between.
//
// The owner's thread enters through Start and Stop, the render thread through Run; any thread sets the rate and queues
// tasks.
#include "graphics/graphics_device_impl.h"

#include <algorithm>
#include <new>
#include <utility>

#include "foundation/fork_count.h"
#include "foundation/logger.h"
#include "foundation/os_time.h"
#include "graphics/running_devices.h"

namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
constexpr unsigned long kExitPatienceMs = 250;

// Shared by all devices: it says that this thread is some device's render thread.
thread_local bool is_render_thread = false;

bool SleepTo(std::uint64_t target) {
  const FrameSpan span(FramePart::kSleep);
  return os::SleepToNs(target);
}

}  // namespace

GraphicsDeviceImpl::GraphicsDeviceImpl() : fork_count_(os::ForkCount()) {
  DeclareMeasured({FramePart::kStartDelay, FramePart::kTasks, FramePart::kTicks, FramePart::kFilters, FramePart::kViews,
                   FramePart::kSleep});
}

GraphicsDeviceImpl::~GraphicsDeviceImpl() { GraphicsDeviceImpl::Stop(); }

bool GraphicsDeviceImpl::Init() { return false; }

bool GraphicsDeviceImpl::Start() {
  if (thread_) return false;
  Logger::default_logger()->Info("starting graphics render thread");
  stop_.store(false, std::memory_order_relaxed);
  applied_rate_ = clock_->rate();
  // The frame before the stop is long over: nothing of it is output now.
  last_frame_info_.reset();
  ended_.Reset();
  std::unique_ptr<Thread> thread(Thread::Create());
  RunningDevices::Get().Add(this);  // Where memory is missing for it, there is no thread yet.
  thread_ = std::move(thread);
  clock_->set_looping(true);
  thread_->Start(this);
  if (!thread_->started()) {
    Logger::default_logger()->Error("the graphics render thread could not be created");
    RunningDevices::Get().Remove(this);
    thread_.reset();
    clock_->set_looping(false);
    return false;
  }
  return true;
}

void GraphicsDeviceImpl::Stop() {
  stop_.store(true, std::memory_order_relaxed);
  if (OnOwnRenderThread()) {
    Logger::default_logger()->Error(
        "Stop was called on the graphics render thread, which cannot wait for itself: it ends after this frame; call "
        "Stop again from another thread");
    return;
  }
  if (!thread_) return;
  RunningDevices::Get().Remove(this);
  thread_->Join();
  thread_.reset();
  clock_->set_looping(false);
  render_thread_id_.store(std::thread::id(), std::memory_order_relaxed);
  // Kept: C2.
  Logger::default_logger()->Info("graphics render thread stoped");
}

bool GraphicsDeviceImpl::OnOwnRenderThread() const {
  return render_thread_id_.load(std::memory_order_relaxed) == std::this_thread::get_id();
}

bool GraphicsDeviceImpl::IsOfAnotherProcess() const { return fork_count_ != os::ForkCount(); }

bool GraphicsDeviceImpl::IsInternalRenderThread() const { return is_render_thread; }

void GraphicsDeviceImpl::SetFps(unsigned int fps) { clock_->SetFps(fps); }

unsigned int GraphicsDeviceImpl::fps() const { return clock_->rate().fps(); }

void GraphicsDeviceImpl::ClearFrameList() {}

bool GraphicsDeviceImpl::AddShader(const char*, const char*, const char*) {
  Logger::default_logger()->Warn("AddShader is unimplemented");
  return false;
}

GraphicsView* GraphicsDeviceImpl::CreateView(const InternalWindowInfo&, unsigned int, unsigned int) {
  Logger::default_logger()->Warn("CreateView is unimplemented");
  return nullptr;
}

GraphicsScene* GraphicsDeviceImpl::CreateScene(unsigned int, unsigned int) {
  Logger::default_logger()->Warn("CreateScene is unimplemented");
  return nullptr;
}

GraphicsTexture* GraphicsDeviceImpl::CreateTexture(GraphicsFrame&&) {
  Logger::default_logger()->Warn("CreateTexture(frame) is unimplemented");
  return nullptr;
}

GraphicsTexture* GraphicsDeviceImpl::CreateTexture(GraphicsFormatInternal, unsigned int, unsigned int) {
  Logger::default_logger()->Warn("CreateTexture(format, width, height) is unimplemented");
  return nullptr;
}

GraphicsTexture* GraphicsDeviceImpl::CreateTexture(void*) {
  // Kept: C4.
  Logger::default_logger()->Warn("CreateTexture(void *iosurface) is unimplemented");
  return nullptr;
}

GraphicsTexture* GraphicsDeviceImpl::CreateTextureExternal() {
  Logger::default_logger()->Warn("CreateTextureExternal is unimplemented");
  return nullptr;
}

GraphicsConstantBuffer* GraphicsDeviceImpl::CreateConstantBuffer(unsigned int, const void*) {
  Logger::default_logger()->Warn("CreateConstantBuffer is unimplemented");
  return nullptr;
}

GraphicsDuplicator* GraphicsDeviceImpl::CreateDuplicator(const char*) {
  Logger::default_logger()->Warn("CreateDuplicator is unimplemented");
  return nullptr;
}

GraphicsOutput* GraphicsDeviceImpl::CreateOutput(GraphicsScene*, unsigned int, unsigned int) {
  Logger::default_logger()->Warn("CreateOutput is unimplemented");
  return nullptr;
}

GraphicsFilter* GraphicsDeviceImpl::CreateFilter(unsigned int, unsigned int) {
  Logger::default_logger()->Warn("CreateFilter is unimplemented");
  return nullptr;
}

GraphicsContext* GraphicsDeviceImpl::gs_context() {
  Logger::default_logger()->Warn("GraphicsDevice::gs_context is unimplemented");
  return nullptr;
}

bool GraphicsDeviceImpl::InitThreadContext() {
  is_render_thread = true;
  return true;
}

void GraphicsDeviceImpl::UninitThreadContext() { is_render_thread = false; }

void GraphicsDeviceImpl::EnterThreadContext() {
  Logger::default_logger()->Warn("GraphicsDevice::EnterThreadContext is unimplemented");
}

void GraphicsDeviceImpl::LeaveThreadContext() {
  Logger::default_logger()->Warn("GraphicsDevice::LeaveThreadContext is unimplemented");
}

void* GraphicsDeviceImpl::native_obj() { return nullptr; }

void GraphicsDeviceImpl::QueueTask(void (*func)(void*), void* param) {
  if (!func) {
    Logger::default_logger()->Warn("a task without a function is ignored");
    return;
  }
  MutexLocker<Mutex> lock(task_lock_);
  tasks_.emplace_back(func, param);
}

void GraphicsDeviceImpl::DoTask() {
  std::vector<GsTask> tasks;
  {
    MutexLocker<Mutex> lock(task_lock_);
    tasks.swap(tasks_);
  }
  for (const GsTask& task : tasks) HandleTask(task.func, task.param);
}

std::uint64_t GraphicsDeviceImpl::TickSource(unsigned long long frame_time, unsigned long long) { return frame_time; }

void GraphicsDeviceImpl::HandleFilter() { Logger::default_logger()->Warn("HandleFilter is unimplemented"); }

void GraphicsDeviceImpl::OutputFrame(unsigned long long, unsigned int) {
  Logger::default_logger()->Warn("OutputFrame is unimplemented");
}

void GraphicsDeviceImpl::DrawDisplay() { Logger::default_logger()->Warn("DrawDisplay is unimplemented"); }

void GraphicsDeviceImpl::HandleTask(void (*func)(void*), void* param) { func(param); }

void GraphicsDeviceImpl::EndAtExit() {
  if (OnOwnRenderThread() || IsOfAnotherProcess()) return;
  stop_.store(true, std::memory_order_relaxed);
  ended_.TimedWait(kExitPatienceMs);
}

bool GraphicsDeviceImpl::ProcessIsEnding() { return RunningDevices::Get().ending(); }

void GraphicsDeviceImpl::Run() {
  RunFrames();
  NoteEnd();
}

void GraphicsDeviceImpl::RunFrames() {
  NameThisThread("quarn-render");
  render_thread_id_.store(std::this_thread::get_id(), std::memory_order_relaxed);
  if (!InitThreadContext()) {
    Logger::default_logger()->Error("InitThreadContext failed");
    return;
  }
  realtime_.Fulfil();
  BeginGrid();
  RunMeasuredFrames();
  // The driver may be gone by the time that a loop wakes up which slept when the process began to end.
  if (!ProcessIsEnding()) Stage([this] { DoTask(); });
  UninitThreadContext();
}

void GraphicsDeviceImpl::RunMeasuredFrames() {
  const MeasuredFrames measured(&frame_times_);
  frame_times_.Begin(frame_time_);
  while (Loop()) {
    const FrameRate requested = clock_->rate();
    if (requested != applied_rate_) {
      // The grid starts anew. The last frame info stays: that frame has still to be output.
      applied_rate_ = requested;
      BeginGrid();
      tick_time_ = 0;
      measured_time_ = 0;
      measured_frames_ = 0;
      frame_times_.Begin(frame_time_);
    }
    // The next frame waits for the tasks, so they are a part of its time.
    MeasuredStage(FramePart::kTasks, [this] { DoTask(); });
    realtime_.Fulfil();
  }
  realtime_.End();
}

template <class Function>
void GraphicsDeviceImpl::Stage(Function function) {
  try {
    function();
  } catch (const std::bad_alloc&) {
    frame_is_whole_ = false;
    if (std::exchange(lacks_memory_, true)) return;
    Logger::default_logger()->Error("A stage of a frame comes to nothing: no memory");
  }
}

template <class Function>
void GraphicsDeviceImpl::MeasuredStage(FramePart part, Function function) {
  const FrameSpan span(part);
  Stage(function);
}

void GraphicsDeviceImpl::BeginGrid() {
  frame_time_ = os::GetTimeNs();
  frame_point_ = 0;
  grid_ = FrameGrid(frame_time_, applied_rate_);
}

bool GraphicsDeviceImpl::Loop() {
  // Outputs receive the frame before this one, whose length in periods is known by now. Kept: C11.
  if (last_frame_info_) {
    clock_->BeginFrame(last_frame_info_->timestamp, last_grid_start_);
  } else {
    clock_->BeginFrame(frame_time_ - std::min(frame_time_, grid_.interval()), grid_.start());
  }
  MeasuredStage(FramePart::kTicks, [this] { tick_time_ = TickSource(frame_time_, tick_time_); });
  MeasuredStage(FramePart::kFilters, [this] { HandleFilter(); });
  Stage([this] {  // Its two parts, scenes and outputs, are the platform's to tell apart.
    if (last_frame_info_) {
      OutputFrame(last_frame_info_->timestamp, last_frame_info_->count);
    } else {
      OutputFrame(0, 0);
    }
  });
  MeasuredStage(FramePart::kViews, [this] { DrawDisplay(); });
  RunningDevices::Get().NoteFrame();
  if (std::exchange(frame_is_whole_, true) && std::exchange(lacks_memory_, false)) {
    Logger::default_logger()->Info("Frames have the memory that they need again");
  }
  SleepToNextFrame();
  // Frame time, not wall time: dropped periods lower the rate that is reported.
  measured_time_ += frame_time_ - tick_time_;
  ++measured_frames_;
  if (measured_time_ >= kNsPerSecond) {
    Logger::default_logger()->Info("%0.2f fps",
                                   static_cast<double>(measured_frames_) / (static_cast<double>(measured_time_) / 1e9));
    measured_time_ = 0;
    measured_frames_ = 0;
  }
  return !stop_.load(std::memory_order_relaxed);
}

void GraphicsDeviceImpl::SleepToNextFrame() {
  const std::uint64_t previous = frame_time_;
  const std::uint64_t target = grid_.TimeOf(frame_point_ + 1);
  std::uint32_t periods = 1;
  if (!SleepTo(target)) {
    // Late: skip the grid points that have passed instead of catching up with a burst.
    const std::uint64_t point = grid_.PointAt(os::GetTimeNs());
    if (point > frame_point_) periods = static_cast<std::uint32_t>(point - frame_point_);
  }
  frame_point_ += periods;
  frame_time_ = grid_.TimeOf(frame_point_);
  last_frame_info_.emplace(previous, periods);
  last_grid_start_ = grid_.start();
  late_frames_.Note(frame_times_.End(periods), grid_.interval());
  frame_times_.Begin(frame_time_);
}
