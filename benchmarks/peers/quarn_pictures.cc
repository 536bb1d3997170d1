// The engine's pictures, made through its public interface by a host that drives the frames itself and waits for each.
#include <quarn/quarn.h>

#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "benchmarks/peers/quarn_scene.h"

namespace {

// A layer, where its path has it in the frame that `frame` counts.
class Layer : public GsItem {
 public:
  Layer(const PictureScene& scene, unsigned int index, const std::uint64_t* frame, GsDevice* device)
      : GsItem(device),
        scene_(scene),
        index_(index),
        pixels_(LayerRgba(scene, index)),
        image_(pixels_.data(), scene.layer_width() * 4, GsTexture::kTextureRGBA, scene.layer_width(),
               scene.layer_height(), device),
        frame_(frame),
        device_(device) {}

  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, scene_.width, scene_.height);
    if (!context.BindShader("rgba")) return;
    {
      GsTextureBinder binder(&image_);
      context.DrawRect(PlacementOf(scene_, index_, *frame_),
                       gs_vec2(static_cast<float>(scene_.width), static_cast<float>(scene_.height)));
    }
    context.UnbindShader();
  }

 private:
  const PictureScene scene_;
  const unsigned int index_;
  const std::vector<unsigned char> pixels_;
  GsTexture image_;
  const std::uint64_t* const frame_;
  GsDevice* const device_;
};

class Receiver : public GsOutputRaw {
 public:
  Receiver(GsScene* scene, const PictureScene& what, GsDevice* device)
      : GsOutputRaw(scene, what.width, what.height, FormatOf(what), device), what_(what) {}

  void OnFrame(const GsFrame& frame) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++delivered_;
    latest_ = frame;  // The pool's memory stays as it is until the next frames are made.
    condition_.notify_one();
  }

  void WaitFor(std::uint64_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    condition_.wait(lock, [&] { return delivered_ >= count; });
  }

  std::vector<unsigned char> Latest() const {
    const std::size_t w = what_.width;
    const std::size_t h = what_.height;
    std::vector<unsigned char> bytes;
    AppendRows(&bytes, latest_.data[0], latest_.linesize[0], what_.format == PictureFormat::kRgba ? 4 * w : w, h);
    if (what_.format == PictureFormat::kNv12) AppendRows(&bytes, latest_.data[1], latest_.linesize[1], w, h / 2);
    if (what_.format == PictureFormat::kI420) {
      for (const int plane : {1, 2}) {
        AppendRows(&bytes, latest_.data[plane], latest_.linesize[plane], w / 2, h / 2);
      }
    }
    return bytes;
  }

 private:
  const PictureScene what_;
  std::mutex mutex_;
  std::condition_variable condition_;
  std::uint64_t delivered_ = 0;
  GsFrame latest_ = {};
};

class QuarnPictures : public Contestant {
 public:
  explicit QuarnPictures(const PictureScene& what) {
    device_.Init();
    device_.InitThreadContext();
    scene_ = MakeRef<RefCounted<GsScene>>(what.width, what.height, &device_);
    if (scene_->width() == 0) throw std::runtime_error("no OpenGL 3.2 here");
    for (unsigned int i = 0; i < what.layers; ++i) {
      scene_->AddItem(MakeRef<RefCounted<Layer>>(what, i, &frames_, &device_));
    }
    receiver_ = std::make_unique<Receiver>(scene_, what, &device_);
    receiver_->Start();
  }

  ~QuarnPictures() override {
    if (receiver_) receiver_->Stop();
    receiver_.reset();
    scene_ = nullptr;
  }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i) {
      device_.TickSource();
      device_.HandleFilter();
      device_.OutputFrame(frames_ * 33'333'333, 1);
      device_.DrawDisplay();
      device_.DoTask();
      receiver_->WaitFor(++frames_);
    }
  }

  std::vector<unsigned char> Latest() override { return receiver_->Latest(); }

 private:
  GsDevice device_;
  std::uint64_t frames_ = 0;
  scoped_refptr<RefCounted<GsScene>> scene_;
  std::unique_ptr<Receiver> receiver_;
};

void DropLog(int, const char*, va_list, void*) {}

}  // namespace

int main() {
  qn_set_log_handle(&DropLog, nullptr);
  return Serve([](const Words& words) { return std::make_unique<QuarnPictures>(PictureScene(words)); });
}
