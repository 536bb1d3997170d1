// The graphics device: the render loop and the factory of every GPU object.
#ifndef QUARN_GRAPHICS_GRAPHICS_DEVICE_H_
#define QUARN_GRAPHICS_GRAPHICS_DEVICE_H_

#include <cstdint>

class FrameClock;
class GraphicsConstantBuffer;
class GraphicsContext;
class GraphicsDuplicator;
class GraphicsFilter;
class GraphicsFrame;
class GraphicsOutput;
class GraphicsScene;
class GraphicsTexture;
class GraphicsView;
struct GsDeviceStats;
struct GsFrameTime;
struct InternalWindowInfo;
enum GraphicsFormatInternal : std::uint32_t;

// Factories answer null (or false) when they cannot serve, and the caller owns what they make.
class GraphicsDevice {
 public:
  virtual ~GraphicsDevice() = default;

  // Makes the platform's device, owned by the caller.
  static GraphicsDevice* Create();

  virtual bool Init() = 0;
  virtual bool Start() = 0;
  virtual void Stop() = 0;
  virtual bool IsInternalRenderThread() const = 0;
  virtual void SetFps(unsigned int fps) = 0;
  virtual unsigned int fps() const = 0;
  virtual void ClearFrameList() = 0;
  virtual bool AddShader(const char* name, const char* vs, const char* fs) = 0;
  virtual GraphicsView* CreateView(const InternalWindowInfo& info, unsigned int width, unsigned int height) = 0;
  virtual GraphicsScene* CreateScene(unsigned int width, unsigned int height) = 0;
  virtual GraphicsTexture* CreateTexture(GraphicsFrame&& frame) = 0;
  virtual GraphicsTexture* CreateTexture(GraphicsFormatInternal format, unsigned int width, unsigned int height) = 0;
  virtual GraphicsTexture* CreateTexture(void* external_image) = 0;
  virtual GraphicsTexture* CreateTextureExternal() = 0;
  virtual GraphicsConstantBuffer* CreateConstantBuffer(unsigned int size, const void* data) = 0;
  virtual GraphicsDuplicator* CreateDuplicator(const char* name) = 0;
  virtual GraphicsOutput* CreateOutput(GraphicsScene* scene, unsigned int width, unsigned int height) = 0;
  virtual GraphicsFilter* CreateFilter(unsigned int width, unsigned int height) = 0;
  virtual GraphicsContext* gs_context() = 0;
  virtual bool InitThreadContext() = 0;
  virtual void UninitThreadContext() = 0;
  virtual void EnterThreadContext() = 0;
  virtual void LeaveThreadContext() = 0;
  virtual void* native_obj() = 0;
  virtual void QueueTask(void (*func)(void*), void* param) = 0;
  virtual void DoTask() = 0;
  // The stages of a frame.
  virtual std::uint64_t TickSource(unsigned long long frame_time, unsigned long long last_tick) = 0;
  virtual void HandleFilter() = 0;
  virtual void OutputFrame(unsigned long long timestamp, unsigned int count) = 0;
  virtual void DrawDisplay() = 0;
};

// Whether the calling thread is the device's own render thread, which can neither wait for itself nor outlive the
// device.
bool IsOnRenderThreadOf(const GraphicsDevice* device);

// Whether the device was made before this process was forked from its parent: its threads, its locks and its GL are the
// parent's, and nobody of the engine is at work here.
bool IsOfAnotherProcess(const GraphicsDevice* device);

// Copies the last frames of the device's loop to `times`, as GsDevice::ReadFrameTimes does. Thread: any.
unsigned int ReadFrameTimes(const GraphicsDevice* device, GsFrameTime* times, unsigned int capacity);
// What the device's frames come to, as GsDevice::stats answers it. Thread: any.
GsDeviceStats ReadDeviceStats(const GraphicsDevice* device);

// The rate and the time of the device's frames; null for null. Thread: any.
FrameClock* ClockOf(const GraphicsDevice* device);

// Whether the device's render thread is to be a real-time one, and whether it is. Thread: any.
void SetRealtime(GraphicsDevice* device, bool realtime);
bool IsRealtime(const GraphicsDevice* device);

#endif  // QUARN_GRAPHICS_GRAPHICS_DEVICE_H_
