// Bad input: objects come out inert, the log says why, and the device goes on.
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "tests/public/host.h"

namespace {

using host::MakeItem;
using host::MakeScene;

constexpr unsigned int kHuge = 100000;
constexpr unsigned int kLargest = std::numeric_limits<unsigned int>::max();

struct Size {
  unsigned int width;
  unsigned int height;
};
constexpr Size kBadSizes[] = {{0, 0},     {0, 8},        {8, 0},        {kHuge, kHuge},       {kHuge, 1},
                              {1, kHuge}, {kLargest, 1}, {1, kLargest}, {kLargest, kLargest}, {65536, 65536}};

// How many messages of error level there are.
int Errors() { return host::log::CountContaining(kQnLogError, ""); }

// Calls everything that an inert object offers.
void ExpectInert(GsScene* scene) {
  EXPECT_EQ(scene->width(), 0u);
  EXPECT_EQ(scene->height(), 0u);
  scene->Attach();
  scene->Attach();
  scene->Detach();
  scene->Detach();
}

void ExpectInert(GsTexture* texture) {
  EXPECT_EQ(texture->width(), 0u);
  EXPECT_EQ(texture->height(), 0u);
  EXPECT_EQ(texture->native_obj(), nullptr);
  texture->SetRotation(1.0f);
  EXPECT_EQ(texture->rotation(), 0.0f);
  const unsigned char pixel[4] = {};
  texture->Update(pixel, 4, GsTexture::kTextureRGBA, 1, 1);
  texture->Update(nullptr);
}

void ExpectInert(GsFilter* filter) {
  EXPECT_EQ(filter->width(), 0u);
  EXPECT_EQ(filter->height(), 0u);
  EXPECT_EQ(filter->texture(), nullptr);
  filter->Attach();
  filter->Resize(8, 8);
  EXPECT_EQ(filter->width(), 0u);
  EXPECT_EQ(filter->texture(), nullptr);
  filter->Detach();
}

void ExpectInert(GsConstantBuffer* buffer) {
  EXPECT_FALSE(buffer->Bind(0));
  buffer->Unbind();
  const float value = 0.0f;
  buffer->Update(&value, sizeof(value));
}

class BadInputTest : public host::DrivenTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(host::DrivenDeviceWorks(&device));
    DrivenTest::TearDown();
  }
};

TEST_F(BadInputTest, SceneOfAnImpossibleSizeIsInert) {
  for (const Size& size : kBadSizes) {
    host::log::Clear();
    const auto scene = MakeScene(size.width, size.height, &device);
    EXPECT_EQ(Errors(), 1) << size.width << " x " << size.height;
    ExpectInert(scene);
    const auto item = MakeItem(gs_vec2(1, 1), &device);
    scene->AddItem(item);
    EXPECT_EQ(scene->item_count(), 1u);
    host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
    EXPECT_TRUE(receiver.Start());
    Frame(1);
    EXPECT_EQ(item->draws, 0);
  }
}

TEST_F(BadInputTest, FilterOfAnImpossibleSizeIsInert) {
  for (const Size& size : kBadSizes) {
    host::log::Clear();
    GsFilter filter(size.width, size.height, &device);
    EXPECT_EQ(Errors(), 1) << size.width << " x " << size.height;
    ExpectInert(&filter);
    filter.Attach();
    Frame(1);
    filter.Detach();
  }
}

TEST_F(BadInputTest, OutputOfAnImpossibleSizeIsInert) {
  const auto scene = MakeScene(8, 8, &device);
  for (const Size& size : kBadSizes) {
    host::log::Clear();
    host::Receiver raw(scene, size.width, size.height, kGsFormatI420, &device);
    EXPECT_EQ(Errors(), 1) << size.width << " x " << size.height;
    host::TextureReceiver texture(scene, size.width, size.height, &device);
    EXPECT_EQ(Errors(), 2) << size.width << " x " << size.height;
    EXPECT_TRUE(raw.Start());
    EXPECT_TRUE(texture.Start());
    Frame(1);
    raw.Stop();
    texture.Stop();
    EXPECT_TRUE(raw.timestamps().empty());
    EXPECT_TRUE(texture.timestamps().empty());
  }
}

TEST_F(BadInputTest, OutputWithoutASceneIsInert) {
  host::Receiver raw(nullptr, 8, 8, kGsFormatRGBA, &device);
  host::TextureReceiver texture(nullptr, 8, 8, &device);
  EXPECT_EQ(Errors(), 1 + 2) << "one for each, and the device's own";
  EXPECT_TRUE(raw.Start());
  EXPECT_TRUE(texture.Start());
  Frame(1);
  raw.Stop();
  texture.Stop();
  EXPECT_TRUE(raw.timestamps().empty());
  EXPECT_TRUE(texture.timestamps().empty());
}

TEST_F(BadInputTest, OutputOfAnUnknownFormatDoesNotStart) {
  const auto scene = MakeScene(8, 8, &device);
  for (const std::uint32_t format : {0u, 3u, 6u, 99u, kLargest}) {
    host::log::Clear();
    host::Receiver receiver(scene, 8, 8, static_cast<GsFormat>(format), &device);
    EXPECT_FALSE(receiver.Start());
    EXPECT_EQ(host::log::Count(kQnLogError, "[GsOutput] unsupported format"), 1);
    Frame(1);
    receiver.Stop();
    EXPECT_TRUE(receiver.timestamps().empty());
  }
}

// Chroma of a picture one pixel wide or high has no pixels.
TEST_F(BadInputTest, OutputWithoutChromaDeliversNothingAndSaysSoOnce) {
  const auto scene = MakeScene(8, 8, &device);
  for (const GsFormat format : {kGsFormatI420, kGsFormatNV12}) {
    for (const Size& size : {Size{1, 8}, Size{8, 1}, Size{1, 1}}) {
      host::log::Clear();
      host::Receiver receiver(scene, size.width, size.height, format, &device);
      EXPECT_TRUE(receiver.Start());
      Frame(1);
      Frame(2);
      receiver.Stop();
      EXPECT_TRUE(receiver.timestamps().empty());
      EXPECT_EQ(Errors(), 1) << host::log::Complaints();
    }
  }
  host::Receiver receiver(scene, 1, 1, kGsFormatRGBA, &device);
  EXPECT_TRUE(receiver.Start());
  Frame(1);
  EXPECT_EQ(receiver.WaitFor(1).size(), 1u) << "one pixel of RGBA is a picture";
}

TEST_F(BadInputTest, TextureOfAnImpossibleSizeIsInert) {
  const std::vector<unsigned char> pixels(64, 0);
  for (const Size& size : kBadSizes) {
    host::log::Clear();
    // Nothing of the size's pixels is there to be read: a size is refused before.
    if (size.width == 0 || size.height == 0 || std::uint64_t{size.width} * size.height * 4 >= std::uint64_t{1} << 32) {
      GsTexture texture(pixels.data(), kLargest, GsTexture::kTextureRGBA, size.width, size.height, &device);
      EXPECT_EQ(Errors(), 1) << size.width << " x " << size.height;
      ExpectInert(&texture);
    }
    GsTexture empty(GsTexture::kTextureRGBA, size.width, size.height, &device);
    ExpectInert(&empty);
  }
  const std::vector<unsigned char> row(kHuge * 4, 0);
  host::log::Clear();
  GsTexture wide(row.data(), kHuge * 4, GsTexture::kTextureRGBA, kHuge, 1, &device);
  GsTexture high(row.data(), 4, GsTexture::kTextureRGBA, 1, kHuge, &device);
  EXPECT_EQ(Errors(), 2);
  ExpectInert(&wide);
  ExpectInert(&high);
}

TEST_F(BadInputTest, TextureWithoutPixelsIsInert) {
  GsTexture texture(nullptr, 32, GsTexture::kTextureRGBA, 8, 8, &device);
  EXPECT_EQ(host::log::Count(kQnLogError, "[GsTexture] no pixel data"), 1);
  ExpectInert(&texture);
}

TEST_F(BadInputTest, TextureMayHaveAnyStride) {
  const std::vector<unsigned char> pixels(256, 0);
  host::log::Clear();
  for (const unsigned int stride : {0u, 1u, 31u, 32u}) {
    GsTexture texture(pixels.data(), stride, GsTexture::kTextureRGBA, 8, 8, &device);
    EXPECT_EQ(texture.width(), 8u);
    texture.Update(pixels.data(), stride, GsTexture::kTextureRGBA, 8, 8);
  }
  GsTexture row(pixels.data(), 0, GsTexture::kTextureRGBA, 64, 1, &device);
  EXPECT_EQ(row.width(), 64u);
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(BadInputTest, TextureOfAnUnknownFormatIsInert) {
  const std::vector<unsigned char> pixels(1024, 0);
  for (const int format : {-1, 5, 99, std::numeric_limits<int>::max()}) {
    GsTexture texture(pixels.data(), 64, static_cast<GsTexture::Format>(format), 8, 8, &device);
    ExpectInert(&texture);
    GsTexture empty(static_cast<GsTexture::Format>(format), 8, 8, &device);
    ExpectInert(&empty);
  }
  for (const GsTexture::Format format : {GsTexture::kTextureBGRA, GsTexture::kTextureRGBA16}) {
    GsTexture texture(pixels.data(), 64, format, 8, 8, &device);
    ExpectInert(&texture);
  }
}

TEST_F(BadInputTest, LayoutsWithoutStorageAreTold) {
  const std::vector<unsigned char> pixels(1024, 0);
  const auto told = [&](GsTexture::Format format) {
    host::log::Clear();
    const GsTexture texture(pixels.data(), 64, format, 8, 8, &device);
    return host::log::Count(kQnLogError, "[GsTexture] a texture of layout " + std::to_string(format) +
                                             " shows nothing: in this version it has no storage");
  };
  EXPECT_EQ(told(GsTexture::kTextureBGRA), 1);
  EXPECT_EQ(told(GsTexture::kTextureR8), 1);
  EXPECT_EQ(told(GsTexture::kTextureRGBA16), 1);
  EXPECT_EQ(told(GsTexture::kTextureRGBA), 0);
  EXPECT_EQ(told(GsTexture::kTextureRG8), 0);
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(BadInputTest, UpdatesThatChangeNothingAreToldOnceUntilOneDoes) {
  const std::vector<unsigned char> pixels(64, 9);
  const auto line = [](const char* what) {
    return "[GsTexture] an update of " + std::string(what) +
           " changes nothing: only RGBA pixels of the texture's own size do\n";
  };
  GsTexture texture(pixels.data(), 8, GsTexture::kTextureRGBA, 2, 2, &device);
  host::log::Clear();
  texture.Update(pixels.data(), 12, GsTexture::kTextureRGBA, 3, 2);
  texture.Update(pixels.data(), 8, GsTexture::kTextureRGBA, 2, 3);
  texture.Update(pixels.data(), 4, GsTexture::kTextureRG8, 2, 2);
  EXPECT_EQ(host::log::Complaints(), line("3 x 2 pixels in layout 0"));
  host::log::Clear();
  texture.Update(pixels.data(), 8, GsTexture::kTextureRGBA, 2, 2);
  EXPECT_EQ(host::log::Complaints(), "");
  texture.Update(pixels.data(), 4, GsTexture::kTextureRG8, 2, 2);
  EXPECT_EQ(host::log::Complaints(), line("2 x 2 pixels in layout 3"));

  GsTexture kept(pixels.data(), 4, GsTexture::kTextureRG8, 2, 2, &device);
  host::log::Clear();
  kept.Update(pixels.data(), 4, GsTexture::kTextureRG8, 2, 2);  // Taken, and not shown.
  EXPECT_EQ(host::log::Complaints(), line("2 x 2 pixels in layout 3"));
}

TEST_F(BadInputTest, ItemOfAnotherDeviceIsTold) {
  GsDevice other;
  ASSERT_TRUE(other.Init());
  const auto scene = MakeScene(8, 8, &device);
  const auto own = host::MakeItem(gs_vec2(4, 4), &device);
  const auto foreign = host::MakeItem(gs_vec2(4, 4), &other);
  host::log::Clear();
  scene->AddItem(own);
  EXPECT_EQ(host::log::Complaints(), "");
  scene->AddItem(foreign);
  EXPECT_EQ(host::log::Complaints(), "[GsScene] the item is of another device: what it draws is not for this scene\n");
  scene->RemoveItem(foreign);
}

TEST_F(BadInputTest, UpdateThatDoesNotFitChangesNothing) {
  const std::vector<unsigned char> red = {255, 0, 0, 255};
  const std::vector<unsigned char> pixels(4096, 77);
  GsTexture texture(red.data(), 4, GsTexture::kTextureRGBA, 1, 1, &device);
  texture.Update(nullptr, 4, GsTexture::kTextureRGBA, 1, 1);
  texture.Update(pixels.data(), 4, GsTexture::kTextureRGBA, 0, 0);
  texture.Update(pixels.data(), 64, GsTexture::kTextureRGBA, 2, 2);
  texture.Update(pixels.data(), kLargest, GsTexture::kTextureRGBA, kLargest, kLargest);
  texture.Update(pixels.data(), 64, GsTexture::kTextureBGRA, 1, 1);
  texture.Update(pixels.data(), 64, static_cast<GsTexture::Format>(99), 1, 1);
  texture.Update(nullptr);
  const auto scene = MakeScene(1, 1, &device);
  const auto item = MakeItem(gs_vec2(1, 1), &device);
  item->texture = &texture;
  scene->AddItem(item);
  host::Receiver receiver(scene, 1, 1, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  const auto deliveries = receiver.WaitFor(1);
  ASSERT_EQ(deliveries.size(), 1u);
  EXPECT_EQ(deliveries[0].planes[0].pixels, red);
}

TEST_F(BadInputTest, ExternalImageThatIsNoneIsRefused) {
  GsTexture none(static_cast<void*>(nullptr), &device);
  ExpectInert(&none);
  const std::vector<unsigned char> pixels(1024, 0);
  for (const Size& size : {Size{0, 0}, Size{kHuge, kHuge}, Size{kLargest, 1}}) {
    QnExternalImage image(size.width, size.height, QnExternalImage::kPixelFormatBGRA, kLargest, pixels.data());
    GsTexture texture(&image, &device);
    ExpectInert(&texture);
  }
  QnExternalImage good(8, 8, QnExternalImage::kPixelFormatBGRA, 32, pixels.data());
  GsTexture texture(&good, &device);
  EXPECT_EQ(texture.width(), 8u);
  QnExternalImage null_base(8, 8, QnExternalImage::kPixelFormatBGRA, 32, nullptr);
  QnExternalImage short_row(8, 8, QnExternalImage::kPixelFormatBGRA, 8, pixels.data());
  QnExternalImage bad_file(8, 8, QnExternalImage::kPixelFormatBGRA, 32, -1, 0);
  QnExternalImage other_size(4, 4, QnExternalImage::kPixelFormatBGRA, 32, pixels.data());
  QnExternalImage bad_format(8, 8, 0, 32, pixels.data());
  for (QnExternalImage* image : {&null_base, &short_row, &bad_file, &other_size, &bad_format}) {
    host::log::Clear();
    texture.Update(image);
    EXPECT_NE(host::log::Complaints(), "") << "every refusal is logged";
  }
}

TEST_F(BadInputTest, ConstantBufferOfAnImpossibleSizeIsInert) {
  const float value = 1.0f;
  GsConstantBuffer empty(&value, 0, &device);
  ExpectInert(&empty);
  GsConstantBuffer empty_without_data(0, &device);
  ExpectInert(&empty_without_data);
  GsConstantBuffer good(&value, sizeof(value), &device);
  good.Update(nullptr, 4);
  good.Update(nullptr, kLargest);
  const std::vector<float> more(100, 2.0f);
  good.Update(more.data(), 400);  // What goes past the end is cut.
  GsConstantBuffer without_data(static_cast<const void*>(nullptr), 16, &device);
  without_data.Update(more.data(), 0);
}

TEST_F(BadInputTest, ShaderThatCannotBeBuiltIsRefused) {
  const char* const vertex = glsl_src[kGsGlslRgba + 1];
  const char* const fragment = glsl_src[kGsGlslRgba + 2];
  EXPECT_FALSE(device.AddShader(nullptr, vertex, fragment));
  EXPECT_FALSE(device.AddShader("name", nullptr, fragment));
  EXPECT_FALSE(device.AddShader("name", vertex, nullptr));
  EXPECT_EQ(Errors(), 3 + 1) << "the device's own is the one more";
  host::log::Clear();
  EXPECT_FALSE(device.AddShader("name", vertex, "this is no shader"));
  EXPECT_EQ(host::log::CountContaining(kQnLogError, "Error compiling fragment shader:"), 1);
  EXPECT_FALSE(device.AddShader("name", "", fragment));
  EXPECT_FALSE(device.AddShader("name", vertex, ""));
  EXPECT_FALSE(device.AddShader("", "", ""));
  EXPECT_FALSE(device.AddShader("name", vertex, "#version 150\nvoid main() {}")) << "a version stands in front already";
  EXPECT_TRUE(device.AddShader("name", vertex, fragment)) << "a refused name stays free";
  EXPECT_TRUE(device.AddShader("name", vertex, fragment));
  EXPECT_TRUE(device.AddShader("", vertex, fragment)) << "an empty name is a name";
}

TEST_F(BadInputTest, DrawingWithNonsenseDoesNoHarm) {
  const auto scene = MakeScene(8, 8, &device);
  const auto color = host::MakeColor(1, 2, 3, 255, &device);
  const auto item = MakeItem(gs_vec2(8, 8), &device);
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  constexpr float kLargestFloat = std::numeric_limits<float>::max();
  const float kNaN = std::nanf("");
  GsConstantBuffer constants(16, &device);
  item->on_draw = [&] {
    GsContext context(&device);
    EXPECT_FALSE(context.BindShader(nullptr));
    EXPECT_FALSE(context.BindShader("no such program"));
    EXPECT_FALSE(context.BindShader(""));
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(8, 8)), gs_vec2(8, 8));  // Without a program.
    context.UnbindShader();
    EXPECT_TRUE(context.BindShader("rgba"));
    EXPECT_FALSE(context.BindShader("no such program"));
    GsTextureBinder nothing;
    GsTextureBinder none(nullptr, nullptr, nullptr, nullptr);
    GsTexture inert(GsTexture::kTextureRGBA, 0, 0, &device);
    GsTextureBinder of_inert(&inert, color.get(), &inert, nullptr);
    for (const float value : {0.0f, -8.0f, kInfinity, -kInfinity, kNaN, kLargestFloat}) {
      context.DrawRect(gs_transform(gs_vec2(value, 0), gs_vec2(8, 8)), gs_vec2(8, 8));
      context.DrawRect(gs_transform(gs_vec2(), gs_vec2(value, value)), gs_vec2(8, 8));
      context.DrawRect(gs_transform(gs_vec2(), gs_vec2(8, 8), value), gs_vec2(8, 8));
      context.DrawRect(gs_transform(gs_vec2(), gs_vec2(8, 8)), gs_vec2(value, value));
    }
    context.SetViewport(0, 0, 0, 0);
    context.SetViewport(kLargest, kLargest, kLargest, kLargest);
    // Points that no block reads, and some that there are not.
    for (const int slot : {10, 1000000, std::numeric_limits<int>::max(), -1, -2, std::numeric_limits<int>::min()}) {
      EXPECT_TRUE(constants.Bind(slot));
      context.DrawRect(gs_transform(gs_vec2(), gs_vec2(8, 8)), gs_vec2(8, 8));
      constants.Unbind();
    }
    context.DrawVertexArray(nullptr, 0, nullptr, 0, gs_transform(gs_vec2(), gs_vec2()), gs_vec2());
    context.UnbindShader();
    context.UnbindShader();
  };
  scene->AddItem(item);
  host::Receiver receiver(scene, 8, 8, kGsFormatRGBA, &device);
  ASSERT_TRUE(receiver.Start());
  Frame(1);
  Frame(2);
  EXPECT_EQ(receiver.WaitFor(2).size(), 2u);
}

// Outside a stage no context is current: drawing does nothing.
TEST_F(BadInputTest, DrawingOutsideAFrameDoesNoHarm) {
  const auto color = host::MakeColor(1, 2, 3, 255, &device);
  GsConstantBuffer constants(16, &device);
  GsContext context(&device);
  context.SetViewport(0, 0, 8, 8);
  context.BindShader("rgba");
  {
    GsTextureBinder binder(color.get());
    constants.Bind(0);
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(8, 8)), gs_vec2(8, 8));
    constants.Unbind();
  }
  context.UnbindShader();
}

TEST_F(BadInputTest, NullsOfScenesAndDevicesAreIgnored) {
  const auto scene = MakeScene(8, 8, &device);
  scene->AddItem(nullptr);
  scene->RemoveItem(nullptr);
  scene->EnumItems(nullptr, nullptr);
  EXPECT_EQ(scene->item_count(), 0u);
  device.QueueTask(nullptr, nullptr);
  device.DoTask();
  GsScreenDup duplicator(nullptr, &device);
  EXPECT_EQ(duplicator.Dup(), -1);
}

TEST(NoDeviceTest, EverythingIsInert) {
  ASSERT_EQ(GsDevice::DefaultDevice(), nullptr);
  host::log::Clear();
  const auto scene = MakeScene(8, 8, nullptr);
  ExpectInert(scene);
  scene->Draw();
  const auto item = MakeItem(gs_vec2(4, 5), nullptr);
  EXPECT_EQ(item->size().x, 4.0f);
  EXPECT_EQ(item->size().y, 5.0f);
  scene->AddItem(item);
  scene->OrderItem();
  EXPECT_EQ(scene->item_count(), 1u);
  scene->RemoveItem(item);
  GsFilter filter(8, 8, nullptr);
  ExpectInert(&filter);
  const auto color = host::MakeColor(1, 2, 3, 4, nullptr);
  ExpectInert(color.get());
  GsTexture empty(GsTexture::kTextureRGBA, 8, 8, nullptr);
  ExpectInert(&empty);
  const float value = 0.0f;
  GsConstantBuffer constants(&value, sizeof(value), nullptr);
  ExpectInert(&constants);
  host::Receiver raw(scene, 8, 8, kGsFormatRGBA, nullptr);
  EXPECT_TRUE(raw.Start());
  raw.Stop();
  host::TextureReceiver texture(scene, 8, 8, nullptr);
  EXPECT_TRUE(texture.Start());
  texture.Stop();
  GsScreenDup duplicator("display", nullptr);
  EXPECT_EQ(duplicator.Dup(), -1);
  EXPECT_EQ(duplicator.sdr_white_level(), 80u);
  GsContext context(nullptr);
  EXPECT_FALSE(context.BindShader("rgba"));
  context.UnbindShader();
  context.SetViewport(0, 0, 8, 8);
  context.DrawRect(gs_transform(gs_vec2(), gs_vec2()), gs_vec2());
  EXPECT_FALSE(GsContextDefault::BindShader("rgba"));
  GsContextDefault::UnbindShader();
  GsContextDefault::SetViewport(0, 0, 8, 8);
  GsContextDefault::DrawRect(gs_transform(gs_vec2(), gs_vec2()), gs_vec2());
  GsContextDefault::DrawVertexArray(nullptr, 0, nullptr, 0, gs_transform(gs_vec2(), gs_vec2()), gs_vec2());
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST(NoDeviceTest, DeviceBeforeInitAnswersNeutrally) {
  GsDevice device;
  EXPECT_EQ(device.fps(), 30u);
  device.SetFps(60);
  EXPECT_EQ(device.fps(), 30u);
  EXPECT_FALSE(device.IsInternalRenderThread());
  EXPECT_FALSE(device.AddShader("name", "", ""));
  EXPECT_FALSE(device.AddShader(nullptr, nullptr, nullptr));
  EXPECT_FALSE(device.InitThreadContext());
  device.TickSource();
  device.HandleFilter();
  device.OutputFrame(1, 1);
  device.DrawDisplay();
  device.UninitThreadContext();
  device.EnterThreadContext();
  device.LeaveThreadContext();
  EXPECT_EQ(device.native_obj(), nullptr);
  bool ran = false;
  device.QueueTask([](void* flag) { *static_cast<bool*>(flag) = true; }, &ran);
  device.DoTask();
  EXPECT_FALSE(ran);
  device.ClearFrameList();
  EXPECT_EQ(device.impl(), nullptr);
  const auto scene = MakeScene(8, 8, &device);
  ExpectInert(scene);
  EXPECT_FALSE(GsContext(&device).BindShader("rgba"));
}

TEST(NoDeviceTest, FoundationTakesBadInput) {
  host::log::Clear();
  qn_log(25, "between two levels");
  qn_log(50, "beyond the levels");
  qn_log(-1, "below the levels");
  for (const int level : {kQnLogError, kQnLogWarning, kQnLogInfo, kQnLogDebug}) {
    EXPECT_EQ(host::log::CountContaining(level, "level"), 0);
  }
  qn_log(kQnLogInfo, "x=%d", 5);
  EXPECT_EQ(host::log::Count(kQnLogInfo, "x=5"), 1);
  const auto too_large = MakeRef<RefCounted<QNBuffer>>(std::numeric_limits<unsigned long>::max());
  EXPECT_EQ(too_large->data(), nullptr);
  EXPECT_EQ(too_large->size(), 0u);
}

}  // namespace
