// Frames made by the engine, through its public interface.
#include <condition_variable>
#include <mutex>

#include <quarn/quarn.h>

#include "benchmarks/loops.h"

namespace {

// Draws the image where the workload wants it.
class ImageItem : public GsItem {
 public:
  ImageItem(const Workload& workload, const gs_transform& placement, GsTexture* image, GsDevice* device)
      : GsItem(device), workload_(workload), placement_(placement), image_(image), device_(device) {}

  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, workload_.width, workload_.height);
    if (!context.BindShader("rgba")) return;
    {
      GsTextureBinder binder(image_);
      context.DrawRect(placement_, gs_vec2(static_cast<float>(workload_.width), static_cast<float>(workload_.height)));
    }
    context.UnbindShader();
  }

 private:
  const Workload workload_;
  const gs_transform placement_;
  GsTexture* const image_;
  GsDevice* const device_;
};

// Counts the deliveries; keeps the pixels of the latest only when asked.
class CountingOutput : public GsOutputRaw {
 public:
  CountingOutput(GsScene* scene, const Workload& workload, GsDevice* device)
      : GsOutputRaw(scene, workload.width, workload.height, workload.format, device), workload_(workload) {}

  void OnFrame(const GsFrame& frame) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++delivered_;
    latest_ = frame;  // The pool's memory stays as it is until it is written again, which waits for us.
    condition_.notify_one();
  }

  void WaitFor(std::uint64_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    condition_.wait(lock, [&] { return delivered_ >= count; });
  }

  std::uint64_t Checksum() const {
    const unsigned int w = workload_.width;
    const unsigned int h = workload_.height;
    switch (workload_.format) {
      case kGsFormatRGBA:
      case kGsFormatBGRA: return SumPlane(0, latest_.data[0], latest_.linesize[0], w * 4, h);
      default: break;
    }
    std::uint64_t sum = SumPlane(0, latest_.data[0], latest_.linesize[0], w, h);
    if (workload_.format == kGsFormatNV12) {
      return SumPlane(sum, latest_.data[1], latest_.linesize[1], (w / 2) * 2, h / 2);
    }
    sum = SumPlane(sum, latest_.data[1], latest_.linesize[1], w / 2, h / 2);
    return SumPlane(sum, latest_.data[2], latest_.linesize[2], w / 2, h / 2);
  }

 private:
  const Workload workload_;
  std::mutex mutex_;
  std::condition_variable condition_;
  std::uint64_t delivered_ = 0;
  GsFrame latest_ = {};
};

class EngineLoop : public FrameLoop {
 public:
  explicit EngineLoop(const Workload& workload) {
    device_.Init();
    device_.InitThreadContext();
    device_.AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]);
    scene_ = MakeRef<RefCounted<GsScene>>(workload.width, workload.height, &device_);
    if (scene_->width() == 0) return;
    const std::vector<unsigned char> pixels = Image();
    image_ = std::make_unique<GsTexture>(pixels.data(), kImageSide * 4, GsTexture::kTextureRGBA, kImageSide, kImageSide,
                                         &device_);
    for (int i = 0; i < workload.items; ++i) {
      scene_->AddItem(MakeRef<RefCounted<ImageItem>>(workload, Placement(workload, i), image_.get(), &device_));
    }
    output_ = std::make_unique<CountingOutput>(scene_, workload, &device_);
    output_->Start();
  }

  ~EngineLoop() override {
    if (output_) output_->Stop();
    output_.reset();
    scene_ = nullptr;
    image_.reset();
  }

  bool ok() const { return output_ != nullptr; }

  void MakeFrame() override {
    device_.TickSource();
    device_.HandleFilter();
    device_.OutputFrame(frames_ * 33'333'333, 1);
    device_.DrawDisplay();
    device_.DoTask();
    output_->WaitFor(++frames_);
  }

  std::uint64_t Checksum() const override { return output_->Checksum(); }

 private:
  GsDevice device_;
  scoped_refptr<RefCounted<GsScene>> scene_;
  std::unique_ptr<GsTexture> image_;
  std::unique_ptr<CountingOutput> output_;
  std::uint64_t frames_ = 0;
};

}  // namespace

std::unique_ptr<FrameLoop> MakeEngineLoop(const Workload& workload) {
  auto loop = std::make_unique<EngineLoop>(workload);
  if (!loop->ok()) return nullptr;
  return loop;
}
