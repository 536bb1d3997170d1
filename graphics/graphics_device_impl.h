// The render thread, its pacing and its task queue; harmless defaults for what a platform adds.
//
// Start and Stop belong to the owner's thread; SetFps, fps, QueueTask and IsInternalRenderThread to any; the stages to
// the render thread.
#ifndef QUARN_GRAPHICS_GRAPHICS_DEVICE_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_DEVICE_IMPL_H_

#include <atomic>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "foundation/event.h"
#include "foundation/mutex.h"
#include "foundation/thread.h"
#include "graphics/frame_clock.h"
#include "graphics/frame_grid.h"
#include "graphics/frame_times.h"
#include "graphics/graphics_device.h"
#include "graphics/late_frame_report.h"
#include "graphics/realtime_wish.h"

class GraphicsDeviceImpl : public GraphicsDevice, public Runable {
 public:
  // What the loop knows of the frame that it has just processed.
  struct VideoFrameInfo {
    VideoFrameInfo(std::uint64_t timestamp_ns, std::uint32_t period_count)
        : timestamp(timestamp_ns), count(period_count) {}
    std::uint64_t timestamp;  // Its frame time, ns.
    std::uint32_t count;      // Frame periods that the loop advanced after it.
  };

  // Work queued for the render thread. `param` stays the caller's.
  struct GsTask {
    GsTask(void (*task_func)(void*), void* task_param) : func(task_func), param(task_param) {}
    void (*func)(void*);
    void* param;
  };

  GraphicsDeviceImpl();
  ~GraphicsDeviceImpl() override;
  GraphicsDeviceImpl(const GraphicsDeviceImpl&) = delete;
  GraphicsDeviceImpl& operator=(const GraphicsDeviceImpl&) = delete;

  bool Init() override;
  bool Start() override;
  void Stop() override;
  bool IsInternalRenderThread() const override;
  void SetFps(unsigned int fps) override;
  unsigned int fps() const override;
  void ClearFrameList() override;
  bool AddShader(const char* name, const char* vs, const char* fs) override;
  GraphicsView* CreateView(const InternalWindowInfo& info, unsigned int width, unsigned int height) override;
  GraphicsScene* CreateScene(unsigned int width, unsigned int height) override;
  GraphicsTexture* CreateTexture(GraphicsFrame&& frame) override;
  GraphicsTexture* CreateTexture(GraphicsFormatInternal format, unsigned int width, unsigned int height) override;
  GraphicsTexture* CreateTexture(void* external_image) override;
  GraphicsTexture* CreateTextureExternal() override;
  GraphicsConstantBuffer* CreateConstantBuffer(unsigned int size, const void* data) override;
  GraphicsDuplicator* CreateDuplicator(const char* name) override;
  GraphicsOutput* CreateOutput(GraphicsScene* scene, unsigned int width, unsigned int height) override;
  GraphicsFilter* CreateFilter(unsigned int width, unsigned int height) override;
  GraphicsContext* gs_context() override;
  bool InitThreadContext() override;
  void UninitThreadContext() override;
  void EnterThreadContext() override;
  void LeaveThreadContext() override;
  void* native_obj() override;
  void QueueTask(void (*func)(void*), void* param) override;
  void DoTask() override;
  std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) override;
  void HandleFilter() override;
  void OutputFrame(unsigned long long timestamp, unsigned int count) override;
  void DrawDisplay() override;

  // Whether the caller is the device's own render thread, which can neither wait for itself nor outlive the device.
  bool OnOwnRenderThread() const;

  // Whether the device was made before this process was forked from its parent: its threads, its locks and its GL are
  // the parent's.
  bool IsOfAnotherProcess() const;

  // Runs one task of the queue.
  virtual void HandleTask(void (*func)(void*), void* param);

  // The body of the render thread.
  void Run() override;

  // For the end of the process: ends a running loop after the frame in hand, and waits for that a quarter of a second
  // at most.
  void EndAtExit();

  // The frames of the loop, and where their time went; none of a device that its host drives. Thread: any.
  const FrameTimes& frame_times() const { return frame_times_; }
  FrameTimes& frame_times() { return frame_times_; }

  // The rate and the time of the frames. Thread: any.
  FrameClock& clock() const { return *clock_; }

  // Whether the render thread is a real-time one. Thread: any.
  RealtimeWish& realtime() { return realtime_; }
  const RealtimeWish& realtime() const { return realtime_; }

 protected:
  // Says that the device measures these parts of a frame, beside those that every loop does: all but scenes, outputs
  // and waits. For constructors.
  void DeclareMeasured(std::initializer_list<FramePart> parts) { frame_times_.Declare(parts); }
  // What a Run is made of: the frames, and then the word that nothing of the thread's is to come.
  void RunFrames();
  void NoteEnd() { ended_.Signal(); }
  // For outputs, which may outlive the device.
  std::shared_ptr<const FrameClock> shared_clock() const { return clock_; }
  // Whether the end of the process has begun: nothing may be asked of a driver any more.
  static bool ProcessIsEnding();

 private:
  // Runs a stage of the loop, which goes on where memory was missing: one line says so until a frame has been whole.
  template <class Function>
  void Stage(Function function);
  // The same for a stage that is one part of a frame's time.
  template <class Function>
  void MeasuredStage(FramePart part, Function function);
  void RunMeasuredFrames();
  bool Loop();
  void SleepToNextFrame();
  // Begins a grid of the applied rate now.
  void BeginGrid();

  std::unique_ptr<Thread> thread_;
  std::atomic<bool> stop_{false};
  Event ended_{true};  // Whether the render thread has done with everything.
  const std::shared_ptr<FrameClock> clock_ = std::make_shared<FrameClock>();  // With the requested rate.
  FrameRate applied_rate_;
  FrameGrid grid_;
  std::uint64_t tick_time_ = 0;
  std::uint64_t frame_time_ = 0;  // Point frame_point_ of the grid.
  std::uint64_t frame_point_ = 0;
  std::uint64_t measured_time_ = 0;
  std::uint64_t measured_frames_ = 0;
  bool frame_is_whole_ = true;
  bool lacks_memory_ = false;
  std::optional<VideoFrameInfo> last_frame_info_;
  std::uint64_t last_grid_start_ = 0;  // Where the grid of that frame began.
  FrameTimes frame_times_;
  LateFrameReport late_frames_;
  RealtimeWish realtime_;
  std::vector<GsTask> tasks_ QUARN_GUARDED_BY(task_lock_);
  Mutex task_lock_;
  const unsigned int fork_count_;
  std::atomic<std::thread::id> render_thread_id_{};  // So that Stop knows the thread that it must not join.
};

#endif  // QUARN_GRAPHICS_GRAPHICS_DEVICE_IMPL_H_
