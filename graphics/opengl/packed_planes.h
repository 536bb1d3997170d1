// The planes of NV12 and I420 in one target, four of their bytes to a texel.
#ifndef QUARN_GRAPHICS_OPENGL_PACKED_PLANES_H_
#define QUARN_GRAPHICS_OPENGL_PACKED_PLANES_H_

#include <cstdint>
#include <memory>

#include "graphics/opengl/gl_object.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/plane_programs.h"

// Makes the same bytes as a pass with "to_y", "to_uv", "to_u" or "to_v" for each plane does, where the picture is as
// large as the scene: in a quarter of the fragments, and in one target, which each plane is read from as bytes of its
// own. Luma reads each texel of the picture once; chroma reads between four, where the filter makes their mean.
//
// Made and destroyed by any thread; the rest is the render thread's, with the context current.
class PackedPlanes {
 public:
  // Where a plane lies in the target, in texels of four bytes.
  struct Part {
    PlanePrograms::Kind kind;
    std::uint32_t x;
    std::uint32_t y;
    std::uint32_t width;
    std::uint32_t height;
  };

  // Whether planes of that picture can be packed: each has rows of whole texels, and chroma whole pixels. `planes` is 2
  // with interleaved chroma, and 3 without.
  static bool Fits(int planes, std::uint32_t width, std::uint32_t height);

  PackedPlanes(GraphicsContextGL* context, int planes, std::uint32_t width, std::uint32_t height);
  PackedPlanes(const PackedPlanes&) = delete;
  PackedPlanes& operator=(const PackedPlanes&) = delete;

  // Returns false when the target or a program cannot be made.
  bool Init();
  // Draws the planes of `source`, a render target as large as the picture. `rows` are twelve floats, the rows of the
  // matrix from red, green, blue and 1 to Y, U and V. After an Init that succeeded. Returns false, with nothing drawn
  // or logged, when the target cannot be bound.
  bool Draw(GraphicsTextureGL* source, const float* rows);

  // What the planes are read back from, as GL_RGBA.
  GraphicsTextureGL* target() { return &target_; }
  const Part& part(int plane) const { return parts_[plane]; }

 private:
  static constexpr int kMaxPlanes = 3;

  void DrawPart(const Part& part, const float* rows);

  GraphicsContextGL* const context_;
  const int planes_;
  const std::uint32_t width_;
  const std::uint32_t height_;
  Part parts_[kMaxPlanes];
  GraphicsTextureGL target_;
};

#endif  // QUARN_GRAPHICS_OPENGL_PACKED_PLANES_H_
