// The host's handle on pictures of video, with a device that makes none.
#include <quarn/gs_video_texture.h>

#include "tests/graphics/public/facade_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class GsVideoTextureTest : public FacadeWithDeviceTest {};

TEST_F(GsVideoTextureTest, IsInertWhereTheDeviceMakesNone) {
  GsVideoTexture texture(4, 2, GsVideoTexture::kLayoutNV12);
  EXPECT_EQ(texture.impl(), nullptr);
  EXPECT_FALSE(texture.SetColor(GsVideoTexture::kMatrixBT601, GsVideoTexture::kRangeFull, GsVideoTexture::kChromaLeft));
  const unsigned char byte = 0;
  const unsigned char* const planes[] = {&byte, &byte};
  const unsigned int strides[] = {4, 4};
  EXPECT_FALSE(texture.Update(planes, strides));
  EXPECT_THAT(warnings(), ElementsAre("CreateVideoTexture is unimplemented"));
  EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(GsVideoTextureTest, BadArgumentsNeverReachTheDevice) {
  GsVideoTexture no_width(0, 2, GsVideoTexture::kLayoutI420);
  GsVideoTexture no_layout(4, 2, static_cast<GsVideoTexture::Layout>(3));
  EXPECT_THAT(warnings(), IsEmpty());
  EXPECT_THAT(errors(), ElementsAre("[GsVideoTexture] no picture of 0 x 2 pixels", "[GsVideoTexture] no layout 3"));
}

}  // namespace
