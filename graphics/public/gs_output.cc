// The host's side of an output. The host's thread starts and stops; calls come through the bridges, on the output
// thread for raw frames and on the render thread for textures.
//
// A call may stop and start its own output, and so exchange the bridge, while the host's thread waits for that call to
// end. So a stop looks at the bridge after the wait, and a start waits first.
#include <quarn/gs_output.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_output.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/output/graphics_output_impl.h"
#include "graphics/public/context_lock.h"
#include "graphics/public/device_resolve.h"
#include "graphics/public/gs_on_output.h"
#include "graphics/public/gs_scene_use.h"

namespace {

// The engine's name of a layout; kOutputNone where no output produces it.
GraphicsOutput::OutputFormat ToOutputFormat(GsFormat format) {
  switch (format) {
    case kGsFormatRGBA: return GraphicsOutput::kOutputRGBA;
    case kGsFormatBGRA: return GraphicsOutput::kOutputBGRA;
    case kGsFormatI420: return GraphicsOutput::kOutputI420;
    case kGsFormatNV12: return GraphicsOutput::kOutputNV12;
    case kGsFormatNone:
    case kGsFormatReserved: break;
  }
  return GraphicsOutput::kOutputNone;
}

// No call of a raw output runs while it lives but the one that it is made in.
class CallPause {
 public:
  explicit CallPause(GraphicsOutput* output) : output_(dynamic_cast<GraphicsOutputImpl*>(output)) {
    if (output_) output_->PauseCalls();
  }
  ~CallPause() {
    if (output_) output_->ResumeCalls();
  }
  CallPause(const CallPause&) = delete;
  CallPause& operator=(const CallPause&) = delete;

 private:
  GraphicsOutputImpl* output_;
};

void ReportNotStopped() { Logger::default_logger()->Error("[GsOutput] destroyed while started: call Stop first"); }

}  // namespace

void GsOnOutput::Retire() {
  if (running_calls_ > 0) {
    retired_ = true;
  } else {
    delete this;
  }
}

GsOnOutputRaw::GsOnOutputRaw(GraphicsOutput::OutputFormat format, GsOutputRaw* output)
    : GsOnOutput(format), output_(output) {}

void GsOnOutputRaw::OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) {
  GsFrame view = {};
  view.width = frame.width;
  view.height = frame.height;
  std::copy(std::begin(frame.data), std::end(frame.data), view.data);
  std::copy(std::begin(frame.linesize), std::end(frame.linesize), view.linesize);
  view.format = 1;  // Whatever the layout: part of the interface, and must stay.
  view.timestamp = timestamp;
  Call([&] { output_->OnFrame(view); });
}

GsOnOutputTex::GsOnOutputTex(GsOutputTex* output) : GsOnOutput(GraphicsOutput::kOutputTexture), output_(output) {}

void GsOnOutputTex::OnOutputTexture(GraphicsTexture* texture, unsigned long long timestamp) {
  GsTexture wrapper(texture);
  Call([&] { output_->OnTexture(&wrapper, timestamp); });
}

GsOutput::GsOutput(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device) : scene_(scene) {
  if (!scene) {
    Logger::default_logger()->Error("[GsOutput] no output without a scene");
    return;
  }
  GsSceneUse::Acquire(scene);
  if (width == 0 || height == 0) {
    Logger::default_logger()->Error("[GsOutput] no output of %u x %u pixels", width, height);
    return;
  }
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine || !scene->impl()) return;
  EvenWithoutMemory("GsOutput::GsOutput", [&] { impl_ = engine->CreateOutput(scene->impl(), width, height); });
}

GsOutput::~GsOutput() {
  // Neither unregistered nor detached first: that is Stop's work, and must stay so.
  delete impl_;
  GsSceneUse::Release(scene_);
}

void GsOutput::Stop() {
  if (impl_) impl_->Detach();
}

GraphicsOutput* GsOutput::impl() const { return impl_; }

GsOutputRaw::GsOutputRaw(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device)
    : GsOutput(scene, width, height, device), format_(format) {}

GsOutputRaw::~GsOutputRaw() {
  // The bridge is Stop's to delete, and without a stop it is left behind: part of the interface, and must stay. Frames
  // may come through it until the engine's output is gone.
  if (on_output_) ReportNotStopped();
}

bool GsOutputRaw::Start() {
  const GraphicsOutput::OutputFormat format = ToOutputFormat(format_);
  if (format == GraphicsOutput::kOutputNone) {
    Logger::default_logger()->Error("[GsOutput] unsupported format");
    return false;
  }
  CallPause pause(impl());
  const bool started = EvenWithoutMemory("GsOutputRaw::Start", [&] {
    if (!on_output_) on_output_ = new GsOnOutputRaw(format, this);
    if (impl()) impl()->Attach(on_output_);
  });
  if (!started) GsOutputRaw::Stop();
  return started;
}

void GsOutputRaw::Stop() {
  GsOutput::Stop();
  if (GsOnOutput* const bridge = std::exchange(on_output_, nullptr)) bridge->Retire();
}

void GsOutputRaw::OnFrame(const GsFrame& frame) {
  Logger::default_logger()->Debug("Output frame: %lld", static_cast<long long>(frame.timestamp));
}

GsOutputTex::GsOutputTex(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device)
    : GsOutput(scene, width, height, device) {}

GsOutputTex::~GsOutputTex() {
  if (on_output_) ReportNotStopped();
  delete on_output_;
}

bool GsOutputTex::Start() {
  // Calls run with this lock held.
  ContextLock lock(scene_ ? GsSceneUse::Context(scene_) : nullptr);
  const bool started = EvenWithoutMemory("GsOutputTex::Start", [this] {
    if (!on_output_) on_output_ = new GsOnOutputTex(this);
    if (impl()) impl()->Attach(on_output_);
  });
  if (!started) GsOutputTex::Stop();
  return started;
}

void GsOutputTex::Stop() {
  GsOutput::Stop();
  if (GsOnOutput* const bridge = std::exchange(on_output_, nullptr)) bridge->Retire();
}

void GsOutputTex::OnTexture(GsTexture* /*texture*/, unsigned long long timestamp) {
  Logger::default_logger()->Debug("Output texture: %lld", static_cast<long long>(timestamp));
}

GsOutputCounts GsOutputRaw::Counts() const {
  const OutputCounts counts = ReadOutputCounts(impl());
  return {counts.delivered, counts.repeated};
}
