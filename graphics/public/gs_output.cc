// The host's side of an output. The host's thread starts and stops; calls come through the bridges, on the output
// thread for raw frames and on the render thread for textures.
//
// A host may stop and start an output from inside its own call, which exchanges the bridge, while another thread of the
// host stops or starts it too and waits for that call to end. So a stop reads the bridge only after its wait, and a
// start waits before it looks at the bridge.
#include <quarn/gs_output.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/context_lock.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_output.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/public/gs_on_output.h"
#include "graphics/public/gs_scene_use.h"
#include "graphics/public/to_engine.h"

namespace {

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
  view.format = 1;  // Kept: C12.
  view.timestamp = timestamp;
  Call([&] { output_->OnFrame(view); });
}

GsOnOutputTex::GsOnOutputTex(GsOutputTex* output) : GsOnOutput(GraphicsOutput::kOutputTexture), output_(output) {}

void GsOnOutputTex::OnOutputTexture(GraphicsTexture* texture, unsigned long long timestamp) {
  GsTexture wrapper(texture);
  Call([&] { output_->OnTexture(&wrapper, timestamp); });
}

GsOutput::GsOutput(GsScene* scene, unsigned int width, unsigned int height, GsDevice* device) {
  if (!scene) {
    Logger::default_logger()->Error("[GsOutput] no output without a scene");
    return;
  }
  scene_ = GsSceneUse(scene).Leave();
  if (width == 0 || height == 0) {
    Logger::default_logger()->Error("[GsOutput] no output of %u x %u pixels", width, height);
    return;
  }
  GraphicsDevice* engine = ResolveDevice(device);
  if (!engine || !scene->impl()) return;
  EvenWithoutMemory("GsOutput::GsOutput", [&] { impl_ = engine->CreateOutput(scene->impl(), width, height); });
}

GsOutput::~GsOutput() {
  const GsSceneUse last_use = GsSceneUse::Adopt(scene_);  // Ends after the engine's output, which reads the scene.
  // The output is neither taken out of the registry nor detached here: that is Stop's work. Kept: C16.
  delete impl_;
}

bool GsOutput::valid() const { return impl_ && CanDraw(GsSceneUse::Context(scene_)); }

void GsOutput::Stop() {
  if (impl_) impl_->Detach();
}

GraphicsOutput* GsOutput::impl() const { return impl_; }

GsOutputRaw::GsOutputRaw(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device)
    : GsOutput(scene, width, height, device), format_(format) {}

GsOutputRaw::~GsOutputRaw() {
  // Only Stop deletes the bridge. Kept: C16. The engine's output lives a little longer, and may call through the bridge
  // until then.
  if (on_output_) ReportNotStopped();
}

bool GsOutputRaw::Start() {
  const GraphicsOutput::OutputFormat format = ToOutputFormat(format_);
  if (format == GraphicsOutput::kOutputNone) {
    Logger::default_logger()->Error("[GsOutput] unsupported format");
    return false;
  }
  OutputPause pause(impl());
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
  // The render thread calls with this lock held, so no call exchanges the bridge meanwhile.
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

GsOutputStats GsOutput::stats() const {
  const OutputStats stats = ReadOutputStats(impl_);
  return {stats.delivered, stats.repeated, stats.dropped};
}

bool GsOutputRaw::repeating() const { return RepeatsDelivery(impl()); }

bool GsOutputRaw::WaitForRoom(unsigned int timeout_ms) {
  return impl() && ::WaitForRoom(impl(), PatienceFor(timeout_ms));
}

bool GsOutputRaw::Flush(unsigned int timeout_ms) {
  return impl() && ::WaitForDeliveries(impl(), PatienceFor(timeout_ms));
}

// A call that is to end for the wait may want the context's lock.
unsigned int GsOutputRaw::PatienceFor(unsigned int timeout_ms) const {
  return scene_ && HoldsContextLock(GsSceneUse::Context(scene_)) ? 0 : timeout_ms;
}

GsOutputCounts GsOutputRaw::Counts() const {
  const OutputCounts counts = ReadOutputCounts(impl());
  return {counts.delivered, counts.repeated};
}
