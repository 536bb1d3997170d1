// The least work on the GPU that makes the engine's bytes: the least loop of the frame benchmark, with these layers.
#include <stdexcept>

#include "benchmarks/loops.h"
#include "benchmarks/peers/quarn_scene.h"

namespace {

class BarePictures : public Contestant {
 public:
  explicit BarePictures(const PictureScene& scene) {
    Workload workload;
    workload.width = scene.width;
    workload.height = scene.height;
    workload.items = static_cast<int>(scene.layers);
    workload.format = FormatOf(scene);
    Layers layers;
    layers.width = scene.layer_width();
    layers.height = scene.layer_height();
    layers.image = [=](int layer) {
      const std::vector<unsigned char> pixels = LayerRgba(scene, static_cast<unsigned int>(layer));
      const std::size_t row_size = std::size_t{4} * scene.layer_width();
      std::vector<unsigned char> flipped;
      for (std::size_t y = scene.layer_height(); y-- > 0;) {
        AppendRows(&flipped, pixels.data() + y * row_size, 0, row_size, 1);
      }
      return flipped;
    };
    layers.placement = [=](int layer, unsigned int frame) {
      return PlacementOf(scene, static_cast<unsigned int>(layer), frame);
    };
    loop_ = MakeLeastLoop(workload, layers);
    if (!loop_) throw std::runtime_error("no OpenGL 3.2 here");
  }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i) loop_->MakeFrame();
  }

  std::vector<unsigned char> Latest() override { return loop_->Pixels(); }

 private:
  std::unique_ptr<FrameLoop> loop_;
};

}  // namespace

int main() {
  return Serve([](const Words& words) { return std::make_unique<BarePictures>(PictureScene(words)); });
}
