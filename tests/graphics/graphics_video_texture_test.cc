// A device that makes no pictures of video.
#include "graphics/graphics_video_texture.h"

#include <gtest/gtest.h>

#include "foundation/logger.h"
#include "tests/support/fake_device.h"
#include "tests/support/log_capture.h"

namespace {

TEST(CreateVideoTextureTest, SaysThatADeviceMakesNone) {
  LogCapture log;
  FakeDevice device;
  EXPECT_EQ(CreateVideoTexture(&device, VideoLayout::kI420, 4, 4), nullptr);
  EXPECT_EQ(CreateVideoTexture(nullptr, VideoLayout::kI420, 4, 4), nullptr);
  int told = 0;
  for (const LogCapture::Line& line : log.Lines()) {
    told += line.level == Logger::Level::Warn && line.text == "CreateVideoTexture is unimplemented";
  }
  EXPECT_EQ(told, 2);
}

}  // namespace
