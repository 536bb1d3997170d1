// What a host hands over as an external image, and how it gets into a rectangle texture: a seam of its own, because
// every platform has its own kind of image. On Linux it is a QnExternalImage (linux/external_image.cc).
#ifndef QUARN_GRAPHICS_OPENGL_CGL_EXTERNAL_IMAGE_H_
#define QUARN_GRAPHICS_OPENGL_CGL_EXTERNAL_IMAGE_H_

#include <cstdint>

#include "graphics/opengl/pixel_format_gl.h"

// Size in pixels.
unsigned int ExternalImageWidth(const void* image);
unsigned int ExternalImageHeight(const void* image);
// A four-character code, of ExternalImageFormat or not; 0 when the image has none.
std::uint32_t ExternalImagePixelFormat(const void* image);

// Fills the texture that is bound to GL_TEXTURE_RECTANGLE with `width` x `height` pixels of the image. Returns false
// when the image cannot supply them, or when GL refuses them: no error is pending before, and what it says is logged.
//
// Ownership: the image is read during the call only.
bool BindExternalImage(const void* image, const ExternalFormatGL& format, unsigned int width, unsigned int height);

#endif  // QUARN_GRAPHICS_OPENGL_CGL_EXTERNAL_IMAGE_H_
