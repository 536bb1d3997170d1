// Outputs: the picture of a scene, handed to the host every frame. Words and tags: quarn.h.
#ifndef QUARN_GS_OUTPUT_H_
#define QUARN_GS_OUTPUT_H_

#include <quarn/export.h>
#include <quarn/gs_frame.h>

class GraphicsOutput;
class GsDevice;
class GsOnOutputRaw;
class GsOnOutputTex;
class GsScene;
class GsTexture;

// What became of the pictures that were made for an output, since the output was made. While nothing is being made or
// delivered, the pictures made are delivered - repeated + dropped + those that are still queued (none after
// GsOutputRaw::Flush, nor for textures).
struct GsOutputStats {
  // Calls of OnFrame or OnTexture, each counted once it is over.
  unsigned long long delivered;
  // Of them, those that showed the picture of the call before once more: because it stood for several periods, or in
  // place of pictures that found no free buffer. GsOutputRaw::repeating tells of the one that is being made.
  unsigned long long repeated;
  // Pictures that nobody will see: those that found no free buffer, and those that a stop or a new start has taken out
  // of the queue.
  unsigned long long dropped;
};

// What raw and texture outputs share. An output keeps its scene in use, and so rendered, for as long as it lives.
//
// A picture's timestamp, in nanoseconds of the monotonic clock, is the time of the frame before the one in which the
// picture was drawn: the render loop hands on what it knows of the previous frame. A host that drives the frames itself
// gives the timestamps to GsDevice::OutputFrame.
//
// Thread: caller-serialised, apart from a running callback, which may start and stop its own output meanwhile. Not in a
// frame callback for a raw output whose OnFrame calls into the engine: its Start, Stop and destructor would each wait
// for that call, and the call for them.
class QUARN_EXPORT GsOutput {
 public:
  // An output of a scene; the picture is fitted, keeping its aspect ratio. A null scene, a side out of range and a
  // device other than the scene's make the output inert, with an error line in the log.
  //
  // `scene`: what is shown.
  // `width`, `height`: pixels, each at least 1 (at least 2 for I420 and NV12: otherwise Start succeeds and nothing
  // comes) and at most the driver's longest texture side.
  // `device`: the scene's.
  //
  // Blocks: stage.
  // Ownership: takes a reference on the scene.
  GsOutput(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device = nullptr);
  // Destroys the output, and lets go of the scene. Stop first: destroying a started output is an error, which the log
  // names.
  //
  // Blocks: stage, and for a running OnFrame.
  virtual ~GsOutput();

  // Starts the deliveries. An inert output starts and delivers nothing.
  //
  // Returns false only for a format that no output produces and where memory is missing; other problems are logged, and
  // nothing is delivered.
  //
  // Blocks: stage, and for a running callback.
  virtual bool Start() = 0;
  // Ends the deliveries: when it returns no callback runs any more (but the one that it is called from), and the output
  // is stopped, even when a callback that was still running has started it again.
  //
  // Blocks: stage, and for a running callback.
  virtual void Stop();

  // Tells how many pictures were delivered, repeated and dropped.
  //
  // Returns the values of this moment, each for itself. Those of an inert output are 0.
  //
  // Thread: any.
  // Blocks: no.
  GsOutputStats stats() const;

  GsOutput(const GsOutput&) = delete;
  GsOutput& operator=(const GsOutput&) = delete;

  // Returns whether the object is valid: made whole, and its device can draw.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // For the library's own use.
  GraphicsOutput* impl() const;

 private:
  friend class GsOutputRaw;  // Its waits look whether they are made under the lock of the scene's context.
  friend class GsOutputTex;  // Its calls run under that lock.

  GraphicsOutput* impl_ = nullptr;
  GsScene* scene_ = nullptr;
};

// What the thread of a raw output has done since the output was made. The counts go over all starts and stops, and
// begin anew at 0 after 4,294,967,295.
struct GsOutputCounts {
  // Deliveries, one a frame period, each counted once it is over. Those count as well that a stop or a new start has
  // let nobody hear of.
  unsigned int delivered;
  // Deliveries that repeated a picture because the six buffers were full when another was to be stored: what a slow
  // OnFrame costs. Each is counted just before it is made. A picture that is repeated because its frame was late is
  // not: GsDevice::ReadFrameTimes tells of those, and GsOutput::stats counts both.
  unsigned int repeated;
};

// Raw frames in memory. Derive and override OnFrame.
//
// Frames are delivered one per frame period, by a thread of the output. Six are buffered: while the host is slower than
// that, the newest buffered picture is delivered again in place of what was lost, so that the stream keeps one frame a
// period. From one Start to the next, two different pictures are never handed out in a row from the same planes: a host
// may recognise a repeat by GsFrame::data[0].
//
// BGRA pictures are opaque black until the host adds the program that makes them, in one line (glsl_src.h):
//
//   device->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]);
//
// Thread: as GsOutput.
class QUARN_EXPORT GsOutputRaw : public GsOutput {
 public:
  // An output of raw frames: see GsOutput's constructor.
  //
  // `scene`: what is shown; null makes the output inert.
  // `width`, `height`: pixels, as GsOutput's constructor takes them.
  // `format`: the layout of the frames; Start refuses what no output produces.
  //
  // Blocks: stage.
  // Ownership: takes a reference on the scene.
  GsOutputRaw(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device = nullptr);
  ~GsOutputRaw() override;

  // Starts the deliveries.
  //
  // Returns false, with an error line in the log, for a format that no output produces and where memory is missing.
  bool Start() override;
  void Stop() override;

  // Receives a frame. By default logs its timestamp at debug level.
  //
  // `frame`: the picture, whose planes are valid during the call only: copy what is to be kept.
  //
  // Thread: the output's own.
  // Callback safety: may take its time, start and stop its own output, update textures and constant buffers, add and
  // remove items, and queue tasks; must not destroy the output, nor start, stop or destroy another one.
  virtual void OnFrame(const GsFrame& frame);

  // Tells how many deliveries were made, and how many of them only repeated a picture for want of a free buffer.
  //
  // Returns the counts of this moment. An inert output has made none. stats() tells more, and does not begin anew.
  //
  // Thread: any.
  // Blocks: no.
  GsOutputCounts Counts() const;

  // Returns, inside OnFrame, whether this delivery shows the picture of the one before once more.
  //
  // Thread: the output's own; elsewhere it tells of the moment.
  // Blocks: no.
  bool repeating() const;

  // Waits until the picture of the next frame will find a free buffer. A host that drives the frames itself, faster
  // than OnFrame takes them, loses none when it waits before each, and lets the last ones out before it stops:
  //
  //   for (unsigned long long n = 0; n < frames && output.WaitForRoom(1000); ++n) device->RunFrame(n * 40000000);
  //   output.Flush(1000);
  //   output.Stop();
  //
  // `timeout_ms`: how long, in milliseconds, at most; 0 only looks.
  // Returns false when that time is over, when the output is stopped, meanwhile too, and when it is inert or lacked the
  // memory for buffers. In its own OnFrame at once; and in the stages of a frame, for which OnFrame may have to wait,
  // it only looks.
  //
  // Thread: any, while the output lives.
  // Callback safety: may be called in any. In a frame callback of its device, and in its own OnFrame, it does not wait;
  // elsewhere it waits as anywhere, with the locks of that callback held.
  // Blocks: for the host's OnFrame, no longer than asked for.
  bool WaitForRoom(unsigned int timeout_ms);
  // Waits until everything that was handed to the output before the call has been delivered, and its OnFrame is over.
  //
  // `timeout_ms`: as WaitForRoom.
  // Returns false where WaitForRoom does.
  //
  // Thread: as WaitForRoom.
  // Callback safety: as WaitForRoom.
  // Blocks: as WaitForRoom.
  bool Flush(unsigned int timeout_ms);

 private:
  unsigned int PatienceFor(unsigned int timeout_ms) const;

  GsFormat format_;
  GsOnOutputRaw* on_output_ = nullptr;
};

// The scene's own texture. Derive and override OnTexture.
//
// Thread: as GsOutput.
class QUARN_EXPORT GsOutputTex : public GsOutput {
 public:
  // An output of textures: see GsOutput's constructor.
  //
  // `scene`: what is shown; null makes the output inert.
  // `width`, `height`: pixels, as GsOutput's constructor takes them. The texture has the scene's size all the same.
  //
  // Blocks: stage.
  // Ownership: takes a reference on the scene.
  GsOutputTex(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device = nullptr);
  ~GsOutputTex() override;

  // Starts the deliveries.
  //
  // Returns false only where memory is missing, with an error line in the log.
  bool Start() override;
  void Stop() override;

  // Receives the scene's texture once a frame. By default logs the timestamp at debug level.
  //
  // `texture`: of the scene's size, bottom row first, and never null. It belongs to the scene and is valid during the
  // call.
  // `timestamp`: the picture's in nanoseconds, as GsOutput has it: the time of the frame before.
  //
  // Thread: render, with the GL context current: a host may draw with the texture. It delays the frame.
  // Callback safety: frame callback; may start and stop its own output, update textures and constant buffers, and queue
  // tasks; must not destroy the output, nor start, stop or destroy another one.
  virtual void OnTexture(GsTexture* texture, unsigned long long timestamp);

 private:
  GsOnOutputTex* on_output_ = nullptr;
};

#endif  // QUARN_GS_OUTPUT_H_
