// A picture of video on OpenGL: textures for its planes, and a render target that they are drawn into.
//
// Init, Update and the destructor take the context's lock and make it current themselves, on any thread, also in the
// middle of a draw, and leave GL as it was.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_VIDEO_TEXTURE_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_VIDEO_TEXTURE_GL_H_

#include "graphics/graphics_video_texture.h"
#include "graphics/opengl/gl_object.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/plane_programs.h"

class GraphicsVideoTextureGL : public GraphicsVideoTexture, public GLObject {
 public:
  // Does no GL work; Init must follow.
  GraphicsVideoTextureGL(GraphicsContextGL* context, VideoLayout layout, unsigned int width, unsigned int height);
  ~GraphicsVideoTextureGL() override;

  // Makes the textures and the target, which is black, and sees to the program. Returns false, with the log telling
  // why, when one of them cannot be had.
  bool Init();

  GraphicsTexture* image() override { return &image_; }
  const char* Update(const VideoColor& color, const unsigned char* const* planes, const unsigned int* strides) override;

 private:
  VideoPlane plane(int i) const { return VideoPlaneOf(layout_, i, width_, height_); }
  PlanePrograms::Program* program() const;
  bool CreatePlane(int i);
  void UploadPlane(int i, const unsigned char* rows, unsigned int stride);
  // Draws the planes into the image. Returns false when its target cannot be bound.
  bool Draw(const VideoColor& color);

  const VideoLayout layout_;
  const unsigned int width_;
  const unsigned int height_;
  GraphicsTextureGL image_;
  GLuint planes_[kMaxVideoPlanes] = {};
  // Of the colour that the rows are for.
  bool has_rows_ = false;
  VideoColor color_;
  float rows_[12] = {};
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_VIDEO_TEXTURE_GL_H_
