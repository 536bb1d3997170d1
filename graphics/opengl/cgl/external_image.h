// What a host hands over as an external image, and how it gets into a rectangle texture: a seam of its own, because
// every platform has its own kind of image. On Linux it is a QnExternalImage (linux/external_image.cc).
#ifndef QUARN_GRAPHICS_OPENGL_CGL_EXTERNAL_IMAGE_H_
#define QUARN_GRAPHICS_OPENGL_CGL_EXTERNAL_IMAGE_H_

#include <cstdint>

#include "graphics/opengl/gl.h"

// Size in pixels.
unsigned int ExternalImageWidth(const void* image);
unsigned int ExternalImageHeight(const void* image);
// A four-character code; 0 when the image has none.
std::uint32_t ExternalImagePixelFormat(const void* image);

constexpr std::uint32_t kExternalImageBGRA = 0x42475241;  // 'BGRA'
constexpr std::uint32_t kExternalImageL10R = 0x6C313072;  // 'l10r'

// Fills the texture that is bound to GL_TEXTURE_RECTANGLE with `width` x `height` pixels of the image. Returns false
// when the image cannot supply them, or when GL refuses them: no error is pending before, and what it says is logged.
//
// Ownership: the image is read during the call only.
bool BindExternalImage(const void* image, GLint internal_format, unsigned int width, unsigned int height, GLenum format,
                       GLenum type);

#endif  // QUARN_GRAPHICS_OPENGL_CGL_EXTERNAL_IMAGE_H_
