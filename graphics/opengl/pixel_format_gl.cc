// The tables of layouts on OpenGL. They have no default, so that the compiler warns of a layout that has no row.
#include "graphics/opengl/pixel_format_gl.h"

PixelFormatGL PixelFormatGLOf(GraphicsFormatInternal format) {
  switch (format) {
    case kFormatUnknown: break;
    case kFormatRGBA: return {GL_RGBA, GL_RGBA, GL_RGBA, {{kFormatRGBA, "rgba", 0, 0}}};
    case kFormatBGRA:
      // An update exchanges no channels (Kept: C18), and the built-in program is "to_bgra" (Kept: C15).
      return {0, 0, GL_RGBA, {{kFormatRGBA, "to_rgba", 0, 0}}};
    case kFormatR8:
      // GL refuses GL_R8 as the pixel format of an image. Kept: C17.
      return {GL_RED, GL_R8, 0, {}};
    case kFormatRG8: return {GL_RG, GL_RG, 0, {}};
    case kFormatRGBA16: break;
    case kFormatI420:
      return {0, 0, 0, {{kFormatR8, "to_y", 0, 1}, {kFormatR8, "to_u", 1, 1}, {kFormatR8, "to_v", 2, 1}}};
    case kFormatNV12: return {0, 0, 0, {{kFormatR8, "to_y", 0, 1}, {kFormatRG8, "to_uv", 1, 2}}};
    case kFormatNV21: break;
  }
  return {};
}

ExternalFormatGL ExternalFormatGLOf(std::uint32_t code) {
  switch (static_cast<ExternalImageFormat>(code)) {
    case kExternalImageBGRA: return {GL_RGBA, GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV, 4, true};
    case kExternalImageL10R: return {GL_RGB10_A2, GL_BGRA, GL_UNSIGNED_INT_2_10_10_10_REV, 4, true};
  }
  ExternalFormatGL unknown = ExternalFormatGLOf(kExternalImageBGRA);
  unknown.known = false;
  return unknown;
}
