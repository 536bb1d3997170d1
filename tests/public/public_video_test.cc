// Pictures of video: their colours beside libswscale's and beside plain arithmetic, and how hosts hand them over.
#include <EGL/egl.h>
#include <EGL/eglext.h>
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>
#include <sys/mman.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/public/host.h"
#include "tests/support/gl_watch.h"

namespace {

using host::MakeItem;
using host::MakeScene;
using test::Picture;
using Video = GsVideoTexture;

constexpr Video::Layout kLayouts[] = {Video::kLayoutI420, Video::kLayoutNV12, Video::kLayoutP010};
constexpr Video::Matrix kMatrices[] = {Video::kMatrixBT601, Video::kMatrixBT709, Video::kMatrixBT2020};
constexpr Video::Range kRanges[] = {Video::kRangeLimited, Video::kRangeFull};
constexpr Video::ChromaSite kSites[] = {Video::kChromaLeft, Video::kChromaCenter};

// A picture as values of Y, U and V, of 8 bits or, in P010, of 10; and its planes as they lie in memory.
class VideoPicture {
 public:
  VideoPicture(Video::Layout its_layout, int its_width, int its_height)
      : layout(its_layout),
        width(its_width),
        height(its_height),
        chroma_width((width + 1) / 2),
        chroma_height((height + 1) / 2) {
    for (int i = 0; i < 3; ++i) values_[i].resize(static_cast<std::size_t>(Width(i)) * Height(i));
  }

  int Width(int channel) const { return channel == 0 ? width : chroma_width; }
  int Height(int channel) const { return channel == 0 ? height : chroma_height; }
  int& at(int channel, int x, int y) { return values_[channel][static_cast<std::size_t>(y) * Width(channel) + x]; }
  int at(int channel, int x, int y) const { return const_cast<VideoPicture*>(this)->at(channel, x, y); }
  int most() const { return layout == Video::kLayoutP010 ? 1023 : 255; }

  // Any values, the same each time.
  VideoPicture& Fill(unsigned int seed) {
    for (auto& channel : values_) {
      for (int& value : channel) {
        seed = seed * 1664525u + 1013904223u;
        value = static_cast<int>(seed >> 16) % (most() + 1);
      }
    }
    return *this;
  }

  // Lays the planes out, each row with `padding` bytes behind it.
  void Pack(unsigned int padding = 0) {
    const bool interleaved = layout != Video::kLayoutI420;
    const int bytes = layout == Video::kLayoutP010 ? 2 : 1;
    for (int plane = 0; plane < (interleaved ? 2 : 3); ++plane) {
      const int channels = interleaved && plane == 1 ? 2 : 1;
      strides[plane] = static_cast<unsigned int>(Width(plane) * channels * bytes) + padding;
      memory_[plane].assign(static_cast<std::size_t>(strides[plane]) * Height(plane), 0xA5);
      for (int y = 0; y < Height(plane); ++y) {
        unsigned char* row = memory_[plane].data() + static_cast<std::size_t>(strides[plane]) * y;
        for (int i = 0; i < Width(plane) * channels; ++i, row += bytes) {
          const int value = at(plane + i % channels, i / channels, y);
          const auto word = static_cast<std::uint16_t>(value << 6);
          if (bytes == 2) {
            std::memcpy(row, &word, 2);
          } else {
            *row = static_cast<unsigned char>(value);
          }
        }
      }
      planes[plane] = memory_[plane].data();
    }
  }

  bool Update(Video* texture) {
    if (!planes[0]) Pack();
    return texture->Update(planes, strides);
  }

  const Video::Layout layout;
  const int width;
  const int height;
  const int chroma_width;
  const int chroma_height;
  const unsigned char* planes[3] = {};
  unsigned int strides[3] = {};

 private:
  std::vector<int> values_[3];
  std::vector<unsigned char> memory_[3];
};

struct Colors {
  Video::Matrix matrix = Video::kMatrixBT709;
  Video::Range range = Video::kRangeLimited;
  Video::ChromaSite site = Video::kChromaLeft;
};

// What a pixel is by the definition of its colours, in levels of 255, which may lie beyond them.
std::array<double, 3> Definition(const VideoPicture& video, const Colors& colors, int x, int y) {
  constexpr double kCoefficients[][2] = {{0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}};
  const double kr = kCoefficients[colors.matrix][0], kb = kCoefficients[colors.matrix][1];
  const bool full = colors.range == Video::kRangeFull;
  const double unit = video.most() == 1023 ? 4 : 1;
  const double cx = colors.site == Video::kChromaLeft ? x / 2.0 : (x - 0.5) / 2, cy = (y - 0.5) / 2;
  const int left = static_cast<int>(std::floor(cx)), top = static_cast<int>(std::floor(cy));
  const double u = cx - left, v = cy - top;
  const auto chroma = [&](int channel) {
    const auto clamped = [&](int column, int row) {
      return video.at(channel, std::clamp(column, 0, video.chroma_width - 1),
                      std::clamp(row, 0, video.chroma_height - 1));
    };
    const double value = (1 - v) * ((1 - u) * clamped(left, top) + u * clamped(left + 1, top)) +
                         v * ((1 - u) * clamped(left, top + 1) + u * clamped(left + 1, top + 1));
    return (value - 128 * unit) / (full ? video.most() : 224 * unit);
  };
  const double luma =
      full ? video.at(0, x, y) / static_cast<double>(video.most()) : (video.at(0, x, y) - 16 * unit) / (219 * unit);
  const double red = luma + 2 * (1 - kr) * chroma(2);
  const double blue = luma + 2 * (1 - kb) * chroma(1);
  return {255 * red, 255 * (luma - kr * red - kb * blue) / (1 - kr - kb), 255 * blue};
}

Picture Reference(const VideoPicture& video, const Colors& colors) {
  Picture picture(video.width, video.height, 4);
  for (int y = 0; y < video.height; ++y) {
    for (int x = 0; x < video.width; ++x) {
      const auto rgb = Definition(video, colors, x, y);
      for (int i = 0; i < 3; ++i) {
        picture.at(x, y)[i] = static_cast<unsigned char>(std::lround(std::clamp(rgb[i], 0.0, 255.0)));
      }
      picture.at(x, y)[3] = 255;
    }
  }
  return picture;
}

// A picture of libswscale's: its planes, and how far apart their rows are.
struct Image {
  const std::uint8_t* planes[4] = {};
  int strides[4] = {};
};

// What libswscale makes of a picture, as exactly as it can.
void Scale(const VideoPicture& video, const Colors& colors, AVPixelFormat from, const Image& image, AVPixelFormat to,
           std::uint8_t* const* planes, const int* strides) {
  constexpr int kTables[] = {SWS_CS_ITU601, SWS_CS_ITU709, SWS_CS_BT2020};
  SwsContext* const scaler = sws_alloc_context();
  const auto set = [&](const char* name, int value) { EXPECT_EQ(av_opt_set_int(scaler, name, value, 0), 0) << name; };
  set("srcw", video.width);
  set("srch", video.height);
  set("dstw", video.width);
  set("dsth", video.height);
  set("src_format", from);
  set("dst_format", to);
  set("sws_flags", SWS_BILINEAR | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP);
  if (from != AV_PIX_FMT_YUV444P) {
    set("src_h_chr_pos", colors.site == Video::kChromaLeft ? 0 : 128);
    set("src_v_chr_pos", 128);
  }
  const int* const table = sws_getCoefficients(kTables[colors.matrix]);
  const int full = colors.range == Video::kRangeFull;
  sws_setColorspaceDetails(scaler, table, full, table, to == AV_PIX_FMT_RGBA ? 1 : full, 0, 1 << 16, 1 << 16);
  EXPECT_GE(sws_init_context(scaler, nullptr, nullptr), 0);
  sws_scale(scaler, image.planes, image.strides, 0, video.height, planes, strides);
  sws_freeContext(scaler);
}

// In one step libswscale takes, between two rows of chroma, the nearer one or their mean; in two, the second of which
// has chroma for each pixel, it interpolates.
Picture Swscale(const VideoPicture& video, const Colors& colors, int steps = 1) {
  constexpr AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_P010};
  const int pitch = (video.width + 63) / 64 * 64 * 4;
  Image image;
  for (int i = 0; i < 3; ++i) {
    image.planes[i] = video.planes[i];
    image.strides[i] = static_cast<int>(video.strides[i]);
  }
  std::vector<std::uint8_t> middle(static_cast<std::size_t>(pitch) * video.height * 3);
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(pitch) * video.height);
  std::uint8_t* const rows[4] = {pixels.data()};
  const int pitches[4] = {pitch, pitch, pitch};
  if (steps == 1) {
    Scale(video, colors, kFormats[video.layout], image, AV_PIX_FMT_RGBA, rows, pitches);
  } else {
    std::uint8_t* const planes[4] = {middle.data(), middle.data() + pixels.size(), middle.data() + 2 * pixels.size()};
    Scale(video, colors, kFormats[video.layout], image, AV_PIX_FMT_YUV444P, planes, pitches);
    Image full;
    for (int i = 0; i < 3; ++i) {
      full.planes[i] = planes[i];
      full.strides[i] = pitch;
    }
    Scale(video, colors, AV_PIX_FMT_YUV444P, full, AV_PIX_FMT_RGBA, rows, pitches);
  }
  return Picture(pixels.data(), static_cast<std::size_t>(pitch), video.width, video.height, 4);
}

// How far two pictures are apart, in levels of 255.
struct Distance {
  int most = 0;
  double mean = 0;
};

Distance Between(const Picture& one, const Picture& other) {
  Distance distance;
  for (std::size_t i = 0; i < one.pixels.size(); ++i) {
    const int levels = std::abs(one.pixels[i] - other.pixels[i]);
    distance.most = std::max(distance.most, levels);
    distance.mean += levels;
  }
  distance.mean /= static_cast<double>(one.pixels.size()) * 3 / 4;  // Alpha is no colour.
  return distance;
}

class VideoTest : public host::DrivenTest {
 protected:
  // What drawing the texture at its size shows.
  Picture Shown(GsTexture* texture, const std::function<void()>& on_draw = nullptr,
                const std::function<void()>& on_tick = nullptr) {
    const auto scene = MakeScene(texture->width(), texture->height(), &device);
    const auto item =
        MakeItem(gs_vec2(static_cast<float>(texture->width()), static_cast<float>(texture->height())), &device);
    item->texture = texture;
    item->on_draw = on_draw;
    item->on_tick = on_tick;
    scene->AddItem(item);
    host::Receiver receiver(scene, texture->width(), texture->height(), kGsFormatRGBA, &device);
    EXPECT_TRUE(receiver.Start());
    Frame(1);
    const auto deliveries = receiver.WaitFor(1);
    receiver.Stop();
    scene->RemoveItem(item);
    return deliveries.empty() ? Picture() : deliveries[0].planes[0];
  }

  Picture Shown(VideoPicture& video, const Colors& colors) {
    Video texture(static_cast<unsigned int>(video.width), static_cast<unsigned int>(video.height), video.layout,
                  &device);
    EXPECT_TRUE(texture.SetColor(colors.matrix, colors.range, colors.site));
    EXPECT_TRUE(video.Update(&texture));
    return Shown(&texture);
  }

  static std::string NameOf(Video::Layout layout, const Colors& colors) {
    return "layout " + std::to_string(layout) + ", matrix " + std::to_string(colors.matrix) + ", range " +
           std::to_string(colors.range) + ", site " + std::to_string(colors.site);
  }
};

// Every combination of values at and around what the ranges end with, each over eight by eight pixels.
TEST_F(VideoTest, FlatColorsAreWithinALevelOfSwscale) {
  const int kValues[] = {0, 1, 15, 16, 17, 50, 81, 127, 128, 129, 170, 200, 234, 235, 236, 240, 254, 255};
  constexpr int kCount = 18, kBlock = 8, kColumns = kCount * 4, kRows = kCount * kCount * kCount / kColumns;
  const auto value = [&](int block, int channel, int most) {
    const int step = channel == 0 ? 1 : channel == 1 ? kCount : kCount * kCount;
    const int eight = kValues[block / step % kCount];
    return most == 255 ? eight : eight == 255 ? 1023 : 4 * eight + (block + channel) % 4 * (eight > 0);
  };
  for (const Video::Layout layout : kLayouts) {
    VideoPicture video(layout, kColumns * kBlock, kRows * kBlock);
    for (int channel = 0; channel < 3; ++channel) {
      const int size = channel == 0 ? kBlock : kBlock / 2;
      for (int y = 0; y < video.Height(channel); ++y) {
        for (int x = 0; x < video.Width(channel); ++x) {
          video.at(channel, x, y) = value(y / size * kColumns + x / size, channel, video.most());
        }
      }
    }
    for (const Video::Matrix matrix : kMatrices) {
      for (const Video::Range range : kRanges) {
        const Colors colors{matrix, range, Video::kChromaCenter};
        SCOPED_TRACE(NameOf(layout, colors));
        const Picture all = Shown(video, colors), all_of_swscale = Swscale(video, colors);
        Picture shown(kColumns, kRows, 4), swscale = shown, reference = shown;
        int beyond = 0;
        for (int y = 0; y < kRows; ++y) {
          for (int x = 0; x < kColumns; ++x) {
            const int at_x = x * kBlock + 4, at_y = y * kBlock + 4;
            const auto rgb = Definition(video, colors, at_x, at_y);
            for (int i = 0; i < 3; ++i) {
              reference.at(x, y)[i] = static_cast<unsigned char>(std::lround(std::clamp(rgb[i], 0.0, 255.0)));
            }
            reference.at(x, y)[3] = 255;
            std::copy_n(all.at(at_x, at_y), 4, shown.at(x, y));
            // Beyond twice the largest level libswscale's sums run over, and other channels with them.
            const bool runs_over = *std::max_element(rgb.begin(), rgb.end()) > 510;
            beyond += runs_over;
            std::copy_n(runs_over ? reference.at(x, y) : all_of_swscale.at(at_x, at_y), 4, swscale.at(x, y));
          }
        }
        EXPECT_LT(beyond, kColumns * kRows / 16);
        EXPECT_TRUE(test::PicturesMatch(shown, swscale, {1}));
        EXPECT_TRUE(test::PicturesMatch(shown, reference, {1}));
      }
    }
  }
}

// Noise: each pixel has another luma, and each sample of chroma is another. Odd sides have a sample of their own at the
// end. A driver may round chroma of eight bits once more between its samples.
TEST_F(VideoTest, PicturesOfAnySizeAreWhatTheArithmeticSays) {
  constexpr int kSizes[][2] = {{1, 1}, {2, 2}, {3, 1}, {1, 4}, {5, 3}, {8, 7}, {33, 16}, {64, 48}};
  for (const Video::Layout layout : kLayouts) {
    for (const auto& size : kSizes) {
      VideoPicture video(layout, size[0], size[1]);
      video.Fill(static_cast<unsigned int>(size[0] * 100 + size[1]));
      for (const Video::ChromaSite site : kSites) {
        const Colors colors{Video::kMatrixBT601, Video::kRangeFull, site};
        SCOPED_TRACE(NameOf(layout, colors));
        const int difference = layout == Video::kLayoutP010 ? 1 : 2;
        EXPECT_TRUE(test::PicturesMatch(Shown(video, colors), Reference(video, colors), {difference}));
      }
    }
  }
}

// Luma is read pixel by pixel: of grey pictures nothing is interpolated.
TEST_F(VideoTest, GreyIsExact) {
  for (const Video::Layout layout : kLayouts) {
    VideoPicture video(layout, 256, 4);
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 256; ++x) {
        const int level = y % 2 ? 255 - x : x;
        video.at(0, x, y) = video.most() == 255 ? level : (level * 1023 + 127) / 255;
      }
    }
    for (int channel = 1; channel < 3; ++channel) {
      for (int i = 0; i < 128 * 2; ++i) video.at(channel, i % 128, i / 128) = (video.most() + 1) / 2;
    }
    const Picture shown = Shown(video, {Video::kMatrixBT2020, Video::kRangeFull, Video::kChromaLeft});
    for (int y = 0; y < 4; ++y) {
      for (int x = 0; x < 256; ++x) {
        for (int i = 0; i < 3; ++i) ASSERT_EQ(shown.at(x, y)[i], y % 2 ? 255 - x : x) << layout;
      }
    }
  }
}

// A picture of the examples' clip, as its decoder gives it.
VideoPicture ClipPicture() {
  AVFormatContext* media = nullptr;
  EXPECT_EQ(avformat_open_input(&media, QUARN_EXAMPLES_DIR "/media/clip.mp4", nullptr, nullptr), 0);
  EXPECT_GE(avformat_find_stream_info(media, nullptr), 0);
  const AVCodec* decoder = nullptr;
  const int stream = av_find_best_stream(media, AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
  AVCodecContext* codec = avcodec_alloc_context3(decoder);
  avcodec_parameters_to_context(codec, media->streams[stream]->codecpar);
  EXPECT_EQ(avcodec_open2(codec, decoder, nullptr), 0);
  AVPacket* packet = av_packet_alloc();
  AVFrame* frame = av_frame_alloc();
  while (avcodec_receive_frame(codec, frame) == AVERROR(EAGAIN)) {
    if (av_read_frame(media, packet) < 0) {
      avcodec_send_packet(codec, nullptr);
    } else if (packet->stream_index == stream) {
      avcodec_send_packet(codec, packet);
    }
    av_packet_unref(packet);
  }
  EXPECT_EQ(frame->format, AV_PIX_FMT_YUV420P);
  VideoPicture picture(Video::kLayoutI420, frame->width, frame->height);
  for (int channel = 0; channel < 3; ++channel) {
    for (int y = 0; y < picture.Height(channel); ++y) {
      for (int x = 0; x < picture.Width(channel); ++x) {
        picture.at(channel, x, y) = frame->data[channel][y * frame->linesize[channel] + x];
      }
    }
  }
  av_frame_free(&frame);
  av_packet_free(&packet);
  avcodec_free_context(&codec);
  avformat_close_input(&media);
  return picture;
}

// Red and blue squares of several sizes on grey: chroma jumps, and luma does not.
VideoPicture ChromaEdges(Video::Layout layout) {
  VideoPicture picture(layout, 128, 96);
  const int unit = picture.most() == 1023 ? 4 : 1;
  for (int y = 0; y < 96; ++y) {
    for (int x = 0; x < 128; ++x) {
      picture.at(0, x, y) = 126 * unit;
      const int size = 1 + x / 32;
      const bool odd = (x / size + y / size) % 2 != 0;
      picture.at(1, x / 2, y / 2) = (odd ? 90 : 200) * unit;
      picture.at(2, x / 2, y / 2) = (odd ? 180 : 100) * unit;
    }
  }
  return picture;
}

TEST_F(VideoTest, PicturesAreNextToSwscales) {
  const auto compare = [this](const char* name, VideoPicture video, const Colors& colors) {
    const Picture shown = Shown(video, colors);
    const auto distance = [&](const char* from, const Picture& other) {
      const Distance found = Between(shown, other);
      std::cout << name << ", " << NameOf(video.layout, colors) << ", from " << from << ": largest difference "
                << found.most << ", mean " << found.mean << "\n";
      return found;
    };
    distance("libswscale in one step", Swscale(video, colors));
    EXPECT_LE(distance("libswscale in two", Swscale(video, colors, 2)).most, 4);
    EXPECT_LE(distance("the definition", Reference(video, colors)).most, 3);
  };
  for (const Video::ChromaSite site : kSites) {
    compare("clip", ClipPicture(), {Video::kMatrixBT601, Video::kRangeLimited, site});
    for (const Video::Layout layout : kLayouts) {
      compare("chroma edges", ChromaEdges(layout), {Video::kMatrixBT709, Video::kRangeLimited, site});
    }
  }
}

// A picture that turns, mirrors and shifts would change.
VideoPicture SomePicture(Video::Layout layout = Video::kLayoutP010) { return VideoPicture(layout, 22, 13).Fill(7); }

class VideoTextureTest : public VideoTest {
 protected:
  static constexpr Colors kColors{Video::kMatrixBT709, Video::kRangeLimited, Video::kChromaLeft};

  Video Texture(const VideoPicture& picture) {
    return Video(static_cast<unsigned int>(picture.width), static_cast<unsigned int>(picture.height), picture.layout,
                 &device);
  }
};

TEST_F(VideoTextureTest, IsBlackBeforeTheFirstPicture) {
  Video texture(5, 3, Video::kLayoutI420, &device);
  EXPECT_EQ(texture.width(), 5u);
  EXPECT_EQ(texture.height(), 3u);
  Picture black(5, 3, 4);
  for (std::size_t i = 3; i < black.pixels.size(); i += 4) black.pixels[i] = 255;
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), black, {0}));
}

// Strides that GL can count in texels, and others; the planes start at any address.
TEST_F(VideoTextureTest, StridesMayBeAnythingFromARowOn) {
  for (const Video::Layout layout : kLayouts) {
    VideoPicture video = SomePicture(layout);
    const Picture expected = Shown(video, kColors);
    for (const unsigned int padding : {1u, 2u, 3u, 64u}) {
      video.Pack(padding);
      EXPECT_TRUE(test::PicturesMatch(Shown(video, kColors), expected, {0})) << padding;
    }
  }
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(VideoTextureTest, OneRowMayLieFarFromTheNext) {
  VideoPicture video(Video::kLayoutI420, 4, 1);
  video.Fill(3);
  const Picture expected = Shown(video, kColors);
  for (unsigned int& stride : video.strides) stride = 0xFFFFFFFF;
  EXPECT_TRUE(test::PicturesMatch(Shown(video, kColors), expected, {0}));
}

// Farther than an int has bytes: of two rows of chroma, which only there are something to step over.
TEST_F(VideoTextureTest, RowsMayLieGigabytesApart) {
  constexpr std::size_t kStride = std::size_t{1} << 31;
  void* const memory =
      mmap(nullptr, kStride + 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(memory, MAP_FAILED);
  for (const Video::Layout layout : {Video::kLayoutNV12, Video::kLayoutP010}) {
    VideoPicture video(layout, 2, 4);
    video.Fill(5);
    const Picture expected = Shown(video, kColors);
    const std::size_t row = layout == Video::kLayoutP010 ? 4 : 2;
    auto* const far = static_cast<unsigned char*>(memory);
    std::memcpy(far, video.planes[1], row);
    std::memcpy(far + kStride, video.planes[1] + video.strides[1], row);
    video.planes[1] = far;
    video.strides[1] = static_cast<unsigned int>(kStride);
    EXPECT_TRUE(test::PicturesMatch(Shown(video, kColors), expected, {0}));
  }
  munmap(memory, kStride + 4096);
}

TEST_F(VideoTextureTest, ColorsHoldFromTheNextUpdateOn) {
  VideoPicture video = SomePicture();
  Video texture = Texture(video);
  EXPECT_TRUE(video.Update(&texture));
  const Picture before = Shown(&texture);
  EXPECT_TRUE(test::PicturesMatch(before, Reference(video, kColors), {1}));
  EXPECT_TRUE(texture.SetColor(Video::kMatrixBT601, Video::kRangeFull, Video::kChromaCenter));
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), before, {0}));
  EXPECT_TRUE(video.Update(&texture));
  EXPECT_TRUE(test::PicturesMatch(
      Shown(&texture), Reference(video, {Video::kMatrixBT601, Video::kRangeFull, Video::kChromaCenter}), {1}));
}

TEST_F(VideoTextureTest, ColorsThatAreNoneAreRefused) {
  VideoPicture video = SomePicture();
  Video texture = Texture(video);
  for (const int wrong : {-1, 3, 1000}) {
    EXPECT_FALSE(texture.SetColor(static_cast<Video::Matrix>(wrong), Video::kRangeFull, Video::kChromaCenter));
    EXPECT_FALSE(texture.SetColor(Video::kMatrixBT601, static_cast<Video::Range>(wrong), Video::kChromaCenter));
    EXPECT_FALSE(texture.SetColor(Video::kMatrixBT601, Video::kRangeFull, static_cast<Video::ChromaSite>(wrong)));
  }
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "[GsVideoTexture] no colours of matrix"), 9);
  EXPECT_TRUE(video.Update(&texture));
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), Reference(video, kColors), {1})) << "the colours stayed";
}

TEST_F(VideoTextureTest, PlanesThatAreNoneChangeNothingAndAreToldOnce) {
  for (const Video::Layout layout : kLayouts) {
    VideoPicture video = SomePicture(layout);
    Video texture = Texture(video);
    EXPECT_TRUE(video.Update(&texture));
    const Picture shown = Shown(&texture);
    const int count = layout == Video::kLayoutI420 ? 3 : 2;
    host::log::Clear();
    EXPECT_FALSE(texture.Update(nullptr, video.strides));
    EXPECT_FALSE(texture.Update(video.planes, nullptr));
    for (int i = 0; i < count; ++i) {
      const unsigned char* const plane = std::exchange(video.planes[i], nullptr);
      EXPECT_FALSE(video.planes[0] ? video.Update(&texture) : texture.Update(video.planes, video.strides));
      video.planes[i] = plane;
      --video.strides[i];
      EXPECT_FALSE(video.Update(&texture)) << "stride of plane " << i;
      ++video.strides[i];
    }
    EXPECT_EQ(host::log::Complaints(),
              "[GsVideoTexture] an update of 22 x 13 pixels changes nothing: there are no planes\n");
    EXPECT_TRUE(test::PicturesMatch(Shown(&texture), shown, {0}));

    EXPECT_TRUE(video.Update(&texture));
    host::log::Clear();
    --video.strides[1];
    EXPECT_FALSE(video.Update(&texture));
    EXPECT_FALSE(video.Update(&texture));
    EXPECT_EQ(host::log::Complaints(),
              "[GsVideoTexture] an update of 22 x 13 pixels changes nothing: a stride is less than a row\n");
  }
}

// The updates of its base are none of its own.
TEST_F(VideoTextureTest, TakesPixelsAndExternalImagesNoMore) {
  VideoPicture video = SomePicture();
  Video texture = Texture(video);
  EXPECT_TRUE(video.Update(&texture));
  const Picture shown = Shown(&texture);
  const std::vector<unsigned char> pixels(22 * 13 * 4, 99);
  QnExternalImage image(22, 13, QnExternalImage::kPixelFormatBGRA, 22 * 4, pixels.data());
  GsTexture& base = texture;
  host::log::Clear();
  base.Update(pixels.data(), 22 * 4, GsTexture::kTextureRGBA, 22, 13);
  base.Update(&image);
  EXPECT_EQ(host::log::CountContaining(kQnLogError, ""), 2) << host::log::Complaints();
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), shown, {0}));
}

TEST_F(VideoTextureTest, OfAnImpossibleSizeOrLayoutIsInert) {
  const auto expect_inert = [](Video texture) {
    EXPECT_EQ(texture.impl(), nullptr);
    EXPECT_EQ(texture.width(), 0u);
    EXPECT_EQ(texture.height(), 0u);
    EXPECT_FALSE(texture.SetColor(Video::kMatrixBT601, Video::kRangeFull, Video::kChromaLeft));
    const unsigned char byte[4] = {};
    const unsigned char* const planes[3] = {byte, byte, byte};
    const unsigned int strides[3] = {4, 4, 4};
    EXPECT_FALSE(texture.Update(planes, strides));
    const GsTextureBinder binder(&texture);
  };
  const auto told = [](const char* text) {
    const int count = host::log::Count(kQnLogError, text);
    host::log::Clear();
    return count == 1;
  };
  host::log::Clear();
  expect_inert(Video(0, 4, Video::kLayoutI420, &device));
  EXPECT_TRUE(told("[GsVideoTexture] no picture of 0 x 4 pixels"));
  expect_inert(Video(4, 0, Video::kLayoutNV12, &device));
  EXPECT_TRUE(told("[GsVideoTexture] no picture of 4 x 0 pixels"));
  for (const int layout : {-1, 3}) {
    expect_inert(Video(4, 4, static_cast<Video::Layout>(layout), &device));
    EXPECT_EQ(host::log::CountContaining(kQnLogError, "[GsVideoTexture] no layout"), 1);
    host::log::Clear();
  }
  expect_inert(Video(0xFFFFFFFF, 1, Video::kLayoutP010, &device));
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "A video texture of 4294967295x1 cannot be made: a side is longer"),
            1);
  expect_inert(Video(0xFFFFFFFF, 0xFFFFFFFF, Video::kLayoutP010, &device));
}

TEST(VideoTextureWithoutADeviceTest, IsInert) {
  Video texture(4, 4, Video::kLayoutI420);
  EXPECT_EQ(texture.impl(), nullptr);
  EXPECT_EQ(texture.width(), 0u);
  VideoPicture video(Video::kLayoutI420, 4, 4);
  EXPECT_FALSE(video.Update(&texture));
  EXPECT_FALSE(texture.SetColor(Video::kMatrixBT601, Video::kRangeFull, Video::kChromaLeft));
}

TEST(VideoTextureWithoutADeviceTest, MayOutliveItsDevice) {
  const test::WrongOnPurpose wrong;  // What GL has of it goes with the context.
  VideoPicture video = SomePicture();
  auto device = std::make_unique<GsDevice>();
  ASSERT_TRUE(device->Init());
  Video texture(22, 13, video.layout, device.get());
  EXPECT_TRUE(video.Update(&texture));
  host::log::Clear();
  device.reset();
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "1 texture"), 1) << host::log::Complaints();
  EXPECT_FALSE(video.Update(&texture));
  EXPECT_EQ(texture.width(), 22u);
}

// Where a host may update: in each callback, with a picture that is drawn in the same frame.
TEST_F(VideoTextureTest, UpdatesInATickAndInADraw) {
  VideoPicture video = SomePicture();
  const Picture expected = Shown(video, kColors);
  for (const bool in_draw : {false, true}) {
    Video texture = Texture(video);
    const auto update = [&] { EXPECT_TRUE(video.Update(&texture)); };
    EXPECT_TRUE(
        test::PicturesMatch(in_draw ? Shown(&texture, update) : Shown(&texture, nullptr, update), expected, {0}))
        << in_draw;
  }
}

TEST_F(VideoTextureTest, IsMadeInADraw) {
  VideoPicture video = SomePicture();
  const Picture expected = Shown(video, kColors);
  std::unique_ptr<Video> made;
  Video stays = Texture(video);
  EXPECT_TRUE(video.Update(&stays));
  const Picture shown = Shown(&stays, [&] { made.reset(new Video(Texture(video))); });
  EXPECT_TRUE(test::PicturesMatch(shown, expected, {0}));
  EXPECT_TRUE(video.Update(made.get()));
  EXPECT_TRUE(test::PicturesMatch(Shown(made.get()), expected, {0}));
}

// Everything that drawing depends on.
std::vector<double> GlState() {
  std::vector<double> state;
  for (const GLenum name :
       {GL_DRAW_FRAMEBUFFER_BINDING, GL_READ_FRAMEBUFFER_BINDING, GL_CURRENT_PROGRAM, GL_VERTEX_ARRAY_BINDING,
        GL_ACTIVE_TEXTURE, GL_ARRAY_BUFFER_BINDING, GL_UNIFORM_BUFFER_BINDING, GL_PIXEL_UNPACK_BUFFER_BINDING,
        GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS, GL_BLEND_SRC_RGB,
        GL_BLEND_DST_RGB, GL_BLEND_SRC_ALPHA, GL_BLEND_DST_ALPHA}) {
    GLint value = 0;
    glGetIntegerv(name, &value);
    state.push_back(value);
  }
  GLint active = 0;
  glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
  for (GLenum unit = GL_TEXTURE0; unit < GL_TEXTURE0 + 4; ++unit) {
    glActiveTexture(unit);
    for (const GLenum name : {GL_TEXTURE_BINDING_2D, GL_TEXTURE_BINDING_RECTANGLE, GL_SAMPLER_BINDING}) {
      GLint value = 0;
      glGetIntegerv(name, &value);
      state.push_back(value);
    }
  }
  glActiveTexture(static_cast<GLenum>(active));
  for (const GLenum name : {GL_BLEND, GL_SCISSOR_TEST, GL_CULL_FACE, GL_COLOR_LOGIC_OP, GL_RASTERIZER_DISCARD,
                            GL_DEPTH_TEST, GL_STENCIL_TEST}) {
    state.push_back(glIsEnabled(name));
  }
  GLfloat floats[4] = {};
  for (const GLenum name : {GL_VIEWPORT, GL_SCISSOR_BOX, GL_COLOR_CLEAR_VALUE, GL_COLOR_WRITEMASK}) {
    glGetFloatv(name, floats);
    state.insert(state.end(), floats, floats + 4);
  }
  GLint filled[2] = {};
  glGetIntegerv(GL_POLYGON_MODE, filled);
  state.push_back(filled[0]);
  return state;
}

// In the middle of a host's own drawing, with everything set that could stand between a pass and its target.
TEST_F(VideoTextureTest, UpdateInADrawLeavesGlAsItFoundIt) {
  VideoPicture video = SomePicture();
  const Picture expected = Shown(video, kColors);
  Video texture = Texture(video), other = Texture(video);
  std::unique_ptr<Video> made;
  std::vector<double> before, after;
  Shown(&texture, [&] {
    GLuint names[3] = {};
    glGenTextures(3, names);
    GLuint vertices = 0, sampler = 0, unpack = 0;
    glGenVertexArrays(1, &vertices);
    glGenBuffers(1, &unpack);
    glGenSamplers(1, &sampler);
    glBindVertexArray(vertices);
    for (GLuint i = 0; i < 3; ++i) {
      glActiveTexture(GL_TEXTURE0 + i);
      glBindTexture(GL_TEXTURE_2D, names[i]);
      glBindSampler(i, sampler);
    }
    glActiveTexture(GL_TEXTURE2);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, unpack);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 5);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 1);
    const GLenum switches[] = {GL_SCISSOR_TEST,       GL_CULL_FACE,  GL_COLOR_LOGIC_OP,
                               GL_RASTERIZER_DISCARD, GL_DEPTH_TEST, GL_STENCIL_TEST};
    for (const GLenum name : switches) glEnable(name);
    glCullFace(GL_FRONT_AND_BACK);
    glLogicOp(GL_CLEAR);
    glScissor(3, 3, 1, 1);
    glViewport(1, 2, 3, 4);
    glColorMask(GL_FALSE, GL_TRUE, GL_FALSE, GL_FALSE);
    glPolygonMode(GL_FRONT_AND_BACK, GL_LINE);
    glClearColor(0.25f, 0.5f, 0.75f, 0.125f);

    before = GlState();
    EXPECT_TRUE(video.Update(&texture));
    after = GlState();
    made.reset(new Video(Texture(video)));
    EXPECT_EQ(GlState(), before) << "after a texture was made";
    EXPECT_TRUE(video.Update(made.get()));

    for (const GLenum name : switches) glDisable(name);
    glCullFace(GL_BACK);
    glLogicOp(GL_COPY);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glBindVertexArray(0);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    glPixelStorei(GL_UNPACK_SKIP_ROWS, 0);
    glBindBuffer(GL_PIXEL_UNPACK_BUFFER, 0);
    for (GLuint i = 0; i < 3; ++i) {
      glActiveTexture(GL_TEXTURE0 + i);
      glBindTexture(GL_TEXTURE_2D, 0);
      glBindSampler(i, 0);
    }
    glDeleteTextures(3, names);
    glDeleteVertexArrays(1, &vertices);
    glDeleteBuffers(1, &unpack);
    glDeleteSamplers(1, &sampler);
    EXPECT_EQ(glGetError(), GLenum{GL_NO_ERROR});
  });
  EXPECT_FALSE(before.empty());
  EXPECT_EQ(after, before);
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), expected, {0}));
  EXPECT_TRUE(test::PicturesMatch(Shown(made.get()), expected, {0}));
  EXPECT_EQ(host::log::Complaints(), "");
}

// Between a binder and the rectangle that it is for: the rectangle shows the new picture, and the scene goes on in its
// own target with its own program.
TEST_F(VideoTextureTest, UpdateBetweenBindingAndDrawingShowsAtOnce) {
  VideoPicture video = SomePicture();
  const Picture expected = Shown(video, kColors);
  Video texture = Texture(video);
  const Picture shown = Shown(&texture, [&] {
    GsContext context(&device);
    context.SetViewport(0, 0, 22, 13);
    ASSERT_TRUE(context.BindShader("rgba"));
    const GsTextureBinder binder(&texture);
    EXPECT_TRUE(video.Update(&texture));
    context.DrawRect(gs_transform(gs_vec2(0, 0), gs_vec2(22, 13), 0), gs_vec2(22, 13));
    context.UnbindShader();
  });
  EXPECT_TRUE(test::PicturesMatch(shown, expected, {0}));
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(VideoTextureTest, UpdatesInOnFrame) {
  VideoPicture video = SomePicture();
  const Picture expected = Shown(video, kColors);
  Video texture = Texture(video);
  const auto scene = MakeScene(8, 8, &device);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  receiver.on_frame = [&](int) { EXPECT_TRUE(video.Update(&texture)); };
  EXPECT_TRUE(receiver.Start());
  Frame(1);
  receiver.WaitFor(1);
  receiver.Stop();
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), expected, {0}));
}

// A host's thread, with a GL context of its own current.
TEST_F(VideoTextureTest, UpdateLeavesAHostsContextCurrent) {
  VideoPicture video = SomePicture();
  const Picture expected = Shown(video, kColors);
  Video texture = Texture(video);
  std::thread([&] {
    EXPECT_TRUE(eglBindAPI(EGL_OPENGL_API));
    const EGLDisplay display = eglGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    ASSERT_TRUE(eglInitialize(display, nullptr, nullptr));
    const EGLint version[] = {EGL_CONTEXT_MAJOR_VERSION, 3, EGL_CONTEXT_MINOR_VERSION, 2, EGL_NONE};
    const EGLContext mine = eglCreateContext(display, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, version);
    ASSERT_NE(mine, EGL_NO_CONTEXT);
    ASSERT_TRUE(eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, mine));
    const std::vector<double> before = GlState();
    EXPECT_TRUE(video.Update(&texture));
    EXPECT_EQ(eglGetCurrentContext(), mine);
    EXPECT_EQ(GlState(), before);
    eglMakeCurrent(display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    eglDestroyContext(display, mine);
    eglReleaseThread();
  }).join();
  EXPECT_TRUE(test::PicturesMatch(Shown(&texture), expected, {0}));
}

// Frames draw with it while threads replace it: each frame has one picture or the other, whole.
TEST_F(VideoTextureTest, UpdatesWhileFramesDraw) {
  VideoPicture one = SomePicture(), other = VideoPicture(one.layout, 22, 13).Fill(8);
  const Picture pictures[] = {Shown(one, kColors), Shown(other, kColors)};
  Video texture = Texture(one);
  EXPECT_TRUE(one.Update(&texture));
  std::atomic<bool> stop{false};
  const auto update = [&](VideoPicture* picture) {
    while (!stop) {
      EXPECT_TRUE(picture->Update(&texture));
      EXPECT_TRUE(texture.SetColor(kColors.matrix, kColors.range, kColors.site));
    }
  };
  std::thread first(update, &one), second(update, &other);
  for (int i = 0; i < 20; ++i) {
    const Picture shown = Shown(&texture);
    EXPECT_TRUE(shown.pixels == pictures[0].pixels || shown.pixels == pictures[1].pixels);
  }
  stop = true;
  first.join();
  second.join();
}

}  // namespace
