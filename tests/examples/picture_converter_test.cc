// Colours of decoded frames against the formulas of their standards, and where their chroma lies.
#include "studio/picture_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

namespace studio {
namespace {

// A frame of one layout whose samples are set one by one, in levels of 8 bits.
class TestFrame {
 public:
  TestFrame(AVPixelFormat format, int width, int height) : frame_(av_frame_alloc()) {
    frame_->format = format;
    frame_->width = width;
    frame_->height = height;
    EXPECT_EQ(av_frame_get_buffer(frame_.get(), 0), 0);
    layout_ = av_pix_fmt_desc_get(format);
  }

  AVFrame& operator*() const { return *frame_; }
  AVFrame* operator->() const { return frame_.get(); }

  int Width(int plane) const { return plane == 0 ? frame_->width : -((-frame_->width) >> layout_->log2_chroma_w); }
  int Height(int plane) const { return plane == 0 ? frame_->height : -((-frame_->height) >> layout_->log2_chroma_h); }
  int max() const { return (1 << layout_->comp[0].depth) - 1; }

  void Set(int plane, int x, int y, int value) {
    std::uint8_t* const row = frame_->data[plane] + static_cast<std::ptrdiff_t>(y) * frame_->linesize[plane];
    if (layout_->comp[0].depth > 8) {
      reinterpret_cast<std::uint16_t*>(row)[x] = static_cast<std::uint16_t>(value);
    } else {
      row[x] = static_cast<std::uint8_t>(value);
    }
  }
  void Fill(int plane, int value) {
    for (int y = 0; y < Height(plane); ++y) {
      for (int x = 0; x < Width(plane); ++x) Set(plane, x, y, value);
    }
  }

 private:
  AvFrame frame_;
  const AVPixFmtDescriptor* layout_;
};

Picture ToPixels(const AVFrame& frame) {
  Picture picture;
  PictureConverter converter(PictureShape(frame, Orientation(), Size{frame.width, frame.height}));
  EXPECT_TRUE(converter.Convert(frame, PictureForm::kPixels, &picture));
  return picture;
}

const std::uint8_t* At(const Picture& picture, int x, int y) {
  return picture.pixels.data() + static_cast<std::ptrdiff_t>(y) * picture.stride + x * 4;
}

struct Standard {
  AVColorSpace space;
  double kr, kb;
};

constexpr Standard kStandards[] = {
    {AVCOL_SPC_SMPTE170M, 0.299, 0.114}, {AVCOL_SPC_BT709, 0.2126, 0.0722}, {AVCOL_SPC_BT2020_NCL, 0.2627, 0.0593}};

// Red, green and blue of 0 to 255, not rounded.
std::array<double, 3> Exact(const Standard& standard, bool full, int bits, int luma, int u, int v) {
  const double one = 1 << (bits - 8), top = (1 << bits) - 1;
  const double y = full ? luma / top : (luma - 16 * one) / (219 * one);
  const double cb = (u - 128 * one) / (full ? top : 224 * one), cr = (v - 128 * one) / (full ? top : 224 * one);
  const double r = y + 2 * (1 - standard.kr) * cr, b = y + 2 * (1 - standard.kb) * cb;
  const double g = (y - standard.kr * r - standard.kb * b) / (1 - standard.kr - standard.kb);
  const auto level = [](double value) { return 255 * std::clamp(value, 0.0, 1.0); };
  return {level(r), level(g), level(b)};
}

TEST(PictureConverterTest, RampsAreWithinALevelOfTheirStandard) {
  const AVPixelFormat kFormats[] = {AV_PIX_FMT_YUV420P,   AV_PIX_FMT_YUV422P,   AV_PIX_FMT_YUV444P,
                                    AV_PIX_FMT_YUV420P10, AV_PIX_FMT_YUV422P10, AV_PIX_FMT_YUV444P10};
  for (const AVPixelFormat format : kFormats) {
    const int bits = av_pix_fmt_desc_get(format)->comp[0].depth;
    for (const Standard& standard : kStandards) {
      for (const bool full : {false, true}) {
        SCOPED_TRACE(std::string(av_get_pix_fmt_name(format)) + " " + av_color_space_name(standard.space) +
                     (full ? " full" : " limited"));
        double worst = 0, sum = 0;
        int count = 0;
        for (const auto& [u8, v8] : {std::pair<int, int>{128, 128}, {90, 170}, {160, 100}, {200, 120}}) {
          TestFrame frame(format, 256, 4);
          frame->colorspace = standard.space;
          frame->color_range = full ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
          const int shift = bits - 8, u = u8 << shift, v = v8 << shift;
          const auto luma = [&](int x) { return std::min(frame.max(), (x << shift) + (shift ? x & 3 : 0)); };
          for (int y = 0; y < 4; ++y) {
            for (int x = 0; x < 256; ++x) frame.Set(0, x, y, luma(x));
          }
          frame.Fill(1, u);
          frame.Fill(2, v);
          const Picture picture = ToPixels(*frame);
          for (int x = 0; x < 256; ++x) {
            const std::array<double, 3> exact = Exact(standard, full, bits, luma(x), u, v);
            for (int c = 0; c < 3; ++c) {
              worst = std::max(worst, std::abs(At(picture, x, 1)[c] - exact[c]));
              sum += At(picture, x, 1)[c] - exact[c];
              ++count;
            }
          }
        }
        EXPECT_LE(worst, 1.0);
        EXPECT_NEAR(sum / count, 0, 0.3);
      }
    }
  }
}

// A ramp of chroma is read at the place of each pixel.
TEST(PictureConverterTest, ChromaIsTakenFromWhereItLies) {
  struct Case {
    AVChromaLocation location;
    AVColorRange range;
    double along, down;  // Where the first sample lies, in pixels from the first pixel.
  };
  const Case kCases[] = {{AVCHROMA_LOC_LEFT, AVCOL_RANGE_MPEG, 0, 0.5},
                         {AVCHROMA_LOC_CENTER, AVCOL_RANGE_MPEG, 0.5, 0.5},
                         {AVCHROMA_LOC_TOPLEFT, AVCOL_RANGE_MPEG, 0, 0},
                         {AVCHROMA_LOC_UNSPECIFIED, AVCOL_RANGE_MPEG, 0, 0.5},
                         {AVCHROMA_LOC_UNSPECIFIED, AVCOL_RANGE_JPEG, 0.5, 0.5}};
  for (const Case& expected : kCases) {
    for (const bool down : {false, true}) {
      SCOPED_TRACE(std::to_string(expected.location) + (down ? " down" : " along"));
      TestFrame frame(AV_PIX_FMT_YUV420P, 64, 64);
      frame->colorspace = AVCOL_SPC_BT709;
      frame->color_range = expected.range;
      frame->chroma_location = expected.location;
      frame.Fill(0, 128);
      frame.Fill(1, 128);
      for (int y = 0; y < 32; ++y) {
        for (int x = 0; x < 32; ++x) frame.Set(2, x, y, 96 + 2 * (down ? y : x));
      }
      const Picture picture = ToPixels(*frame);
      const bool full = expected.range == AVCOL_RANGE_JPEG;
      double sum = 0;
      for (int i = 8; i < 56; ++i) {
        const double v = 96 + (i - (down ? expected.down : expected.along));
        const double y = full ? 128 / 255.0 : 112 / 219.0;
        const double exact = 255 * (y + 1.5748 * (v - 128) / (full ? 255 : 224));
        sum += *At(picture, down ? 32 : i, down ? i : 32) - exact;
      }
      // Half a pixel is 0.9 of a level. Between rows libswscale knows no other distance.
      EXPECT_NEAR(sum / 48, 0, down ? 0.95 : 0.3);
    }
  }
}

TEST(PictureConverterTest, TransparencyIsKept) {
  TestFrame frame(AV_PIX_FMT_YUVA420P, 16, 16);
  frame.Fill(0, 235);
  frame.Fill(1, 128);
  frame.Fill(2, 128);
  for (int y = 0; y < 16; ++y)
    std::fill_n(frame->data[3] + static_cast<std::ptrdiff_t>(y) * frame->linesize[3], 16, 77);
  const Picture picture = ToPixels(*frame);
  EXPECT_FALSE(picture.opaque);
  EXPECT_EQ(At(picture, 5, 5)[3], 77);
  EXPECT_EQ(At(picture, 5, 5)[0], 77);  // White, premultiplied.
}

TEST(PictureConverterTest, PlanesKeepTheirChroma) {
  TestFrame frame(AV_PIX_FMT_YUV420P10, 64, 8);
  frame->color_range = AVCOL_RANGE_MPEG;
  frame.Fill(0, 400);
  frame.Fill(2, 512);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 32; ++x) frame.Set(1, x, y, 300 + 8 * x);
  }
  Picture picture;
  PictureConverter converter(PictureShape(*frame, Orientation(), Size{64, 8}));
  ASSERT_TRUE(converter.Convert(*frame, PictureForm::kPlanes, &picture));
  ASSERT_TRUE(picture.planes);
  EXPECT_TRUE(picture.pixels.empty());
  for (int x = 0; x < 32; ++x) {
    EXPECT_EQ(reinterpret_cast<const std::uint16_t*>(picture.planes->data[1])[2 * x] >> 6, 300 + 8 * x);
  }
}

TEST(PictureConverterTest, AllOrientationsAreUpright) {
  // Its red tells where each pixel was.
  TestFrame frame(AV_PIX_FMT_RGBA, 3, 2);
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 3; ++x) {
      std::uint8_t* const pixel = frame->data[0] + y * frame->linesize[0] + x * 4;
      pixel[0] = static_cast<std::uint8_t>(10 * x + y);
      pixel[3] = 255;
    }
  }
  for (const bool transposed : {false, true}) {
    for (const bool mirrored : {false, true}) {
      for (const bool flipped : {false, true}) {
        Picture picture;
        PictureConverter converter(PictureShape(*frame, Orientation{transposed, mirrored, flipped}, Size{100, 100}));
        ASSERT_TRUE(converter.Convert(*frame, PictureForm::kBoth, &picture));
        EXPECT_EQ(picture.size.width, transposed ? 2 : 3);
        EXPECT_EQ(picture.size.height, transposed ? 3 : 2);
        for (int y = 0; y < 2; ++y) {
          for (int x = 0; x < 3; ++x) {
            int to_x = transposed ? y : x, to_y = transposed ? x : y;
            if (mirrored) to_x = picture.size.width - 1 - to_x;
            if (flipped) to_y = picture.size.height - 1 - to_y;
            EXPECT_EQ(*At(picture, to_x, to_y), 10 * x + y);
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace studio
