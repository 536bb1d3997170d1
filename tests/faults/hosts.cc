// See the header.
#include "tests/faults/hosts.h"

#include <utility>

namespace faults {

DrivenHost::~DrivenHost() {
  if (device_) device_->UninitThreadContext();
}

void DrivenHost::MakeDevice() {
  device_ = std::make_unique<GsDevice>();
  device_->Init();
  device_->InitThreadContext();
}

void DrivenHost::Frames() {
  for (int i = 0; i < 2; ++i) device_->RunFrame(time_ += 40000000);
}

void Receiver::OnFrame(const GsFrame& frame) {
  Digest digest = DigestOf(&frame.width, sizeof(frame.width));
  const bool planar = format_ == kGsFormatI420 || format_ == kGsFormatNV12;
  for (int i = 0; i < 4; ++i) {
    if (!frame.data[i]) continue;
    const std::size_t rows = planar && i > 0 ? frame.height / 2 : frame.height;
    digest = DigestOf(frame.data[i], rows * frame.linesize[i], digest);
  }
  std::lock_guard<std::mutex> lock(mutex_);
  digest_ = digest;
}

Digest Receiver::Take() {
  // Where nothing came once, nothing may be there that delivers.
  patience_ms_ = Flush(patience_ms_) ? kPatienceMs : kPatienceMs / 10;
  std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(digest_, kNothing);
}

void Item::DrawTexture(GsDevice* device, const char* program, GsTexture* texture, GsConstantBuffer* constants) {
  GsContext context(device);
  GsScene* const canvas = scene();
  if (!canvas || !context.BindShader(program)) return;
  {
    const GsTextureBinder binder(texture);
    const bool bound = constants && constants->Bind(0);
    context.DrawRect(gs_transform(pos(), size(), rotation()),
                     gs_vec2(static_cast<float>(canvas->width()), static_cast<float>(canvas->height())));
    if (bound) constants->Unbind();
  }
  context.UnbindShader();
}

std::vector<unsigned char> Pixels(unsigned int width, unsigned int height, unsigned int bytes) {
  std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * height * bytes);
  for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<unsigned char>(i * 37 % 251);
  return pixels;
}

SceneRef MakeScene(unsigned int width, unsigned int height, GsDevice* device) {
  return MakeRef<RefCounted<GsScene>>(width, height, device);
}

}  // namespace faults
