// The graphics engine, as a host holds it.
#ifndef QUARN_GS_DEVICE_H_
#define QUARN_GS_DEVICE_H_

#include <quarn/export.h>

class GraphicsDevice;
struct GsFrameTime;

// One graphics engine: a drawing context and, once started, a render thread.
//
// Each frame the render thread ticks the items, runs the filters, renders the scenes in use, hands the pictures
// to the outputs, draws the views, sleeps to the next point of its grid of whole frame periods, and runs the
// queued tasks. Points that a slow frame has missed are skipped.
//
// Every public graphics object takes a GsDevice*; null means the default device, and without any device the
// object is inert: its operations do nothing and answer 0, null or false.
//
// A host that wants to drive the frames itself creates the device unstarted, calls InitThreadContext on its
// thread, then TickSource, HandleFilter, OutputFrame and DrawDisplay for each frame, and DoTask when it likes.
//
// Shut down in this order: stop and destroy outputs, destroy views, release scenes, items, filters, textures and
// constant buffers, then destroy the device. Objects that outlive their device are named in one error line; their calls
// then do nothing and answer as without a device, but for sizes, which stay, and they may be destroyed at any time.
// Objects of different devices cannot be mixed: a scene's items, outputs, views, textures and constant buffers belong
// to its device.
//
// In a process that is forked from the host, the engine of the parent is not to be used: there a device, and what
// belongs to it, may be destroyed, and leaves the parent's alone.
//
// GL work done on a host thread (creating and updating objects) leaves current on that thread what was current before:
// nothing, or a GL context of the host's own, made through EGL or GLX.
class QUARN_EXPORT GsDevice {
 public:
  // Makes the process's default device, and starts its render thread when `start` is true. Returns true when a
  // default device exists at the end: one that existed before is left as it is and `start` is ignored. A machine
  // without OpenGL 3.2 gets a device too, as Init says. Where memory or a thread is missing there is none, the log says
  // why, and the result is false.
  //
  // Thread: create and destroy the default device on one thread, before and after any other use.
  static bool CreateDefaultDevice(bool start);
  // Returns the default device, or null.
  static GsDevice* DefaultDevice();
  // Stops and destroys the default device, if there is one. A process that ends without it stops drawing first, and
  // waits a quarter of a second at most for the last frame. In a fork of the process that made it, it is left behind
  // with an error line.
  //
  // Blocks: for the rest of the running frame, its sleep and the last drain of the task queue. On the render thread,
  // and inside the stages and tasks of a device that the host drives, it does nothing but log an error.
  static void DestroyDefaultDevice();

  // A device without an engine until Init.
  //
  // Thread: any.
  GsDevice();
  // Stops the render thread, then destroys the engine.
  //
  // Blocks: for the rest of the running frame, its sleep and the last drain of the task queue. Not on the render
  // thread.
  virtual ~GsDevice();

  // Builds the engine. Returns true when it exists at the end. A machine without OpenGL 3.2 still gets an engine:
  // the log says what is missing, and objects that need a drawing context come out inert.
  //
  // Thread: any, before any other use of the device.
  // Blocks: while the driver makes the drawing context and compiles the built-in programs.
  virtual bool Init();
  // Sets the frame rate in frames per second, 1 to 1,000,000,000 (30 until set). A running loop takes it after the
  // frame in hand; an output keeps the rate of its creation. Other values are refused with a warning in the log.
  //
  // Thread: any.
  virtual void SetFps(unsigned int fps);
  // Returns the frame rate asked for; 30 without an engine.
  //
  // Thread: any.
  virtual unsigned int fps() const;

  GsDevice(const GsDevice&) = delete;
  GsDevice& operator=(const GsDevice&) = delete;

  // Returns whether the calling thread is a render thread: one between InitThreadContext and
  // UninitThreadContext, of whichever device.
  //
  // Thread: any.
  bool IsInternalRenderThread() const;
  // Kept for hosts that call it; does nothing. Thread: any.
  void ClearFrameList();
  // Compiles a shader program under `name`, for GsContext::BindShader. Sources are GLSL 1.50 without a version
  // line; "#version 150" and a definition of MACOSX are put in front. Name samplers u_tex0 to u_tex3, uniform
  // blocks u_buf0 to u_buf9 (consecutively from 0) and the matrix block mvp; see glsl_src.h for examples. A name
  // already taken keeps its program, and the result is true. A program that uses a number behind a gap is told of in
  // a warning: nothing is bound there. Returns false, with the compiler's message and the program's name in the log,
  // when the program cannot be built, and for a null argument.
  //
  // Thread: any.
  // Blocks: for the running stage of a frame.
  bool AddShader(const char* name, const char* vs, const char* fs);

  // For a host that drives the frames itself: makes the calling thread the render thread. Returns false without an
  // engine.
  bool InitThreadContext();
  // The end of that. Thread: the one that called InitThreadContext.
  void UninitThreadContext();
  // Ticks every item of the scenes in use. Thread: render.
  void TickSource();
  // Runs every attached filter. Thread: render.
  void HandleFilter();
  // Renders every scene in use; then, unless `count` is 0, hands the pictures to the outputs as `count` frames from
  // `timestamp` (nanoseconds) on. Thread: render.
  void OutputFrame(unsigned long long timestamp, unsigned int count);
  // Draws every attached view. Thread: render.
  void DrawDisplay();
  // Reserved: the device of this version only logs a warning.
  void EnterThreadContext();
  void LeaveThreadContext();
  // Reserved: null in this version. Thread: any.
  void* native_obj();

  // Has the render thread call func(param) after its frame, with the GL context current. Tasks run in order; one
  // queued by a task runs after the next frame. A null `func` is ignored. Without an engine, or without a usable GL
  // context, the task is dropped. A render thread runs what is queued before it ends; what is queued later, or on a
  // device that the host drives, is dropped with the device.
  //
  // Thread: any.
  // Callback safety: as GsScene::Draw.
  // Ownership: `param` stays the caller's.
  void QueueTask(void (*func)(void*), void* param);
  // Runs the queued tasks now. Thread: render.
  void DoTask();

  // Do nothing.
  void Enter();
  void Leave();

  // For the library's own use.
  GraphicsDevice* impl() const;

  // Tells where the time of the last frames of the render loop went (gs_frame_times.h). The last 128 are kept, over
  // stops and starts too.
  // times: receives the frames that have ended, the newest last; null for none.
  // capacity: how many fit in there, of which the newest are answered.
  // Returns how many were written, 0 to `capacity`: at most 128, and one less where a frame ends meanwhile.
  // Without an engine, and on a device whose frames the host drives, there are none: 0.
  //
  // Thread: any.
  // Blocks: no.
  // Ownership: `times` stays the caller's.
  unsigned int ReadFrameTimes(GsFrameTime* times, unsigned int capacity) const;

 private:
  GraphicsDevice* impl_;
};

// The default device; null when there is none. Read it through GsDevice::DefaultDevice().
extern QUARN_EXPORT GsDevice* app_default_device;

#endif  // QUARN_GS_DEVICE_H_
