#include "benchmarks/peers/scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>

namespace {

// Blocks begin at one of so many places in a source's samples, so many frames apart.
constexpr unsigned int kBlockStarts = 16;
constexpr unsigned int kBlockStep = 16;
constexpr unsigned int kSourceFrames = kBlockFrames + (kBlockStarts - 1) * kBlockStep;

unsigned int Number(const std::string& word) { return static_cast<unsigned int>(std::stoul(word)); }

unsigned char Rounded(double value) { return static_cast<unsigned char>(std::lround(std::clamp(value, 0.0, 255.0))); }

// A colour of BT.709: luma from 0 to 255, and how far blue and red are from it, from -127.5 to 127.5.
struct Yuv {
  double y, u, v;
};

Yuv YuvOf(double r, double g, double b) {
  const double kr = 0.2126, kb = 0.0722;
  const double y = kr * r + (1 - kr - kb) * g + kb * b;
  return {y, (b - y) / (2 * (1 - kb)), (r - y) / (2 * (1 - kr))};
}

// In limited range.
unsigned char Luma(const Yuv& yuv) { return Rounded(16 + yuv.y * 219 / 255); }
unsigned char Chroma(double value) { return Rounded(128 + value * 224 / 255); }

}  // namespace

PictureScene::PictureScene(const Words& words) {
  if (words.size() != 5 || words[0] != "picture") throw std::runtime_error("makes pictures");
  width = Number(words[1]);
  height = Number(words[2]);
  if (words[3] == "nv12") {
    format = PictureFormat::kNv12;
  } else if (words[3] == "i420") {
    format = PictureFormat::kI420;
  } else if (words[3] != "rgba") {
    throw std::runtime_error("does not know the format " + words[3]);
  }
  layers = Number(words[4]);
}

Path PictureScene::Left(unsigned int layer) const {
  return {37 * layer + 11, 1 + layer % 3, (width - layer_width()) / 2 + 1};
}

Path PictureScene::Top(unsigned int layer) const {
  return {53 * layer + 5, 1 + layer % 2, (height - layer_height()) / 2 + 1};
}

std::vector<unsigned char> LayerRgba(const PictureScene& scene, unsigned int layer) {
  const unsigned int w = scene.layer_width();
  const unsigned int h = scene.layer_height();
  std::vector<unsigned char> pixels;
  pixels.reserve(std::size_t{4} * w * h);
  for (unsigned int y = 0; y < h; ++y) {
    for (unsigned int x = 0; x < w; ++x) {
      // No colour is so strong that LayerRgba601 could not have it.
      const unsigned int across = 160 * x / (w - 1);
      const unsigned int down = 160 * y / (h - 1);
      pixels.push_back(static_cast<unsigned char>(48 + (layer % 2 ? 160 - across : across)));
      pixels.push_back(static_cast<unsigned char>(48 + (layer % 3 ? 160 - down : down)));
      pixels.push_back(static_cast<unsigned char>(208 - 22 * (layer % 8)));
      pixels.push_back(static_cast<unsigned char>(64 + (across + down) * 19 / 32));
    }
  }
  return pixels;
}

std::vector<unsigned char> LayerAyuv(const PictureScene& scene, unsigned int layer) {
  std::vector<unsigned char> pixels = LayerRgba(scene, layer);
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    const Yuv yuv = YuvOf(pixels[i], pixels[i + 1], pixels[i + 2]);
    pixels[i] = pixels[i + 3];
    pixels[i + 1] = Luma(yuv);
    pixels[i + 2] = Chroma(yuv.u);
    pixels[i + 3] = Chroma(yuv.v);
  }
  return pixels;
}

std::vector<unsigned char> LayerRgba601(const PictureScene& scene, unsigned int layer) {
  const double kr = 0.299, kb = 0.114;
  std::vector<unsigned char> pixels = LayerRgba(scene, layer);
  for (std::size_t i = 0; i < pixels.size(); i += 4) {
    const Yuv yuv = YuvOf(pixels[i], pixels[i + 1], pixels[i + 2]);
    const double r = yuv.y + 2 * (1 - kr) * yuv.v;
    const double b = yuv.y + 2 * (1 - kb) * yuv.u;
    const double g = (yuv.y - kr * r - kb * b) / (1 - kr - kb);
    pixels[i] = Rounded(r);
    pixels[i + 1] = Rounded(g);
    pixels[i + 2] = Rounded(b);
  }
  return pixels;
}

std::vector<unsigned char> LayerYuva420(const PictureScene& scene, unsigned int layer) {
  const std::vector<unsigned char> rgba = LayerRgba(scene, layer);
  const std::size_t w = scene.layer_width();
  const std::size_t h = scene.layer_height();
  std::vector<unsigned char> luma, u, v, alpha;
  for (std::size_t i = 0; i < rgba.size(); i += 4) {
    luma.push_back(Luma(YuvOf(rgba[i], rgba[i + 1], rgba[i + 2])));
    alpha.push_back(rgba[i + 3]);
  }
  for (std::size_t y = 0; y < h; y += 2) {
    for (std::size_t x = 0; x < w; x += 2) {
      double mean[3] = {};
      for (const std::size_t pixel : {y * w + x, y * w + x + 1, (y + 1) * w + x, (y + 1) * w + x + 1}) {
        for (std::size_t c = 0; c < 3; ++c) mean[c] += 0.25 * rgba[4 * pixel + c];
      }
      const Yuv yuv = YuvOf(mean[0], mean[1], mean[2]);
      u.push_back(Chroma(yuv.u));
      v.push_back(Chroma(yuv.v));
    }
  }
  for (const std::vector<unsigned char>* plane : {&u, &v, &alpha})
    luma.insert(luma.end(), plane->begin(), plane->end());
  return luma;
}

SoundScene::SoundScene(const Words& words) {
  if (words.size() != 4 || words[0] != "sound") throw std::runtime_error("makes sound");
  is_float = words[1] == "float";
  channels = Number(words[2]);
  sources = Number(words[3]);
}

SourceSamples::SourceSamples(const SoundScene& scene, unsigned int source, Layout layout)
    : scene_(scene), layout_(layout), bytes_(std::size_t{kSourceFrames} * scene.channels * scene.sample_size()) {
  for (unsigned int c = 0; c < scene.channels; ++c) {
    for (unsigned int i = 0; i < kSourceFrames; ++i) {
      // Some noise: the upper bits of a product by a large odd number.
      const std::uint32_t seed = (source * scene.channels + c) * kSourceFrames + i + 1;
      const auto sample = static_cast<short>(static_cast<int>(seed * 2654435761u >> 25) - 64);
      const std::size_t place =
          layout == Layout::kPlanar ? std::size_t{c} * kSourceFrames + i : std::size_t{i} * scene.channels + c;
      if (scene.is_float) {
        const float value = static_cast<float>(sample) / 32768;
        std::memcpy(bytes_.data() + place * sizeof(value), &value, sizeof(value));
      } else {
        std::memcpy(bytes_.data() + place * sizeof(sample), &sample, sizeof(sample));
      }
    }
  }
}

const void* SourceSamples::Block(std::uint64_t block, unsigned int channel) const {
  const std::size_t frame = block % kBlockStarts * kBlockStep;
  const std::size_t place =
      layout_ == Layout::kPlanar ? std::size_t{channel} * kSourceFrames + frame : frame * scene_.channels;
  return bytes_.data() + place * scene_.sample_size();
}

std::vector<unsigned char> Deinterleaved(const SoundScene& scene, const void* samples) {
  const auto* const bytes = static_cast<const unsigned char*>(samples);
  const std::size_t size = scene.sample_size();
  std::vector<unsigned char> planes;
  for (std::size_t c = 0; c < scene.channels; ++c) {
    for (std::size_t i = 0; i < kBlockFrames; ++i) {
      const unsigned char* const sample = bytes + (i * scene.channels + c) * size;
      planes.insert(planes.end(), sample, sample + size);
    }
  }
  return planes;
}
