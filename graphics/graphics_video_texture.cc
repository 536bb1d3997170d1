// Finds out whether a device makes pictures of video. Any thread.
#include "graphics/graphics_video_texture.h"

#include "foundation/logger.h"
#include "graphics/graphics_device.h"

GraphicsVideoTexture* CreateVideoTexture(GraphicsDevice* device, VideoLayout layout, unsigned int width,
                                         unsigned int height) {
  if (auto* const maker = dynamic_cast<VideoTextureMaker*>(device)) {
    return maker->CreateVideoTexture(layout, width, height);
  }
  Logger::default_logger()->Warn("CreateVideoTexture is unimplemented");
  return nullptr;
}
