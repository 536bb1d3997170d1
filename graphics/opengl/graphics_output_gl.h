// An output on OpenGL: conversion on the GPU, readback, and hand-over to the pool.
//
// Output and its stages run on the render thread with the context's lock held; Attach, Detach and destruction come from
// a host's thread.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_OUTPUT_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_OUTPUT_GL_H_

#include <memory>

#include "graphics/internal_types.h"
#include "graphics/opengl/gl_object.h"
#include "graphics/opengl/pixel_format_gl.h"
#include "graphics/output/graphics_output_impl.h"

class GraphicsConstantBufferGL;
class GraphicsPackBufferGL;
class GraphicsTextureGL;
class PackedPlanes;

class GraphicsOutputGL : public GraphicsOutputImpl, public GLObject {
 public:
  GraphicsOutputGL(GraphicsContextGL* context, GraphicsScene* scene, unsigned int width, unsigned int height,
                   unsigned int fps);
  ~GraphicsOutputGL() override;

  void Output(unsigned long long timestamp, int count) override;
  void Attach(OutputCallback* callback) override;
  void Detach() override;

  // The stages of a raw frame: draw the source into the planes' targets, read them into the pack buffers, copy those
  // into a frame of the pool.
  void ConvertFormat(GraphicsTextureGL* source, OutputFormat format);
  void ReadPixel(OutputFormat format);
  void OutputRawPixel(OutputFormat format, unsigned long long timestamp, int count);

 private:
  static constexpr int kSlots = 8;  // Room for layouts of more planes than the present ones have.

  // A plane of a raw frame of this output, as it is drawn and read back.
  struct Plane {
    PixelFormatGL::Plane drawn;
    PixelFormat::Plane shape;
    std::uint32_t width;  // Pixels of the target.
    std::uint32_t height;
    std::uint64_t buffer_size;  // Bytes of the pack buffer.
    GLenum read_format;
  };
  struct Planes {
    int count = 0;
    Plane plane[PixelFormat::kMaxPlanes];
    bool need_constants = false;
  };
  // What a plane is read back from.
  struct Readback {
    GraphicsTextureGL* target;
    std::uint32_t x;  // Texels.
    std::uint32_t y;
    std::uint32_t width;
    std::uint32_t height;
    GLenum format;
  };

  // No planes for a format that is not raw.
  Planes PlanesOf(OutputFormat format) const;
  void CreateResources(OutputFormat format);
  // Whether everything that the planes need is there.
  bool HasResources(const Planes& planes) const;
  // Draws the source, `draw_size` large, into the middle of a plane's target; `matrix` has the constants of all planes.
  void DrawPlane(int index, const PixelFormatGL::Plane& plane, GraphicsTextureGL* source,
                 const internal_vec2& draw_size, const float* matrix);
  // Draws the planes four bytes to a texel. Returns false, with nothing drawn, where that would not make the bytes that
  // a pass for each plane makes: the source is of another size, or a program is not the built-in one; and where it
  // cannot be done.
  bool DrawPacked(const Planes& planes, GraphicsTextureGL* source, const float* matrix);
  // As what the source itself can be read back, where a pass would only copy each of its texels; 0 where it cannot.
  GLenum DirectFormat(const Planes& planes, GraphicsTextureGL* source);
  // Leaves the viewport that a pass for each plane leaves.
  void LeaveViewport(const Planes& planes);
  Readback ReadbackOf(const Planes& planes, int index);
  // Says in the log where pictures begin and cease to be read back badly.
  void NoteReadback(bool whole);
  void DeliverTexture(GraphicsTexture* texture, unsigned long long timestamp);

  std::unique_ptr<GraphicsTextureGL> textures_[kSlots];
  std::unique_ptr<GraphicsPackBufferGL> pack_buffers_[kSlots];
  std::unique_ptr<GraphicsConstantBufferGL> constant_buffer_;
  // Where ConvertFormat has left the planes, if not in their targets.
  GraphicsTextureGL* direct_source_ = nullptr;  // The source is read itself, as direct_format_.
  GLenum direct_format_ = 0;
  bool readback_failed_ = false;                 // Whether the last picture was not read back whole.
  std::unique_ptr<PackedPlanes> packed_planes_;  // Made by the first frame that can be packed.
  bool packed_ = false;                          // Whether they lie in packed_planes_.
  bool packing_failed_ = false;                  // Whether that could not be made for this layout.
  bool reported_incomplete_ = false;             // So that missing resources are logged once an attach.
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_OUTPUT_GL_H_
