// A picture of video: its planes are put in, and an image comes out.
#ifndef QUARN_GRAPHICS_GRAPHICS_VIDEO_TEXTURE_H_
#define QUARN_GRAPHICS_GRAPHICS_VIDEO_TEXTURE_H_

#include "graphics/video_layout.h"

class GraphicsDevice;
class GraphicsTexture;

class GraphicsVideoTexture {
 public:
  virtual ~GraphicsVideoTexture() = default;
  // What shaders sample, for as long as this lives: opaque black before the first picture.
  virtual GraphicsTexture* image() = 0;
  // Makes the image of the planes, each of which has rows of `strides` bytes, not less than a row's own, the top row
  // first. Returns null, or why the image stays as it is. Thread: any.
  virtual const char* Update(const VideoColor& color, const unsigned char* const* planes,
                             const unsigned int* strides) = 0;
};

// A device that makes them. It is no operation of GraphicsDevice, whose slots are fixed.
class VideoTextureMaker {
 public:
  virtual GraphicsVideoTexture* CreateVideoTexture(VideoLayout layout, unsigned int width, unsigned int height) = 0;

 protected:
  ~VideoTextureMaker() = default;
};

// What the device makes, owned by the caller; null where it cannot, or makes none.
GraphicsVideoTexture* CreateVideoTexture(GraphicsDevice* device, VideoLayout layout, unsigned int width,
                                         unsigned int height);

#endif  // QUARN_GRAPHICS_GRAPHICS_VIDEO_TEXTURE_H_
