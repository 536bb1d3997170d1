// The part of GraphicsTextureGL that takes external images, over the platform's seam for them. Any thread, under the
// context's lock.
#include "graphics/opengl/graphics_texture_gl.h"

#include "foundation/logger.h"
#include "graphics/opengl/cgl/external_image.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/scoped_binding.h"

GraphicsTextureGL::GraphicsTextureGL(GraphicsContextGL* context, void* external_image)
    : GraphicsTextureImpl(ExternalImageWidth(external_image), ExternalImageHeight(external_image)),
      GLObject(context),
      iosurface_(true) {}

void GraphicsTextureGL::Update(void* external_image) {
  if (!context() || !external_image) return;
  if (!iosurface_) {
    Logger::default_logger()->Error("Only a texture made from an external image can be updated from one");
    return;
  }
  GLScope gl(context());
  if (!gl.ok()) return;
  // Every error from before: the upload is judged by those that it leaves.
  while (CheckGLError(__FILE__, __LINE__) != GL_NO_ERROR) {
  }
  const std::uint32_t pixel_format = ExternalImagePixelFormat(external_image);
  const ExternalFormatGL format = ExternalFormatGLOf(pixel_format);
  // An unknown layout is reported and bound all the same (Kept: C20), in texts of another platform's (Kept: C4).
  if (pixel_format == 0) {
    Logger::default_logger()->Error("Invalid IOSurface Buffer");
  } else if (!format.known) {
    Logger::default_logger()->Error("Unexpected pixel format: %d (%c%c%c%c)", static_cast<int>(pixel_format),
                                    static_cast<char>(pixel_format >> 24), static_cast<char>(pixel_format >> 16),
                                    static_cast<char>(pixel_format >> 8), static_cast<char>(pixel_format));
  }
  ScopedTexture bound(GL_TEXTURE_RECTANGLE, texture_);
  if (!BindExternalImage(external_image, format, width(), height())) {
    Logger::default_logger()->Error("CGLTexImageIOSurface2D failed");
  }
  glFlush();
  CheckGLError(__FILE__, __LINE__);
}
