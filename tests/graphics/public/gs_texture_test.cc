// The host's handle on images, and the binder.
#include <quarn/gs_texture.h>

#include <limits>
#include <memory>

#include "tests/graphics/public/facade_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class GsTextureTest : public FacadeWithDeviceTest {
 protected:
  static FakeTexture* Engine(const GsTexture& texture) { return static_cast<FakeTexture*>(texture.impl()); }

  static void ExpectInert(GsTexture& texture) {
    EXPECT_EQ(texture.impl(), nullptr);
    EXPECT_EQ(texture.width(), 0u);
    EXPECT_EQ(texture.height(), 0u);
    texture.SetRotation(1.0f);
    EXPECT_EQ(texture.rotation(), 0.0f);
    EXPECT_EQ(texture.native_obj(), nullptr);
    const unsigned char pixel[4] = {};
    texture.Update(pixel, 4, GsTexture::kTextureRGBA, 1, 1);
    texture.Update(nullptr);
  }

  // Two rows of one pixel, and two bytes between them.
  const unsigned char rows_[10] = {1, 2, 3, 4, 99, 99, 5, 6, 7, 8};
};

TEST_F(GsTextureTest, CopiesTheHostsRows) {
  {
    GsTexture texture(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
    ASSERT_NE(texture.impl(), nullptr);
    EXPECT_EQ(texture.width(), 1u);
    EXPECT_EQ(texture.height(), 2u);
    const GraphicsFrame& frame = Engine(texture)->frame;
    ASSERT_EQ(frame.format, kFormatRGBA);
    EXPECT_THAT(std::vector<int>(frame.data[0], frame.data[0] + 8), ElementsAre(5, 6, 7, 8, 1, 2, 3, 4));
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateTexture(frame) 1 2", "texture.~"));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsTextureTest, ForwardsItsProperties) {
  GsTexture texture(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  texture.SetRotation(0.5f);
  EXPECT_EQ(texture.rotation(), 0.5f);
  EXPECT_EQ(texture.native_obj(), &Engine(texture)->native_object);
}

TEST_F(GsTextureTest, AZeroSideNeverReachesTheDevice) {
  GsTexture no_width(rows_, 6, GsTexture::kTextureRGBA, 0, 2, nullptr);
  GsTexture no_height(rows_, 6, GsTexture::kTextureRGBA, 1, 0, nullptr);
  GsTexture empty_no_width(GsTexture::kTextureRGBA, 0, 2, nullptr);
  GsTexture empty_no_height(GsTexture::kTextureRGBA, 1, 0, nullptr);
  ExpectInert(no_width);
  ExpectInert(no_height);
  ExpectInert(empty_no_width);
  ExpectInert(empty_no_height);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(errors(), SizeIs(4));
}

TEST_F(GsTextureTest, AnUnknownLayoutNeverReachesTheDevice) {
  GsTexture texture(rows_, 6, static_cast<GsTexture::Format>(5), 1, 2, nullptr);
  GsTexture empty(static_cast<GsTexture::Format>(5), 1, 2, nullptr);
  ExpectInert(texture);
  ExpectInert(empty);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsTextureTest, NullDataMakesAnInertTexture) {
  GsTexture texture(nullptr, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  ExpectInert(texture);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(errors(), ElementsAre("[GsTexture] no pixel data"));
}

// Each row is read from where the stride says, whatever that is: one row may serve for all, and rows may overlap.
TEST_F(GsTextureTest, TheStrideMayBeAnything) {
  const unsigned char bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
  const auto rows = [](const GsTexture& texture) {
    const GraphicsFrame& frame = Engine(texture)->frame;
    return std::vector<unsigned char>(frame.data[0], frame.data[0] + frame.linesize[0] * frame.height);
  };
  GsTexture repeated(bytes, 0, GsTexture::kTextureRGBA, 1, 2, nullptr);
  EXPECT_THAT(rows(repeated), ElementsAre(1, 2, 3, 4, 1, 2, 3, 4));
  GsTexture overlapping(bytes, 1, GsTexture::kTextureRG8, 1, 3, nullptr);
  EXPECT_THAT(rows(overlapping), ElementsAre(3, 4, 2, 3, 1, 2));  // The last row comes first.
  repeated.Update(bytes + 4, 0, GsTexture::kTextureRGBA, 1, 2);
  EXPECT_THAT(rows(repeated), ElementsAre(5, 6, 7, 8, 5, 6, 7, 8));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsTextureTest, ASizeBeyondAllMemoryMakesAnInertTexture) {
  const unsigned int huge = std::numeric_limits<unsigned int>::max();
  GsTexture texture(rows_, huge, GsTexture::kTextureRGBA, huge, huge, nullptr);
  ExpectInert(texture);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(errors(), SizeIs(1));
}

TEST_F(GsTextureTest, AsksForAnEmptyImage) {
  GsTexture texture(GsTexture::kTextureRG8, 3, 2, nullptr);
  EXPECT_EQ(texture.width(), 3u);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateTexture(format) 3 2 4"));
}

TEST_F(GsTextureTest, TakesAFrame) {
  GsTexture texture(GraphicsFrame(kFormatRGBA, 2, 2), nullptr);
  EXPECT_EQ(texture.width(), 2u);
  GsTexture empty(GraphicsFrame(), nullptr);
  ExpectInert(empty);
  GsTexture row(GraphicsFrame(kFormatRGBA, 2, 1), nullptr);
  EXPECT_EQ(row.height(), 1u);
  GsTexture column(GraphicsFrame(kFormatRGBA, 1, 2), nullptr);
  EXPECT_EQ(column.width(), 1u);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateTexture(frame) 2 2", "device.CreateTexture(frame) 2 1",
                                         "device.CreateTexture(frame) 1 2"));
}

TEST_F(GsTextureTest, TakesAnExternalImage) {
  int image = 0;
  GsTexture texture(static_cast<void*>(&image), nullptr);
  EXPECT_EQ(texture.width(), 4u);
  texture.Update(&image);
  GsTexture none(static_cast<void*>(nullptr), nullptr);
  ExpectInert(none);
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateTexture(image)", "texture.Update(image)"));
}

TEST_F(GsTextureTest, AWrapperDoesNotOwn) {
  FakeTexture engine_texture(5, 7);
  {
    GsTexture wrapper(&engine_texture);
    EXPECT_EQ(wrapper.impl(), &engine_texture);
    EXPECT_EQ(wrapper.width(), 5u);
    EXPECT_EQ(wrapper.height(), 7u);
  }
  EXPECT_THAT(fake::Calls(), IsEmpty());
  GsTexture of_null(static_cast<GraphicsTexture*>(nullptr));
  ExpectInert(of_null);
}

TEST_F(GsTextureTest, UpdateReplacesThePixels) {
  GsTexture texture(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  const unsigned char rows[8] = {10, 11, 12, 13, 20, 21, 22, 23};
  texture.Update(rows, 4, GsTexture::kTextureRGBA, 1, 2);
  const GraphicsFrame& frame = Engine(texture)->frame;
  EXPECT_THAT(std::vector<int>(frame.data[0], frame.data[0] + 8), ElementsAre(20, 21, 22, 23, 10, 11, 12, 13));
}

TEST_F(GsTextureTest, UpdateLeavesTheSizeToTheEngine) {
  GsTexture texture(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  fake::ClearCalls();
  texture.Update(rows_, 4, GsTexture::kTextureR8, 4, 1);
  EXPECT_THAT(fake::Calls(), ElementsAre("texture.Update(frame) 4 1"));
}

TEST_F(GsTextureTest, UpdateRefusesBadArguments) {
  GsTexture texture(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  fake::ClearCalls();
  texture.Update(nullptr, 4, GsTexture::kTextureRGBA, 1, 2);
  EXPECT_THAT(errors(), SizeIs(1));
  texture.Update(rows_, 4, static_cast<GsTexture::Format>(5), 1, 2);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsTextureTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  fake::ClearCalls();
  log_.Clear();
  int image = 0;
  GsTexture of_pixels(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  GsTexture empty(GsTexture::kTextureRGBA, 1, 2, nullptr);
  GsTexture of_frame(GraphicsFrame(kFormatRGBA, 1, 1), nullptr);
  GsTexture of_image(static_cast<void*>(&image), nullptr);
  ExpectInert(of_pixels);
  ExpectInert(empty);
  ExpectInert(of_frame);
  ExpectInert(of_image);
  EXPECT_THAT(fake::Calls(), IsEmpty());
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsTextureTest, IsInertWhenTheEngineMakesNone) {
  fake::options().objects = false;
  GsTexture texture(rows_, 6, GsTexture::kTextureRGBA, 1, 2, nullptr);
  ExpectInert(texture);
}

// Tells which unit each texture is bound to.
class UnitTexture : public FakeTexture {
 public:
  explicit UnitTexture(std::string name) : FakeTexture(1, 1), name_(std::move(name)) {}
  bool BindShaderResource(int unit) override {
    fake::Record(name_ + " to " + std::to_string(unit));
    return true;
  }
  void ReleaseShaderResource() override { fake::Record(name_ + " released"); }

 private:
  std::string name_;
};

class GsTextureBinderTest : public FacadeTest {
 protected:
  UnitTexture engine_a_{"a"};
  UnitTexture engine_b_{"b"};
  UnitTexture engine_c_{"c"};
  UnitTexture engine_d_{"d"};
  GsTexture a_{&engine_a_};
  GsTexture b_{&engine_b_};
  GsTexture c_{&engine_c_};
  GsTexture d_{&engine_d_};
};

TEST_F(GsTextureBinderTest, BindsForItsLifetime) {
  {
    GsTextureBinder binder(&a_, &b_, &c_, &d_);
    EXPECT_THAT(fake::Calls(), ElementsAre("a to 0", "b to 1", "c to 2", "d to 3"));
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("a released", "b released", "c released", "d released"));
}

TEST_F(GsTextureBinderTest, ANullTextureLeavesItsUnitAlone) {
  {
    GsTextureBinder binder(&a_, nullptr, &c_);
    EXPECT_THAT(fake::Calls(), ElementsAre("a to 0", "c to 2"));
    fake::ClearCalls();
  }
  EXPECT_THAT(fake::Calls(), ElementsAre("a released", "c released"));
}

TEST_F(GsTextureBinderTest, TakesFewerThanFour) {
  { GsTextureBinder binder; }
  EXPECT_THAT(fake::Calls(), IsEmpty());
  { GsTextureBinder binder(&b_); }
  { GsTextureBinder binder(&c_, &d_); }
  EXPECT_THAT(fake::Calls(), ElementsAre("b to 0", "b released", "c to 0", "d to 1", "c released", "d released"));
}

TEST_F(GsTextureBinderTest, AnInertTextureLeavesItsUnitAlone) {
  GsTexture inert(static_cast<GraphicsTexture*>(nullptr));
  { GsTextureBinder binder(&inert, &b_); }
  EXPECT_THAT(fake::Calls(), ElementsAre("b to 1", "b released"));
}

}  // namespace
