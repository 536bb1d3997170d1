// Whether objects say truly that there is something behind them, and how little it takes to make them.
#include <memory>
#include <optional>

#include "tests/public/host.h"
#include "tests/support/gl_watch.h"
#include "tests/support/run_in_fork.h"

namespace {

class Filter : public GsFilter {
 public:
  using GsFilter::GsFilter;
};

constexpr unsigned char kPixel[4] = {1, 2, 3, 255};

// One of each class that has a device, made without naming one.
struct Objects {
  scoped_refptr<GsScene> scene = MakeRefCounted<GsScene>(16u, 16u);
  scoped_refptr<GsItem> item = MakeRefCounted<GsItem>();
  scoped_refptr<GsItem> sized_item = MakeRefCounted<GsItem>(gs_vec2(2, 2));
  GsTexture texture{kPixel, 4, GsTexture::kTextureRGBA, 1, 1};
  GsTexture empty_texture{GsTexture::kTextureRGBA, 1, 1};
  GsConstantBuffer constants{kPixel, 4};
  GsConstantBuffer zeros{16};
  Filter filter{8, 8};
  GsScreenDup screen{"screen"};
  GsOutputRaw raw{scene, 8, 8, kGsFormatRGBA};
  GsOutputTex output{scene, 8, 8};
  GsView view{GsWindowInfo(), 8, 8};
  GsViewImpl view_impl{GsWindowInfo(), 8, 8};

  // Those that a device of this version makes.
  std::vector<bool> Valid() const {
    return {scene->valid(), item->valid(), sized_item->valid(), texture.valid(), constants.valid(), zeros.valid(),
            filter.valid(), raw.valid(),   output.valid(),      view.valid(),    view_impl.valid()};
  }
};

const std::vector<bool> kAll(11, true);
const std::vector<bool> kNone(11, false);

TEST(ValidTest, NothingIsWithoutADevice) {
  Objects objects;
  EXPECT_EQ(objects.Valid(), kNone);
  EXPECT_FALSE(objects.empty_texture.valid());
  EXPECT_FALSE(objects.screen.valid());
  GsDevice device;
  EXPECT_FALSE(device.valid());
  EXPECT_FALSE(GsContext(&device).valid());
  EXPECT_FALSE(GsContext(nullptr).valid());
}

TEST(ValidTest, EverythingIsUntilItsDeviceGoes) {
  const test::WrongOnPurpose wrong;  // What GL has of them goes with the last context.
  std::optional<GsDefaultDevice> device(std::in_place, false);
  ASSERT_TRUE(device->valid());
  EXPECT_TRUE((*device)->valid());
  EXPECT_TRUE(GsContext(device->get()).valid());
  Objects objects;
  EXPECT_EQ(objects.Valid(), kAll);
  EXPECT_FALSE(objects.empty_texture.valid());  // This version cannot make one.
  EXPECT_FALSE(objects.screen.valid());
  device.reset();
  EXPECT_EQ(objects.Valid(), kNone);
}

TEST(ValidTest, ObjectsThatCannotBeMadeAreNot) {
  const GsDefaultDevice device(false);
  EXPECT_FALSE(MakeRefCounted<GsScene>(0u, 16u)->valid());
  EXPECT_FALSE(Filter(0, 8).valid());
  EXPECT_FALSE(GsTexture(kPixel, 4, GsTexture::kTextureRGBA, 0, 1).valid());
  EXPECT_FALSE(GsConstantBuffer(0u).valid());
  EXPECT_FALSE(GsOutputRaw(nullptr, 8, 8, kGsFormatRGBA).valid());
  const scoped_refptr<GsScene> scene = MakeRefCounted<GsScene>(16u, 16u);
  EXPECT_FALSE(GsOutputRaw(scene, 0, 8, kGsFormatRGBA).valid());
}

TEST(ValidTest, AFiltersTextureIsItsFilters) {
  const GsDefaultDevice device(false);
  Filter filter(8, 8);
  ASSERT_NE(filter.texture(), nullptr);
  EXPECT_TRUE(filter.texture()->valid());
}

TEST(ValidTest, NothingIsInAFork) {
  const GsDefaultDevice device(false);
  const Objects objects;
  EXPECT_EQ(test::RunInFork([&] { return objects.Valid() == kNone && !device.valid() ? 0 : 1; }), 0);
  EXPECT_EQ(objects.Valid(), kAll);
}

TEST(ValidTest, WhatNeedsNoDeviceIsWithItsArguments) {
  EXPECT_TRUE(QNEvent(false).valid());
  EXPECT_TRUE(QNMutex().valid());
  EXPECT_TRUE(MakeRefCounted<QNBuffer>(64ul)->valid());
  EXPECT_FALSE(MakeRefCounted<QNBuffer>()->valid());
  EXPECT_FALSE(MakeRefCounted<QNBuffer>(~0ul)->valid());
  EXPECT_TRUE(MakeRefCounted<QnAudioInput>(48000u, 2u, kQnMixSampleFloat)->valid());
  EXPECT_FALSE(MakeRefCounted<QnAudioInput>(0u, 2u, kQnMixSampleFloat)->valid());
  EXPECT_FALSE(MakeRefCounted<QnAudioInput>(48000u, 9u, kQnMixSampleFloat)->valid());
  EXPECT_TRUE(QnAudioMixer(48000, 2, kQnMixSampleShort, nullptr).valid());
  EXPECT_FALSE(QnAudioMixer(0, 2, kQnMixSampleShort, nullptr).valid());
  EXPECT_FALSE(QnAudioMixer(48000, 9, kQnMixSampleShort, nullptr).valid());
}

TEST(ValidTest, ExternalImagesAreWhereTheirDescriptionGoesTogether) {
  constexpr std::uint32_t kBGRA = QnExternalImage::kPixelFormatBGRA;
  EXPECT_TRUE(QnExternalImage(2, 1, kBGRA, 8, kPixel).valid());
  EXPECT_TRUE(QnExternalImage(2, 1, QnExternalImage::kPixelFormatL10R, 12, kPixel).valid());
  EXPECT_TRUE(QnExternalImage(2, 1, kBGRA, 8, 0, 0).valid());
  EXPECT_FALSE(QnExternalImage(0, 1, kBGRA, 8, kPixel).valid());
  EXPECT_FALSE(QnExternalImage(2, 0, kBGRA, 8, kPixel).valid());
  EXPECT_FALSE(QnExternalImage(2, 1, 0x12345678, 8, kPixel).valid());
  EXPECT_FALSE(QnExternalImage(2, 1, kBGRA, 7, kPixel).valid());
  EXPECT_FALSE(QnExternalImage(0x80000001u, 1, kBGRA, 4, kPixel).valid());
  EXPECT_FALSE(QnExternalImage(2, 1, kBGRA, 8, nullptr).valid());
  EXPECT_FALSE(QnExternalImage(2, 1, kBGRA, 8, -1, 0).valid());
}

TEST(DefaultDeviceTest, LivesAsLongAsItsScope) {
  {
    const GsDefaultDevice device;
    ASSERT_TRUE(device.valid());
    EXPECT_EQ(device.get(), GsDevice::DefaultDevice());
    EXPECT_TRUE(host::PassFrames(device.get(), 2));
  }
  EXPECT_EQ(GsDevice::DefaultDevice(), nullptr);
}

TEST(DefaultDeviceTest, LeavesTheOneThatWasThere) {
  ASSERT_TRUE(GsDevice::CreateDefaultDevice(false));
  GsDevice* const before = GsDevice::DefaultDevice();
  {
    const GsDefaultDevice device;
    EXPECT_TRUE(device.valid());
    EXPECT_EQ(device.get(), before);
  }
  EXPECT_EQ(GsDevice::DefaultDevice(), before);
  GsDevice::DestroyDefaultDevice();
}

TEST(DefaultDeviceTest, IsNoLongerValidWhenSomethingElseDestroysIt) {
  const GsDefaultDevice device(false);
  GsDevice::DestroyDefaultDevice();
  EXPECT_FALSE(device.valid());
  EXPECT_EQ(device.get(), nullptr);
}

TEST(DefaultDeviceTest, ObjectsOfTheSameScopeGoBeforeIt) {
  host::log::Clear();
  {
    const GsDefaultDevice device;
    const Objects objects;
    EXPECT_EQ(objects.Valid(), kAll);
  }
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "destroyed before its objects"), 0);
}

}  // namespace
