// Frames made by the engine, through its public interface.
#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <mutex>

#include <quarn/quarn.h>

#include "benchmarks/loops.h"

namespace {

// Draws a picture with the program that copies.
void DrawPicture(GsDevice* device, unsigned int width, unsigned int height, GsTexture* picture,
                 const gs_transform& placement) {
  GsContext context(device);
  context.SetViewport(0, 0, width, height);
  if (!context.BindShader("rgba")) return;
  {
    GsTextureBinder binder(picture);
    context.DrawRect(placement, gs_vec2(static_cast<float>(width), static_cast<float>(height)));
  }
  context.UnbindShader();
}

// Draws its picture where the workload wants it.
class PictureItem : public GsItem {
 public:
  PictureItem(const Workload& workload, const gs_transform& placement, unsigned int first_frame, GsTexture* picture,
              GsDevice* device)
      : GsItem(device),
        width_(workload.width),
        height_(workload.height),
        placement_(placement),
        frame_(first_frame),
        picture_(picture),
        device_(device) {}

  void Draw() override { DrawPicture(device_, width_, height_, picture_, Moved(placement_, frame_++)); }

 private:
  const unsigned int width_;
  const unsigned int height_;
  const gs_transform placement_;
  unsigned int frame_;
  GsTexture* const picture_;
  GsDevice* const device_;
};

class PictureFilter : public GsFilter {
 public:
  PictureFilter(GsTexture* picture, GsDevice* device)
      : GsFilter(kImageSide, kImageSide, device), picture_(picture), device_(device) {}

  void Draw() override { DrawPicture(device_, kImageSide, kImageSide, picture_, FilterPlacement(frame_++)); }

 private:
  GsTexture* const picture_;
  GsDevice* const device_;
  unsigned int frame_ = 0;
};

// Counts the deliveries, and keeps the latest.
class CountingOutput : public GsOutputRaw {
 public:
  CountingOutput(GsScene* scene, const Workload& workload, GsDevice* device)
      : GsOutputRaw(scene, workload.width, workload.height, workload.format, device), shapes_(PlanesOf(workload)) {}

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

  void AppendPixels(std::vector<unsigned char>* pixels) const {
    for (std::size_t i = 0; i < shapes_.size(); ++i) {
      for (std::size_t y = 0; y < shapes_[i].rows; ++y) {
        const unsigned char* const row = latest_.data[i] + latest_.linesize[i] * y;
        pixels->insert(pixels->end(), row, row + shapes_[i].row_size);
      }
    }
  }

 private:
  const std::vector<PlaneShape> shapes_;
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
    for (unsigned int i = 0; i < kImageCount; ++i) updates_.push_back(Image(i));
    image_ = MakeImage();
    std::vector<GsTexture*> pictures;
    for (int i = 0; i < workload.filters; ++i) {
      filters_.push_back(std::make_unique<PictureFilter>(image_.get(), &device_));
      filters_.back()->Attach();
      pictures.push_back(filters_.back()->texture());
    }
    for (int i = 0; i < workload.updates; ++i) {
      updated_.push_back(MakeImage());
      pictures.push_back(updated_.back().get());
    }
    pictures.resize(std::max(pictures.size(), static_cast<std::size_t>(workload.items)), image_.get());
    for (int i = 0; i < workload.scenes; ++i) AddScene(workload, pictures, static_cast<unsigned int>(i));
  }

  ~EngineLoop() override {
    for (const auto& output : outputs_) output->Stop();
    outputs_.clear();
    scenes_.clear();
    for (const auto& filter : filters_) filter->Detach();
    filters_.clear();
    updated_.clear();
    image_.reset();
  }

  bool ok() const { return !scenes_.empty() && scenes_[0]->width() != 0; }

  void MakeFrame() override {
    for (const auto& image : updated_) {
      image->Update(updates_[frames_ % kImageCount].data(), kImageSide * 4, GsTexture::kTextureRGBA, kImageSide,
                    kImageSide);
    }
    device_.TickSource();
    device_.HandleFilter();
    device_.OutputFrame(frames_ * 33'333'333, 1);
    device_.DrawDisplay();
    device_.DoTask();
    ++frames_;
    for (const auto& output : outputs_) output->WaitFor(frames_);
  }

  std::vector<unsigned char> Pixels() const override {
    std::vector<unsigned char> pixels;
    for (const auto& output : outputs_) output->AppendPixels(&pixels);
    return pixels;
  }

 private:
  std::unique_ptr<GsTexture> MakeImage() {
    return std::make_unique<GsTexture>(updates_[0].data(), kImageSide * 4, GsTexture::kTextureRGBA, kImageSide,
                                       kImageSide, &device_);
  }

  void AddScene(const Workload& workload, const std::vector<GsTexture*>& pictures, unsigned int first_frame) {
    scenes_.push_back(MakeRef<RefCounted<GsScene>>(workload.width, workload.height, &device_));
    GsScene* const scene = scenes_.back();
    for (int i = 0; i < workload.items; ++i) {
      scene->AddItem(MakeRef<RefCounted<PictureItem>>(workload, Placement(workload, i), first_frame,
                                                      pictures[static_cast<std::size_t>(i)], &device_));
    }
    for (int i = 0; i < workload.outputs; ++i) {
      outputs_.push_back(std::make_unique<CountingOutput>(scene, workload, &device_));
      outputs_.back()->Start();
    }
  }

  GsDevice device_;
  std::vector<std::vector<unsigned char>> updates_;
  std::unique_ptr<GsTexture> image_;
  std::vector<std::unique_ptr<GsTexture>> updated_;
  std::vector<std::unique_ptr<PictureFilter>> filters_;
  std::vector<scoped_refptr<RefCounted<GsScene>>> scenes_;
  std::vector<std::unique_ptr<CountingOutput>> outputs_;
  std::uint64_t frames_ = 0;
};

}  // namespace

std::unique_ptr<FrameLoop> MakeEngineLoop(const Workload& workload) {
  auto loop = std::make_unique<EngineLoop>(workload);
  if (!loop->ok()) {
    std::fprintf(stderr, "the engine has no OpenGL 3.2 here\n");
    return nullptr;
  }
  return loop;
}
