// Outputs: the picture of a scene, handed to the host every frame.
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

// What raw and texture outputs share. An output keeps its scene in use, and so rendered, for as long as it lives.
//
// Thread: caller-serialised.
class QUARN_EXPORT GsOutput {
 public:
  // An output of `scene` at `width` x `height` pixels, each at least 1; the picture is fitted, keeping its aspect ratio.
  // A null scene, a zero side or no device make it inert. A null `device` means the default device.
  //
  // Blocks: for the running stage of a frame.
  // Ownership: takes a reference on the scene.
  GsOutput(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device);
  // Stop first: destroying a started output is an error, which the log names.
  virtual ~GsOutput();

  // Starts the deliveries. Returns false when that is impossible; an inert output starts and delivers nothing.
  //
  // Blocks: for the running stage of a frame and a running callback.
  virtual bool Start() = 0;
  // Ends the deliveries: when it returns no callback runs any more (but the one that it is called from).
  //
  // Blocks: for the running stage of a frame and a running callback.
  virtual void Stop();

  GsOutput(const GsOutput&) = delete;
  GsOutput& operator=(const GsOutput&) = delete;

  // For the library's own use.
  GraphicsOutput* impl() const;

 private:
  GraphicsOutput* impl_ = nullptr;
  GsScene* scene_ = nullptr;
};

// Raw frames in memory. Derive and override OnFrame.
//
// Frames are stamped with the time of the frame that they show and delivered one per frame period, by a thread of the
// output. Six are buffered: while the host is slower than that, the newest buffered picture is delivered again in place
// of what was lost, so that the stream keeps one frame per period.
//
// BGRA pictures are opaque black until the host adds the program that makes them, in one line (glsl_src.h):
//
//   device->AddShader("to_rgba", glsl_src[kGlslToBgra + 1], glsl_src[kGlslToBgra + 2]);
class QUARN_EXPORT GsOutputRaw : public GsOutput {
 public:
  GsOutputRaw(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device);
  ~GsOutputRaw() override;

  // Returns false, and logs an error, for a format that no output produces.
  bool Start() override;
  void Stop() override;

  // Receives a frame. By default logs its timestamp at debug level.
  //
  // Thread: the output's own.
  // Callback safety: may take its time, call Stop, update textures and constant buffers, add and remove items, and queue
  // tasks; must not destroy the output.
  virtual void OnFrame(const GsFrame& frame);

 private:
  GsFormat format_;
  GsOnOutputRaw* on_output_ = nullptr;
};

// The scene's own texture. Derive and override OnTexture.
class QUARN_EXPORT GsOutputTex : public GsOutput {
 public:
  GsOutputTex(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device);
  ~GsOutputTex() override;

  bool Start() override;
  void Stop() override;

  // Receives the scene's texture, of the scene's size, bottom row first; it belongs to the scene and is valid during the
  // call. `timestamp` is the presentation time in nanoseconds. By default logs the timestamp at debug level.
  //
  // Thread: render, with the GL context current: a host may draw with the texture. It delays the frame.
  // Callback safety: may call Stop, update textures and constant buffers, and queue tasks; must not destroy the output.
  virtual void OnTexture(GsTexture* texture, unsigned long long timestamp);

 private:
  GsOnOutputTex* on_output_ = nullptr;
};

#endif  // QUARN_GS_OUTPUT_H_
