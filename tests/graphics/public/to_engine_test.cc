// A host's arguments in the engine's terms.
#include "graphics/public/to_engine.h"

#include <quarn/gs_device.h>
#include <quarn/gs_view.h>

#include "graphics/internal_types.h"
#include "tests/graphics/public/facade_test.h"

namespace {

class ResolveDeviceTest : public FacadeTest {};

TEST_F(ResolveDeviceTest, AnswersNullWithoutADevice) { EXPECT_EQ(ResolveDevice(nullptr), nullptr); }

TEST_F(ResolveDeviceTest, NullMeansTheDefaultDevice) {
  GsDevice::CreateDefaultDevice(false);
  EXPECT_EQ(ResolveDevice(nullptr), GsDevice::DefaultDevice()->impl());
}

TEST_F(ResolveDeviceTest, TheGivenDeviceGoesFirst) {
  GsDevice::CreateDefaultDevice(false);
  GsDevice other;
  EXPECT_EQ(ResolveDevice(&other), nullptr);
  other.Init();
  EXPECT_EQ(ResolveDevice(&other), other.impl());
}

TEST(ToInternalFormatTest, MapsEveryLayout) {
  EXPECT_EQ(ToInternalFormat(GsTexture::kTextureRGBA), kFormatRGBA);
  EXPECT_EQ(ToInternalFormat(GsTexture::kTextureBGRA), kFormatBGRA);
  EXPECT_EQ(ToInternalFormat(GsTexture::kTextureR8), kFormatR8);
  EXPECT_EQ(ToInternalFormat(GsTexture::kTextureRG8), kFormatRG8);
  EXPECT_EQ(ToInternalFormat(GsTexture::kTextureRGBA16), kFormatRGBA16);
}

TEST(ToInternalFormatTest, MapsTheRestToUnknown) {
  EXPECT_EQ(ToInternalFormat(static_cast<GsTexture::Format>(5)), kFormatUnknown);
  EXPECT_EQ(ToInternalFormat(static_cast<GsTexture::Format>(-1)), kFormatUnknown);
  EXPECT_EQ(ToInternalFormat(static_cast<GsTexture::Format>(1000)), kFormatUnknown);
}

TEST(ToOutputFormatTest, MapsEveryLayoutThatIsProduced) {
  EXPECT_EQ(ToOutputFormat(kGsFormatRGBA), GraphicsOutput::kOutputRGBA);
  EXPECT_EQ(ToOutputFormat(kGsFormatBGRA), GraphicsOutput::kOutputBGRA);
  EXPECT_EQ(ToOutputFormat(kGsFormatI420), GraphicsOutput::kOutputI420);
  EXPECT_EQ(ToOutputFormat(kGsFormatNV12), GraphicsOutput::kOutputNV12);
}

TEST(ToOutputFormatTest, MapsTheRestToNone) {
  EXPECT_EQ(ToOutputFormat(kGsFormatNone), GraphicsOutput::kOutputNone);
  EXPECT_EQ(ToOutputFormat(kGsFormatReserved), GraphicsOutput::kOutputNone);
  EXPECT_EQ(ToOutputFormat(static_cast<GsFormat>(6)), GraphicsOutput::kOutputNone);
  EXPECT_EQ(ToOutputFormat(static_cast<GsFormat>(1000)), GraphicsOutput::kOutputNone);
}

TEST(ToVideoLayoutTest, MapsEveryLayoutAndNoOther) {
  VideoLayout layout = VideoLayout::kNV12;
  EXPECT_TRUE(ToVideoLayout(GsVideoTexture::kLayoutP010, &layout));
  EXPECT_EQ(layout, VideoLayout::kP010);
  EXPECT_TRUE(ToVideoLayout(GsVideoTexture::kLayoutI420, &layout));
  EXPECT_EQ(layout, VideoLayout::kI420);
  EXPECT_TRUE(ToVideoLayout(GsVideoTexture::kLayoutNV12, &layout));
  EXPECT_EQ(layout, VideoLayout::kNV12);
  EXPECT_FALSE(ToVideoLayout(static_cast<GsVideoTexture::Layout>(3), &layout));
  EXPECT_FALSE(ToVideoLayout(static_cast<GsVideoTexture::Layout>(-1), &layout));
  EXPECT_EQ(layout, VideoLayout::kNV12);
}

TEST(ToVideoColorTest, MapsEveryColorAndNoOther) {
  using Video = GsVideoTexture;
  VideoColor color;
  EXPECT_TRUE(ToVideoColor(Video::kMatrixBT601, Video::kRangeFull, Video::kChromaLeft, &color));
  EXPECT_TRUE(color == (VideoColor{VideoMatrix::kBT601, true, false}));
  EXPECT_TRUE(ToVideoColor(Video::kMatrixBT709, Video::kRangeLimited, Video::kChromaCenter, &color));
  EXPECT_TRUE(color == (VideoColor{VideoMatrix::kBT709, false, true}));
  EXPECT_TRUE(ToVideoColor(Video::kMatrixBT2020, Video::kRangeLimited, Video::kChromaCenter, &color));
  const VideoColor last{VideoMatrix::kBT2020, false, true};
  EXPECT_TRUE(color == last);
  EXPECT_FALSE(ToVideoColor(static_cast<Video::Matrix>(3), Video::kRangeFull, Video::kChromaLeft, &color));
  EXPECT_FALSE(ToVideoColor(Video::kMatrixBT601, static_cast<Video::Range>(2), Video::kChromaLeft, &color));
  EXPECT_FALSE(ToVideoColor(Video::kMatrixBT601, Video::kRangeFull, static_cast<Video::ChromaSite>(2), &color));
  EXPECT_TRUE(color == last);
}

TEST(GsWindowInfoTest, TheHandleIsCopied) {
  char window = 0;
  InternalWindowInfo internal_info = {};
  GsWindowInfoToInternalWindowInfo(GsWindowInfo{&window}, internal_info);
  EXPECT_EQ(internal_info.window, &window);
  GsWindowInfoToInternalWindowInfo(GsWindowInfo{}, internal_info);
  EXPECT_EQ(internal_info.window, nullptr);
}

}  // namespace
