// The description of a host's image.
#include <quarn/qn_external_image.h>

#include <gtest/gtest.h>

namespace {

TEST(QnExternalImageTest, DescribesMemory) {
  const unsigned char pixels[4] = {};
  const QnExternalImage image(640, 480, QnExternalImage::kPixelFormatBGRA, 2560, pixels);
  EXPECT_EQ(image.width(), 640u);
  EXPECT_EQ(image.height(), 480u);
  EXPECT_EQ(image.pixel_format(), 0x42475241u);
  EXPECT_EQ(image.bytes_per_row(), 2560u);
  EXPECT_EQ(image.base(), pixels);
  EXPECT_EQ(image.fd(), -1);
  EXPECT_EQ(image.offset(), 0u);
}

TEST(QnExternalImageTest, DescribesAFile) {
  const QnExternalImage image(2, 3, QnExternalImage::kPixelFormatL10R, 8, 5, 4096);
  EXPECT_EQ(image.width(), 2u);
  EXPECT_EQ(image.height(), 3u);
  EXPECT_EQ(image.pixel_format(), 0x6C313072u);
  EXPECT_EQ(image.bytes_per_row(), 8u);
  EXPECT_EQ(image.base(), nullptr);
  EXPECT_EQ(image.fd(), 5);
  EXPECT_EQ(image.offset(), 4096u);
}

}  // namespace
