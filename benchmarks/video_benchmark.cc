// What a new picture of a video costs a frame: its planes turned into colours on the GPU (GsVideoTexture), beside
// libswscale, which hands RGBA to a GsTexture, as exactly as the studio of the examples asks for it, and as fast as it
// can.
extern "C" {
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "benchmarks/measure.h"

namespace {

struct Layout {
  const char* name;
  GsVideoTexture::Layout layout;
  AVPixelFormat format;
};
constexpr Layout kLayouts[] = {{"I420", GsVideoTexture::kLayoutI420, AV_PIX_FMT_YUV420P},
                               {"NV12", GsVideoTexture::kLayoutNV12, AV_PIX_FMT_NV12},
                               {"P010", GsVideoTexture::kLayoutP010, AV_PIX_FMT_P010}};

// The planes of a picture of slow ramps, and where they lie.
struct Planes {
  std::vector<std::uint8_t> memory;
  std::uint8_t* data[4] = {};
  int linesize[4] = {};

  Planes(AVPixelFormat format, int width, int height) {
    constexpr int kAlign = 64;
    memory.resize(static_cast<std::size_t>(av_image_get_buffer_size(format, width, height, kAlign)) + kAlign);
    auto* const begin = reinterpret_cast<std::uint8_t*>((reinterpret_cast<std::uintptr_t>(memory.data()) + kAlign - 1) /
                                                        kAlign * kAlign);
    av_image_fill_arrays(data, linesize, begin, format, width, height, kAlign);
  }

  // From ramps in I420.
  void Fill(AVPixelFormat format, int width, int height) {
    Planes ramps(AV_PIX_FMT_YUV420P, width, height);
    for (int plane = 0; plane < 3; ++plane) {
      const int rows = plane == 0 ? height : height / 2, columns = plane == 0 ? width : width / 2;
      for (int y = 0; y < rows; ++y) {
        for (int x = 0; x < columns; ++x) {
          ramps.data[plane][y * ramps.linesize[plane] + x] =
              static_cast<std::uint8_t>(60 + 120 * (plane == 1 ? y : x) / (plane == 1 ? rows : columns));
        }
      }
    }
    SwsContext* const scaler =
        sws_getContext(width, height, AV_PIX_FMT_YUV420P, width, height, format, SWS_POINT, nullptr, nullptr, nullptr);
    sws_scale(scaler, ramps.data, ramps.linesize, 0, height, data, linesize);
    sws_freeContext(scaler);
  }
};

class Output : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
  ~Output() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    std::lock_guard<std::mutex> lock(mutex_);
    ++delivered_;
    latest_ = frame;  // Its memory stays as it is until six more have come.
    changed_.notify_one();
  }
  const GsFrame& WaitForNext() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return delivered_ > waited_; });
    waited_ = delivered_;
    return latest_;
  }

 private:
  GsFrame latest_ = {};
  std::mutex mutex_;
  std::condition_variable changed_;
  int delivered_ = 0;
  int waited_ = 0;
};

// Shows one texture over the whole scene.
class Item : public GsItem {
 public:
  Item(unsigned int width, unsigned int height, GsDevice* device)
      : GsItem(device), width_(width), height_(height), device_(device) {}
  void Draw() override {
    GsContext context(device_);
    context.SetViewport(0, 0, width_, height_);
    if (!context.BindShader("rgba")) return;
    const gs_vec2 size(static_cast<float>(width_), static_cast<float>(height_));
    GsTextureBinder binder(texture);
    context.DrawRect(gs_transform(gs_vec2(), size), size);
    context.UnbindShader();
  }
  GsTexture* texture = nullptr;

 private:
  const unsigned int width_;
  const unsigned int height_;
  GsDevice* const device_;
};

class Bench {
 public:
  Bench(const Layout& layout, int width, int height, GsDevice* device)
      : width_(static_cast<unsigned int>(width)),
        height_(static_cast<unsigned int>(height)),
        layout_(layout),
        device_(device),
        planes_(layout.format, width, height),
        rgba_(AV_PIX_FMT_RGBA, width, height),
        video_(width_, height_, layout.layout, device),
        pixels_(rgba_.data[0], static_cast<unsigned int>(rgba_.linesize[0]), GsTexture::kTextureRGBA, width_, height_,
                device),
        scene_(MakeRef<RefCounted<GsScene>>(width_, height_, device)),
        item_(MakeRef<RefCounted<Item>>(width_, height_, device)),
        output_(scene_, width_, height_, kGsFormatRGBA, device) {
    planes_.Fill(layout.format, width, height);
    exact_ = Scaler(SWS_BILINEAR | SWS_ACCURATE_RND | SWS_BITEXACT);
    fast_ = Scaler(SWS_BILINEAR);
    scene_->AddItem(item_);
    item_->texture = &pixels_;
    if (!output_.Start()) std::exit(EXIT_FAILURE);
  }
  ~Bench() {
    output_.Stop();
    scene_->RemoveItem(item_);
    sws_freeContext(exact_);
    sws_freeContext(fast_);
  }

  // A frame without a new picture, with one by way of the planes, and with one of libswscale's.
  void Nothing() { Frame(&pixels_); }
  void FromPlanes() {
    const unsigned int strides[] = {Stride(0), Stride(1), Stride(2)};
    if (!video_.Update(planes_.data, strides)) std::exit(EXIT_FAILURE);
    Frame(&video_);
  }
  void FromSwscale(bool exact) {
    sws_scale(exact ? exact_ : fast_, planes_.data, planes_.linesize, 0, static_cast<int>(height_), rgba_.data,
              rgba_.linesize);
    pixels_.Update(rgba_.data[0], static_cast<unsigned int>(rgba_.linesize[0]), GsTexture::kTextureRGBA, width_,
                   height_);
    Frame(&pixels_);
  }

  // Whether all show the same, give or take the rounding.
  bool Agree() {
    const auto bytes = [this] {
      const GsFrame& frame = last_;
      return std::vector<unsigned char>(frame.data[0], frame.data[0] + std::size_t{frame.linesize[0]} * height_);
    };
    FromPlanes();
    const std::vector<unsigned char> planes = bytes();
    for (const bool exact : {false, true}) {
      FromSwscale(exact);
      const std::vector<unsigned char> swscale = bytes();
      for (std::size_t i = 0; i < planes.size(); ++i) {
        if (std::abs(planes[i] - swscale[i]) > 6) return false;
      }
    }
    return true;
  }

 private:
  unsigned int Stride(int plane) const { return static_cast<unsigned int>(planes_.linesize[plane]); }
  SwsContext* Scaler(int flags) {
    const int width = static_cast<int>(width_), height = static_cast<int>(height_);
    SwsContext* const scaler =
        sws_getContext(width, height, layout_.format, width, height, AV_PIX_FMT_RGBA, flags, nullptr, nullptr, nullptr);
    if (!scaler) std::exit(EXIT_FAILURE);
    const int* const table = sws_getCoefficients(SWS_CS_ITU709);
    sws_setColorspaceDetails(scaler, table, 0, table, 1, 0, 1 << 16, 1 << 16);
    return scaler;
  }
  void Frame(GsTexture* texture) {
    item_->texture = texture;
    device_->TickSource();
    device_->HandleFilter();
    device_->OutputFrame(1, 1);
    last_ = output_.WaitForNext();
  }

  const unsigned int width_;
  const unsigned int height_;
  const Layout layout_;
  GsDevice* const device_;
  Planes planes_;
  Planes rgba_;
  GsVideoTexture video_;
  GsTexture pixels_;
  SwsContext* exact_ = nullptr;
  SwsContext* fast_ = nullptr;
  scoped_refptr<GsScene> scene_;
  scoped_refptr<Item> item_;
  Output output_;
  GsFrame last_ = {};
};

void DropLog(int, const char*, va_list, void*) {}

}  // namespace

// Usage: quarn-video-benchmark [rounds [milliseconds of a round]]
int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
  const double round_ms = argc > 2 ? std::atof(argv[2]) : 200;
  KeepFreedMemory();
  qn_set_log_handle(&DropLog, nullptr);
  GsDevice device;
  if (!device.Init() || !device.InitThreadContext()) return EXIT_FAILURE;
  std::printf(
      "| picture | size | no new picture us | planes us | libswscale us | libswscale, fast us | planes / libswscale | "
      "planes / fast |\n"
      "|---|---|---|---|---|---|---|---|\n");
  for (const auto& [width, height] : {std::pair<int, int>{1280, 720}, {1920, 1080}}) {
    for (const Layout& layout : kLayouts) {
      Bench bench(layout, width, height, &device);
      if (!bench.Agree()) {
        std::fprintf(stderr, "the pictures differ\n");
        return EXIT_FAILURE;
      }
      const Costs costs = Compare({[&] { bench.FromPlanes(); }, [&] { bench.FromSwscale(true); },
                                   [&] { bench.FromSwscale(false); }, [&] { bench.Nothing(); }},
                                  rounds, round_ms);
      std::printf("| %s | %dx%d | %.0f | %.0f | %.0f | %.0f | %.2f | %.2f |\n", layout.name, width, height, costs.us[3],
                  costs.us[0], costs.us[1], costs.us[2], costs.ratios[1], costs.ratios[2]);
      std::fflush(stdout);
    }
  }
  device.UninitThreadContext();
  return EXIT_SUCCESS;
}
