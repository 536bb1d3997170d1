// The host's handle on a screen duplicator: checks and forwarding. Caller-serialised.
#include <quarn/gs_screen_dup.h>

#include <utility>

#include <quarn/gs_texture.h>

#include "foundation/no_memory.h"
#include "graphics/graphics_device.h"
#include "graphics/graphics_duplicator.h"
#include "graphics/public/to_engine.h"

namespace {

constexpr unsigned int kSdrWhiteNits = 80;  // The reference white of standard dynamic range.

}  // namespace

GsScreenDup::GsScreenDup(const char* name, GsDevice* device) {
  GraphicsDevice* const engine = ResolveDevice(device);
  if (engine) EvenWithoutMemory("GsScreenDup::GsScreenDup", [&] { impl_ = engine->CreateDuplicator(name); });
}

GsScreenDup::~GsScreenDup() {
  delete last_frame_;
  delete impl_;
}

bool GsScreenDup::valid() const { return impl_ != nullptr; }

int GsScreenDup::Dup() {
  if (!impl_) return -1;
  GraphicsTexture* texture = nullptr;
  int result = -1;
  EvenWithoutMemory("GsScreenDup::Dup", [&] {
    const int answer = impl_->Dup(&texture);
    delete std::exchange(last_frame_, nullptr);
    if (answer >= 0) last_frame_ = new GsTexture(texture);
    result = answer;
  });
  return result;
}

GsTexture* GsScreenDup::last_frame() const { return last_frame_; }

bool GsScreenDup::is_hdr() const { return impl_ && impl_->is_hdr(); }

unsigned int GsScreenDup::sdr_white_level() const { return impl_ ? impl_->sdr_white_level() : kSdrWhiteNits; }
