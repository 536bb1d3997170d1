// Frames: how the layouts cut their block, what is copied, who owns the pixels.
#include "graphics/output/graphics_frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <quarn/gs_frame.h>
#include <quarn/gs_texture.h>

#include "graphics/graphics_output.h"
#include "tests/support/log_capture.h"

namespace {

// What the frames ask of the allocator.
std::vector<std::size_t> asked;
bool refuse = false;

}  // namespace

// Frames allocate through this form; nothing else in the test does while it looks at `asked`.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  asked.push_back(size);
  if (refuse) return nullptr;
  try {
    return ::operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

// Planes by their distance from the block's start; -1 for none.
std::array<std::ptrdiff_t, 4> Planes(const GraphicsFrame& frame) {
  std::array<std::ptrdiff_t, 4> planes;
  for (int i = 0; i < 4; ++i) planes[i] = frame.data[i] ? frame.data[i] - frame.data[0] : -1;
  return planes;
}

void ExpectEmpty(const GraphicsFrame& frame) {
  EXPECT_THAT(frame.data, Each(nullptr));
  EXPECT_THAT(frame.linesize, Each(0u));
  EXPECT_EQ(frame.format, kFormatUnknown);
  EXPECT_EQ(frame.width, 0u);
  EXPECT_EQ(frame.height, 0u);
}

class GraphicsFrameTest : public testing::Test {
 protected:
  GraphicsFrameTest() { asked.clear(); }
  ~GraphicsFrameTest() override { refuse = false; }

  LogCapture log_;
};

TEST_F(GraphicsFrameTest, IsEmptyByDefault) {
  const GraphicsFrame frame;
  ExpectEmpty(frame);
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GraphicsFrameTest, LaysOutEveryFormat) {
  struct Layout {
    GraphicsFormatInternal format;
    std::size_t bytes;
    std::array<std::ptrdiff_t, 4> planes;
    std::array<std::uint32_t, 4> linesize;
  };
  // 64 x 32 pixels: every count is a multiple of 64 already.
  const Layout layouts[] = {
      {kFormatRGBA, 8192, {0, -1, -1, -1}, {256, 0, 0, 0}},
      {kFormatBGRA, 8192, {0, -1, -1, -1}, {256, 0, 0, 0}},
      {kFormatR8, 2048, {0, -1, -1, -1}, {64, 0, 0, 0}},
      {kFormatRG8, 4096, {0, -1, -1, -1}, {128, 0, 0, 0}},
      {kFormatRGBA16, 16384, {0, -1, -1, -1}, {512, 0, 0, 0}},
      {kFormatI420, 3072, {0, 2048, 2560, -1}, {64, 32, 32, 0}},
      {kFormatNV12, 3072, {0, 2048, -1, -1}, {64, 64, 0, 0}},
      {kFormatNV21, 3072, {0, 2048, -1, -1}, {64, 64, 0, 0}},
  };
  for (const Layout& layout : layouts) {
    SCOPED_TRACE(layout.format);
    asked.clear();
    const GraphicsFrame frame(layout.format, 64, 32);
    EXPECT_THAT(asked, ElementsAre(layout.bytes));
    EXPECT_EQ(Planes(frame), layout.planes);
    EXPECT_THAT(frame.linesize, testing::ElementsAreArray(layout.linesize));
    EXPECT_EQ(frame.format, layout.format);
    EXPECT_EQ(frame.width, 64u);
    EXPECT_EQ(frame.height, 32u);
  }
}

TEST_F(GraphicsFrameTest, CutsI420IntoThreePlanes) {
  const GraphicsFrame frame(kFormatI420, 640, 480);
  EXPECT_THAT(asked, ElementsAre(460800u));
  EXPECT_THAT(Planes(frame), ElementsAre(0, 307200, 307200 + 76800, -1));
  EXPECT_THAT(frame.linesize, ElementsAre(640u, 320u, 320u, 0u));
}

TEST_F(GraphicsFrameTest, CutsNV12IntoTwoPlanes) {
  const GraphicsFrame frame(kFormatNV12, 1920, 1080);
  EXPECT_THAT(Planes(frame), ElementsAre(0, 2073600, -1, -1));
  EXPECT_THAT(frame.linesize, ElementsAre(1920u, 1920u, 0u, 0u));
}

TEST_F(GraphicsFrameTest, RoundsTheBlockUpTo64Bytes) {
  {
    const GraphicsFrame frame(kFormatR8, 3, 3);
    EXPECT_THAT(frame.linesize, ElementsAre(3u, 0u, 0u, 0u));
  }
  { const GraphicsFrame exact(kFormatR8, 64, 1); }
  { const GraphicsFrame over(kFormatR8, 65, 1); }
  EXPECT_THAT(asked, ElementsAre(64u, 64u, 128u));
}

TEST_F(GraphicsFrameTest, TruncatesTheChromaOfOddSizes) {
  const GraphicsFrame frame(kFormatI420, 641, 3);
  EXPECT_THAT(frame.linesize, ElementsAre(641u, 320u, 320u, 0u));
  EXPECT_THAT(Planes(frame), ElementsAre(0, 1923, 1923 + 480, -1));
  EXPECT_THAT(asked, ElementsAre(2944u));  // 1923 * 3 / 2 = 2884.

  asked.clear();
  const GraphicsFrame pairs(kFormatNV12, 641, 3);
  EXPECT_THAT(pairs.linesize, ElementsAre(641u, 641u, 0u, 0u));
  EXPECT_THAT(Planes(pairs), ElementsAre(0, 1923, -1, -1));
  EXPECT_THAT(asked, ElementsAre(2944u));

  asked.clear();
  const GraphicsFrame pixel(kFormatI420, 1, 1);
  EXPECT_THAT(asked, ElementsAre(64u));
  EXPECT_THAT(pixel.linesize, ElementsAre(1u, 0u, 0u, 0u));
}

TEST_F(GraphicsFrameTest, IsEmptyForUnknownFormats) {
  for (const unsigned int format : {0u, 9u, 0xFFFFFFFFu}) {
    const GraphicsFrame frame(static_cast<GraphicsFormatInternal>(format), 10, 10);
    ExpectEmpty(frame);
  }
  EXPECT_THAT(asked, IsEmpty());
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(GraphicsFrameTest, IsEmptyWithoutBytes) {
  for (unsigned int format = kFormatRGBA; format <= kFormatNV21; ++format) {
    ExpectEmpty(GraphicsFrame(static_cast<GraphicsFormatInternal>(format), 0, 10));
    ExpectEmpty(GraphicsFrame(static_cast<GraphicsFormatInternal>(format), 10, 0));
    ExpectEmpty(GraphicsFrame(static_cast<GraphicsFormatInternal>(format), 0, 0));
  }
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GraphicsFrameTest, IsEmptyWhenItsBytesDoNotFit32Bits) {
  ExpectEmpty(GraphicsFrame(kFormatRGBA, 32768, 32768));                // Wraps to 0.
  ExpectEmpty(GraphicsFrame(kFormatRGBA, 32768, 32769));                // Wraps to a short block.
  ExpectEmpty(GraphicsFrame(kFormatR8, 0xFFFFFFFFu, 1));                // Rounding wraps.
  ExpectEmpty(GraphicsFrame(kFormatRGBA, 0x40000001u, 1));              // The pitch wraps.
  ExpectEmpty(GraphicsFrame(kFormatRGBA16, 0xFFFFFFFFu, 0xFFFFFFFFu));  // Wraps in 64 bits too.
  ExpectEmpty(GraphicsFrame(kFormatRGBA16, 0x7FFF56ABu, 0x400054ABu));  // Wraps in 64 bits to a short block.
  ExpectEmpty(GraphicsFrame(kFormatI420, 65536, 43691));
  EXPECT_THAT(asked, IsEmpty());
}

TEST_F(GraphicsFrameTest, AsksForAllOfTheLargestSizes) {
  refuse = true;
  ExpectEmpty(GraphicsFrame(kFormatNV12, 65536, 43690));
  ExpectEmpty(GraphicsFrame(kFormatR8, 65535, 65535));
  EXPECT_THAT(asked, ElementsAre(4294901760u, 4294836288u));
}

TEST_F(GraphicsFrameTest, IsEmptyWhenTheAllocationFails) {
  refuse = true;
  const unsigned char pixels[16] = {};
  const unsigned char* planes[4] = {pixels, nullptr, nullptr, nullptr};
  unsigned int linesize[4] = {8, 0, 0, 0};
  const GraphicsFrame blank(kFormatRGBA, 2, 2);
  const GraphicsFrame copied(planes, linesize, kFormatRGBA, 2, 2);
  ExpectEmpty(blank);
  ExpectEmpty(copied);
  EXPECT_THAT(asked, ElementsAre(64u, 64u));
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

// Source pixels with a wider pitch than the frame's.
struct Source {
  static constexpr unsigned int kWidth = 3;
  static constexpr unsigned int kHeight = 4;
  static constexpr unsigned int kPitch = 40;

  Source() {
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i + 1);
  }

  std::vector<unsigned char> bytes = std::vector<unsigned char>(kPitch * kHeight);
  const unsigned char* data[4] = {bytes.data(), nullptr, nullptr, nullptr};
  unsigned int linesize[4] = {kPitch, 0, 0, 0};
};

TEST_F(GraphicsFrameTest, HoldsTheRowsOfItsSourceUpsideDown) {
  Source source;
  for (const GraphicsFormatInternal format : {kFormatRGBA, kFormatR8, kFormatRG8, kFormatRGBA16}) {
    SCOPED_TRACE(format);
    const GraphicsFrame frame(source.data, source.linesize, format, Source::kWidth, Source::kHeight);
    ASSERT_NE(frame.data[0], nullptr);
    const std::size_t pitch = frame.linesize[0];
    for (unsigned int y = 0; y < Source::kHeight; ++y) {
      const unsigned char* const row = frame.data[0] + pitch * y;
      const unsigned char* const expected = source.data[0] + Source::kPitch * (Source::kHeight - 1 - y);
      EXPECT_EQ(std::vector<unsigned char>(row, row + pitch), std::vector<unsigned char>(expected, expected + pitch));
    }
  }
}

// BGRA is among these. Kept: C14.
TEST_F(GraphicsFrameTest, DoesNotCopyOtherFormats) {
  Source source;
  for (const GraphicsFormatInternal format : {kFormatBGRA, kFormatI420, kFormatNV12, kFormatNV21}) {
    SCOPED_TRACE(format);
    {
      const GraphicsFrame built(source.data, source.linesize, format, Source::kWidth, Source::kHeight);
      EXPECT_NE(built.data[0], nullptr);
      EXPECT_EQ(built.format, format);
    }
    GraphicsFrame frame(format, Source::kWidth, Source::kHeight);
    const std::size_t size = asked.back();
    std::fill_n(frame.data[0], size, 0xEE);
    frame.Copy(source.data, source.linesize, format, Source::kWidth, Source::kHeight);
    EXPECT_EQ(std::vector<unsigned char>(frame.data[0], frame.data[0] + size), std::vector<unsigned char>(size, 0xEE));
  }
}

TEST_F(GraphicsFrameTest, CopiesByTheArgumentsFormat) {
  Source source;
  GraphicsFrame frame(kFormatBGRA, 2, 1);
  std::fill_n(frame.data[0], 8, 0xEE);
  frame.Copy(source.data, source.linesize, kFormatRGBA, 2, 1);
  EXPECT_EQ(std::vector<unsigned char>(frame.data[0], frame.data[0] + 8),
            std::vector<unsigned char>(source.bytes.begin(), source.bytes.begin() + 8));
  GraphicsFrame other(kFormatRGBA, 2, 1);
  std::fill_n(other.data[0], 8, 0xEE);
  other.Copy(source.data, source.linesize, kFormatBGRA, 2, 1);
  EXPECT_EQ(std::vector<unsigned char>(other.data[0], other.data[0] + 8), std::vector<unsigned char>(8, 0xEE));
}

TEST_F(GraphicsFrameTest, CopiesItsOwnPitchWhateverTheWidth) {
  Source source;
  GraphicsFrame frame(kFormatR8, 4, 2);
  frame.Copy(source.data, source.linesize, kFormatR8, 1, 2);
  EXPECT_THAT(std::vector<unsigned char>(frame.data[0], frame.data[0] + 8), ElementsAre(41, 42, 43, 44, 1, 2, 3, 4));
}

TEST_F(GraphicsFrameTest, CopiesFewerRowsIntoItsTop) {
  Source source;
  GraphicsFrame frame(kFormatR8, 2, 3);
  std::fill_n(frame.data[0], 6, 0xEE);
  frame.Copy(source.data, source.linesize, kFormatR8, 2, 2);
  EXPECT_THAT(std::vector<unsigned char>(frame.data[0], frame.data[0] + 6), ElementsAre(41, 42, 1, 2, 0xEE, 0xEE));
}

TEST_F(GraphicsFrameTest, CopiesNothingThatItCannot) {
  Source source;
  GraphicsFrame frame(kFormatR8, 2, 2);
  std::fill_n(frame.data[0], 64, 0xEE);
  const unsigned char* no_planes[4] = {};
  frame.Copy(nullptr, source.linesize, kFormatR8, 2, 2);
  frame.Copy(no_planes, source.linesize, kFormatR8, 2, 2);
  frame.Copy(source.data, nullptr, kFormatR8, 2, 2);
  frame.Copy(source.data, source.linesize, kFormatR8, 2, 0);
  frame.Copy(source.data, source.linesize, kFormatR8, 2, 3);  // More rows than there are.
  EXPECT_EQ(std::vector<unsigned char>(frame.data[0], frame.data[0] + 64), std::vector<unsigned char>(64, 0xEE));

  GraphicsFrame empty;
  empty.Copy(source.data, source.linesize, kFormatRGBA, Source::kWidth, Source::kHeight);
  ExpectEmpty(empty);
  ExpectEmpty(GraphicsFrame(source.data, source.linesize, kFormatUnknown, 3, 4));
  const GraphicsFrame uninitialised(nullptr, nullptr, kFormatRGBA, 3, 4);
  EXPECT_NE(uninitialised.data[0], nullptr);
}

TEST_F(GraphicsFrameTest, MovesAndDoesNotCopy) {
  static_assert(!std::is_copy_constructible_v<GraphicsFrame> && !std::is_copy_assignable_v<GraphicsFrame>);
  static_assert(std::is_nothrow_move_constructible_v<GraphicsFrame> &&
                std::is_nothrow_move_assignable_v<GraphicsFrame>);
  GraphicsFrame source(kFormatI420, 4, 2);
  const std::vector<unsigned char*> planes(source.data, source.data + 4);
  GraphicsFrame target(std::move(source));
  EXPECT_THAT(target.data, testing::ElementsAreArray(planes));
  EXPECT_THAT(target.linesize, ElementsAre(4u, 2u, 2u, 0u));
  EXPECT_EQ(target.format, kFormatI420);
  EXPECT_EQ(target.width, 4u);
  EXPECT_EQ(target.height, 2u);
  ExpectEmpty(source);
}

TEST_F(GraphicsFrameTest, ExchangesOnMoveAssignment) {
  GraphicsFrame a(kFormatRGBA, 2, 2);
  GraphicsFrame b(kFormatI420, 8, 4);
  const std::vector<unsigned char*> planes_a(a.data, a.data + 4);
  const std::vector<unsigned char*> planes_b(b.data, b.data + 4);
  a = std::move(b);
  EXPECT_THAT(a.data, testing::ElementsAreArray(planes_b));
  EXPECT_THAT(a.linesize, ElementsAre(8u, 4u, 4u, 0u));
  EXPECT_EQ(a.format, kFormatI420);
  EXPECT_EQ(a.width, 8u);
  EXPECT_EQ(a.height, 4u);
  EXPECT_THAT(b.data, testing::ElementsAreArray(planes_a));
  EXPECT_THAT(b.linesize, ElementsAre(8u, 0u, 0u, 0u));
  EXPECT_EQ(b.format, kFormatRGBA);
  EXPECT_EQ(b.width, 2u);
  EXPECT_EQ(b.height, 2u);
}

TEST_F(GraphicsFrameTest, MovedIntoItselfChangesNothing) {
  GraphicsFrame frame(kFormatR8, 4, 4);
  unsigned char* const block = frame.data[0];
  GraphicsFrame& same = frame;
  frame = std::move(same);
  EXPECT_EQ(frame.data[0], block);
  EXPECT_EQ(frame.linesize[0], 4u);
  EXPECT_EQ(frame.format, kFormatR8);
  EXPECT_EQ(frame.width, 4u);
  EXPECT_EQ(frame.height, 4u);
}

TEST_F(GraphicsFrameTest, ClearLeavesNothingOfTheBlock) {
  for (const GraphicsFormatInternal format : {kFormatRGBA, kFormatI420, kFormatNV12}) {
    GraphicsFrame frame(format, 7, 5);
    const unsigned int pixels = 7 * 5;
    const unsigned int bytes = format == kFormatRGBA ? pixels * 4 : pixels * 3 / 2;
    std::memset(frame.data[0], 0xAB, bytes);
    frame.Clear();
    EXPECT_EQ(std::count(frame.data[0], frame.data[0] + bytes, 0), static_cast<std::ptrdiff_t>(bytes));
  }
  GraphicsFrame().Clear();
}

TEST_F(GraphicsFrameTest, HasItsFieldsInOrder) {
  EXPECT_EQ(offsetof(GraphicsFrame, data), 0u);
  EXPECT_EQ(offsetof(GraphicsFrame, linesize), 32u);
  EXPECT_EQ(offsetof(GraphicsFrame, format), 48u);
  EXPECT_EQ(offsetof(GraphicsFrame, width), 52u);
  EXPECT_EQ(offsetof(GraphicsFrame, height), 56u);
}

TEST(GsFrameTest, HasItsFieldsInOrder) {
  EXPECT_EQ(offsetof(GsFrame, width), 0u);
  EXPECT_EQ(offsetof(GsFrame, height), 4u);
  EXPECT_EQ(offsetof(GsFrame, data), 8u);
  EXPECT_EQ(offsetof(GsFrame, linesize), 40u);
  EXPECT_EQ(offsetof(GsFrame, format), 56u);
  EXPECT_EQ(offsetof(GsFrame, timestamp), 64u);
}

TEST(FormatTest, ValuesArePartOfTheInterface) {
  EXPECT_THAT((std::vector<int>{kFormatUnknown, kFormatRGBA, kFormatBGRA, kFormatR8, kFormatRG8, kFormatRGBA16,
                                kFormatI420, kFormatNV12, kFormatNV21}),
              ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_THAT(
      (std::vector<int>{GraphicsOutput::kOutputNone, GraphicsOutput::kOutputTexture, GraphicsOutput::kOutputRGBA,
                        GraphicsOutput::kOutputBGRA, GraphicsOutput::kOutputI420, GraphicsOutput::kOutputNV12}),
      ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_THAT(
      (std::vector<int>{kGsFormatNone, kGsFormatRGBA, kGsFormatBGRA, kGsFormatReserved, kGsFormatI420, kGsFormatNV12}),
      ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_THAT((std::vector<int>{GsTexture::kTextureRGBA, GsTexture::kTextureBGRA, GsTexture::kTextureR8,
                                GsTexture::kTextureRG8, GsTexture::kTextureRGBA16}),
              ElementsAre(0, 1, 2, 3, 4));
  static_assert(sizeof(GraphicsFormatInternal) == 4 && sizeof(GraphicsOutput::OutputFormat) == 4 &&
                sizeof(GsFormat) == 4);
}

}  // namespace
