// The graphics engine, as a host holds it. Words and tags: quarn.h.
#ifndef QUARN_GS_DEVICE_H_
#define QUARN_GS_DEVICE_H_

#include <quarn/export.h>

class GraphicsDevice;
struct GsDeviceStats;
struct GsFrameTime;

// One graphics engine: a drawing context and, once started, a render thread, which runs frame after frame (quarn.h).
//
// Every public graphics object takes a GsDevice*. How a device begins and ends, and what outlives it, stands in
// quarn.h.
//
// A host that wants to drive the frames itself creates the device unstarted, calls InitThreadContext on its thread,
// then RunFrame for each frame; or TickSource, HandleFilter, OutputFrame and DrawDisplay one by one, and DoTask when it
// likes. GsOutputRaw::WaitForRoom tells how to lose no picture then.
//
// Thread: any, from the end of Init to the destructor.
class QUARN_EXPORT GsDevice {
 public:
  // Makes the process's default device. One that existed before is left as it is.
  //
  // `start`: whether to start its render thread; ignored where the device existed before.
  // Returns true when a default device exists at the end. A machine without OpenGL 3.2 gets a device too, as Init says.
  // Where memory or a thread is missing there is none, the log says why, and the result is false.
  //
  // Thread: create and destroy the default device on one thread, before and after any other use.
  // Blocks: while the driver makes the drawing context. The first device on a host's display waits for that as well,
  // for five seconds at most: see qn_native_display.h.
  static bool CreateDefaultDevice(bool start);
  // Returns the default device, or null.
  //
  // Thread: any, while no thread creates or destroys it.
  static GsDevice* DefaultDevice();
  // Stops and destroys the default device, if there is one. In a fork of the process that made it, it is left behind
  // with an error line. On the render thread, and inside the stages and tasks of a host-driven device, it does nothing
  // but log an error.
  //
  // Thread: as CreateDefaultDevice.
  // Blocks: for the rest of the running frame, its sleep and the last drain of the task queue.
  static void DestroyDefaultDevice();

  // A device without an engine until Init.
  //
  // Thread: any.
  GsDevice();
  // Stops the render thread, then destroys the engine.
  //
  // Thread: caller-serialised with every other use; not the render thread.
  // Blocks: for the rest of the running frame, its sleep and the last drain of the task queue.
  virtual ~GsDevice();

  // Builds the engine. A machine without OpenGL 3.2 still gets an engine: the log says what is missing, and objects
  // that need a drawing context come out inert.
  //
  // Returns true when the engine exists at the end.
  //
  // Thread: any, before any other use of the device.
  // Blocks: as CreateDefaultDevice.
  virtual bool Init();
  // Sets the frame rate. A running loop takes it after the frame in hand; an output keeps the rate of its creation.
  //
  // `fps`: frames per second, 1 to 1,000,000,000 (30 until set); other values are refused with a warning in the log.
  virtual void SetFps(unsigned int fps);
  // Returns the frame rate asked for, in frames per second; 30 without an engine. One that SetFrameRate has set is
  // rounded to a whole number, at least 1.
  virtual unsigned int fps() const;

  GsDevice(const GsDevice&) = delete;
  GsDevice& operator=(const GsDevice&) = delete;

  // Returns whether the device is valid: it has an engine that can draw. On a machine without OpenGL 3.2 it is not,
  // though Init answers true there.
  //
  // Blocks: no.
  bool valid() const;

  // Returns whether the calling thread is a render thread: one between InitThreadContext and UninitThreadContext, of
  // whichever device.
  bool IsInternalRenderThread() const;
  // Sets a frame rate that need not be a whole number: SetFrameRate(30000, 1001) for 29.97 frames per second. The
  // points of the grid are exact then, each rounded to the nearest nanosecond, so nothing drifts; SetFps cuts the
  // period to whole nanoseconds, which sets SetFps(30) apart from SetFrameRate(30, 1). For the rest as SetFps: a
  // running loop begins a new grid after the frame in hand, and an output keeps the rate of its creation.
  //
  // `numerator`, `denominator`: frames, and the seconds that these take, each at least 1. The rate is one frame an hour
  // to 1,000,000,000 a second; Stop waits for the end of a long period, too.
  // Returns false, with a warning in the log, for other rates: the rate stays what it was. And without an engine.
  bool SetFrameRate(unsigned int numerator, unsigned int denominator);
  // Returns the period of the rate asked for, in nanoseconds, rounded to the nearest; without an engine that of 30
  // frames per second. A running loop takes a new rate after the frame in hand.
  unsigned long long frame_interval() const;

  // Has the system run the render thread before all ordinary threads (SCHED_RR, its lowest priority), so that frames
  // begin on time while the machine computes with every core; or among them again, which is how it begins. A running
  // loop takes it after the frame in hand, and so does each later Start. Threads that the render thread starts, the
  // driver's for instance, stay ordinary. A callback that computes keeps other threads waiting then.
  //
  // Where the system refuses, as Linux does for a user without RLIMIT_RTPRIO, the log has a warning, and the frames go
  // on as before. Without an engine it does nothing.
  //
  // `realtime`: true for before all ordinary threads, false for among them.
  //
  // Thread: any.
  // Blocks: no.
  void SetRealtime(bool realtime);
  // Returns whether the render thread is a real-time one now; false on a device that is not started.
  bool realtime() const;

  // Starts the render thread. So a host may set the rate, and make its objects, before the first frame:
  //
  //   GsDevice::CreateDefaultDevice(false);
  //   GsDevice::DefaultDevice()->SetFrameRate(30000, 1001);
  //   GsDevice::DefaultDevice()->Start();
  //
  // Returns true when this call has started it. False when it is started already, without an engine, and, with an error
  // line in the log, without memory or a thread, inside the stages and tasks of a host-driven device, and in a fork of
  // the process that made the device.
  //
  // Thread: caller-serialised with Stop and the destructor.
  // Blocks: no.
  bool Start();
  // Stops the render thread, after the frame in hand and a last drain of the task queue; Start may follow. On the
  // render thread, which cannot wait for itself, the frames end, and an error line asks for another Stop; inside the
  // stages and tasks of a host-driven device it does nothing but log an error. A device that is not started stays as it
  // is.
  //
  // Thread: as Start.
  // Callback safety: a frame callback, and what one waits for, must not.
  // Blocks: for the rest of the running frame, its sleep and the last drain of the task queue.
  void Stop();

  // Returns the timestamp of the frame in hand, in nanoseconds: the one that outputs deliver its pictures with, in all
  // callbacks of the frame. Outside of a frame it is the last frame's; 0 before the first, and without an engine.
  //
  // The frames of a started device carry the time of the frame before (GsOutput), on the clock of qn_os_gettime_ns; the
  // first one, which no output receives, is taken to come a period sooner. Queued tasks belong to the frame after whose
  // sleep they run. In a RunFrame of the host's it is what the host gave. With single stages it is that from
  // OutputFrame on; the ticks and filters before it, which cannot know yet, have what is to be expected: the timestamp
  // before and as many periods as that one stood for.
  unsigned long long frame_time() const;

  // Does nothing; kept for hosts that call it.
  void ClearFrameList();
  // Compiles a shader program, for GsContext::BindShader. A program that uses a texture or block number behind a gap is
  // told of in a warning: nothing is bound there.
  //
  // `name`: what the program will be called. A name already taken keeps its program, and the result is true.
  // `vs`, `fs`: the vertex and fragment sources, GLSL 1.50 without a version line; "#version 150" and a definition of
  // MACOSX are put in front. Name samplers u_tex0 to u_tex3, uniform blocks u_buf0 to u_buf9 (consecutively from 0) and
  // the matrix block mvp; see glsl_src.h for examples.
  // Returns false, with the compiler's message and the program's name in the log, when the program cannot be built, and
  // for a null argument.
  //
  // Blocks: stage.
  bool AddShader(const char* name, const char* vs, const char* fs);

  // Makes one frame of a host-driven device: the ticks, the filters, the scenes and outputs, the views, and then the
  // queued tasks, in the order of a render loop. On a device that is started it does nothing but log an error. The
  // timestamp is frame_time() in all of them. A host with frames of its own to make calls it in a loop:
  //
  //   device->InitThreadContext();
  //   for (unsigned long long n = 0; n < frames; ++n) device->RunFrame(n * 1000000000 / 25);
  //   device->UninitThreadContext();
  //
  // `timestamp`: the time of the first of the periods that the pictures stand for, in nanoseconds. Where the device has
  // an exact rate, timestamps that are its multiples of the period from 0 on, rounded to the nearest, are repeated on
  // just such ones.
  // `count`: how many periods the pictures stand for; 0 hands out none.
  //
  // Thread: render.
  // Blocks: as OutputFrame.
  void RunFrame(unsigned long long timestamp, unsigned int count = 1);

  // Makes the calling thread the render thread of a host-driven device.
  //
  // Returns false without an engine.
  //
  // Thread: the one that will call the stages.
  bool InitThreadContext();
  // Ends what InitThreadContext began.
  //
  // Thread: the one that called InitThreadContext.
  void UninitThreadContext();
  // Ticks every item of the scenes in use.
  //
  // Thread: render.
  // Blocks: for the callbacks, and before that while another thread creates, changes, attaches or detaches objects.
  void TickSource();
  // Runs every attached filter.
  //
  // Thread: render.
  // Blocks: as TickSource.
  void HandleFilter();
  // Renders every scene in use; then hands the pictures to the outputs.
  //
  // `timestamp`: the time of the first of the frames, in nanoseconds; any value.
  // `count`: how many frames the pictures stand for; 0 hands out none.
  //
  // Thread: render.
  // Blocks: as TickSource, and for the driver to finish what an output reads back.
  void OutputFrame(unsigned long long timestamp, unsigned int count);
  // Draws every attached view.
  //
  // Thread: render.
  // Blocks: as TickSource.
  void DrawDisplay();
  // Reserved: the device of this version only logs a warning.
  void EnterThreadContext();
  // Reserved: the device of this version only logs a warning.
  void LeaveThreadContext();
  // Reserved: null in this version.
  void* native_obj();

  // Has the render thread call func(param) after its frame, with the GL context current. Tasks run in order; one queued
  // by a task runs after the next frame. Without an engine, or without a usable GL context, the task is dropped. A
  // render thread runs what is queued before it ends; what is queued later, or on a host-driven device, is dropped with
  // the device.
  //
  // `func`: what to call; null is ignored.
  // `param`: what it is called with, any value.
  //
  // Callback safety: frame callback.
  // Ownership: `param` stays the caller's.
  void QueueTask(void (*func)(void*), void* param);
  // Runs the queued tasks now.
  //
  // Thread: render.
  // Blocks: as TickSource; the callbacks are the tasks.
  void DoTask();

  // Does nothing.
  void Enter();
  // Does nothing.
  void Leave();

  // For the library's own use.
  GraphicsDevice* impl() const;

  // Tells where the time of the last frames of the render loop went (gs_frame_times.h). The last 128 are kept, over
  // stops and starts too.
  //
  // `times`: receives the frames that have ended, the newest last; null for none.
  // `capacity`: how many fit in there, of which the newest are answered.
  // Returns how many were written, 0 to `capacity`: at most 128, and one less for each frame that ends meanwhile.
  // Without an engine, and on a host-driven device, there are none: 0.
  //
  // Thread: any.
  // Blocks: no.
  // Ownership: `times` stays the caller's.
  unsigned int ReadFrameTimes(GsFrameTime* times, unsigned int capacity) const;
  // Tells how many frames the device has made, how many periods it missed, and what its stages took in sum, since it
  // was made (gs_frame_times.h). The frames that the host drives count as well.
  //
  // Returns the values of this moment, each for itself. Without an engine they are 0.
  //
  // Thread: any.
  // Blocks: no.
  GsDeviceStats stats() const;

 private:
  GraphicsDevice* impl_;
};

// Keeps the default device for as long as it lives: make it first, and what is made after it on the same stack goes
// before it, in the order of quarn.h.
//
//   GsDefaultDevice device;
//   if (!device.valid()) return 1;
//
// Thread: as GsDevice::CreateDefaultDevice.
class QUARN_EXPORT GsDefaultDevice {
 public:
  // Makes the default device. One that existed before is left as it is, now and at the end.
  //
  // `start`: whether to start its render thread; ignored where the device existed before.
  //
  // Blocks: while the driver makes the drawing context.
  explicit GsDefaultDevice(bool start = true);
  // Destroys the default device, where this object made it: see GsDevice::DestroyDefaultDevice.
  //
  // Blocks: for the rest of the running frame, its sleep and the last drain of the task queue.
  ~GsDefaultDevice();
  GsDefaultDevice(const GsDefaultDevice&) = delete;
  GsDefaultDevice& operator=(const GsDefaultDevice&) = delete;

  // Returns whether there is a default device, and it is valid.
  //
  // Blocks: no.
  bool valid() const;
  // Returns the default device; null where it could not be made, and after something else has destroyed it.
  //
  // Blocks: no.
  // Ownership: stays with the process.
  GsDevice* get() const;
  // Reaches into the default device, which must be there.
  //
  // Blocks: no.
  GsDevice* operator->() const;

 private:
  bool made_ = false;
};

// The default device; null when there is none. Read it through GsDevice::DefaultDevice().
extern QUARN_EXPORT GsDevice* app_default_device;

#endif  // QUARN_GS_DEVICE_H_
