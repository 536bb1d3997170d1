// Conversion and readback of outputs; see the header for which thread enters what.
#include "graphics/opengl/graphics_output_gl.h"

#include <cstring>
#include <limits>
#include <utility>

#include <glm/glm.hpp>
#include <glm/gtc/type_ptr.hpp>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "foundation/workarounds.h"
#include "graphics/graphics_scene.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/graphics_constant_buffer_gl.h"
#include "graphics/opengl/graphics_pack_buffer_gl.h"
#include "graphics/opengl/graphics_texture_gl.h"
#include "graphics/opengl/packed_planes.h"
#include "graphics/opengl/pixel_store.h"
#include "graphics/opengl/render_pass.h"

namespace {

// A row of the matrix, as which the programs get their constants: floats, and bytes.
constexpr int kRowLength = 4;
constexpr unsigned int kRowSize = kRowLength * sizeof(float);
constexpr unsigned int kConstantBufferSize = PixelFormatGL::kMaxRows * kRowSize;

// The largest size of the source's aspect ratio inside the target.
internal_vec2 FitSize(unsigned int source_width, unsigned int source_height, unsigned int width, unsigned int height) {
  if (source_width == width && source_height == height) {
    return internal_vec2(static_cast<float>(width), static_cast<float>(height));
  }
  const float source_aspect = static_cast<float>(source_width) / static_cast<float>(source_height);
  const float aspect = static_cast<float>(width) / static_cast<float>(height);
  if (source_aspect > aspect) {
    return internal_vec2(static_cast<float>(width), static_cast<float>(width) / source_aspect);
  }
  return internal_vec2(static_cast<float>(height) * source_aspect, static_cast<float>(height));
}

}  // namespace

GraphicsOutputGL::GraphicsOutputGL(GraphicsContextGL* context, GraphicsScene* scene, unsigned int width,
                                   unsigned int height, unsigned int fps)
    : GraphicsOutputImpl(scene, width, height, fps), GLObject(context) {}

GraphicsOutputGL::~GraphicsOutputGL() {
  StopThread();  // First, so that the thread is gone before what its calls reach.
}

GraphicsOutputGL::Planes GraphicsOutputGL::PlanesOf(OutputFormat format) const {
  const PixelFormat layout = PixelFormatOf(FrameFormat(format));
  const PixelFormatGL row = PixelFormatGLOf(FrameFormat(format));
  Planes planes;
  planes.count = row.plane[0].program ? layout.planes() : 0;
  for (int i = 0; i < planes.count; ++i) {
    Plane& plane = planes.plane[i];
    plane.drawn = row.plane[i];
    plane.shape = layout.plane(i);
    plane.read_format = PixelFormatGLOf(plane.drawn.target).target;
    plane.width = plane.shape.Width(width_);
    plane.height = plane.shape.Height(height_);
    plane.buffer_size = plane.shape.Size(width_, height_);
    planes.need_constants |= plane.drawn.rows > 0;
  }
  return planes;
}

void GraphicsOutputGL::CreateResources(OutputFormat format) {
  const Planes planes = PlanesOf(format);
  packed_planes_.reset();
  packing_failed_ = false;
  for (int i = 0; i < planes.count; ++i) {
    const Plane& plane = planes.plane[i];
    textures_[i].reset();
    pack_buffers_[i].reset();
    if (plane.width == 0 || plane.height == 0) continue;  // Chroma of a picture one pixel wide or high.
    if (plane.buffer_size > std::numeric_limits<std::uint32_t>::max()) continue;
    textures_[i] = std::make_unique<GraphicsTextureGL>(context(), plane.drawn.target, plane.width, plane.height);
    if (!textures_[i]->Init(true)) textures_[i].reset();
    pack_buffers_[i] = std::make_unique<GraphicsPackBufferGL>(context(), static_cast<std::uint32_t>(plane.buffer_size));
    if (!pack_buffers_[i]->Init()) pack_buffers_[i].reset();
  }
  if (planes.need_constants) {
    constant_buffer_ = std::make_unique<GraphicsConstantBufferGL>(context(), kConstantBufferSize);
    if (!constant_buffer_->Init()) constant_buffer_.reset();
  }
}

bool GraphicsOutputGL::HasResources(const Planes& planes) const {
  for (int i = 0; i < planes.count; ++i) {
    const Plane& plane = planes.plane[i];
    if (!textures_[i] || !pack_buffers_[i]) return false;
    if (textures_[i]->width() != plane.width || textures_[i]->height() != plane.height) return false;
    if (!pack_buffers_[i]->available() || pack_buffers_[i]->size() < plane.buffer_size) return false;
  }
  return planes.count > 0 && (constant_buffer_ || !planes.need_constants);
}

void GraphicsOutputGL::Attach(OutputCallback* callback) {
  if (!context()) return;
  if (callback) {
    // The render thread works under this lock too: once it is released, Output does nothing until the receiver is in
    // place. The receiver is put there without the lock, because a host's callback that is still running may want it.
    GLScope gl(context());  // The context is made current once for all resources, each of which would do it by itself.
    SuspendOutput();
    CreateResources(callback->format());
    reported_incomplete_ = false;
    context()->AddOutput(this);
  }
  GraphicsOutputImpl::Attach(callback);
}

void GraphicsOutputGL::Detach() {
  if (!context()) return;
  context()->RemoveOutput(this);
  GraphicsOutputImpl::Detach();
  context()->RemoveOutput(this);  // The call that Detach has waited for may have attached the output again.
}

void GraphicsOutputGL::Output(unsigned long long timestamp, int count) {
  if (!context() || !scene_ || scene_->width() == 0 || scene_->height() == 0) return;
  GraphicsTexture* const texture = scene_->texture();
  if (!texture) return;
  const OutputFormat format = attached_format();
  if (format == kNotAttached) return;
  if (format == kOutputTexture) {
    DeliverTexture(texture, timestamp);
    return;
  }
  const Planes planes = PlanesOf(format);
  if (planes.count == 0) {
    Logger::default_logger()->Error("gl output raw is unimplemented");
    return;
  }
  if (!HasResources(planes)) {
    if (!reported_incomplete_) {
      Logger::default_logger()->Error("Output of %dx%d delivers nothing: a plane of its layout could not be made",
                                      static_cast<int>(width_), static_cast<int>(height_));
    }
    reported_incomplete_ = true;
    return;
  }
  ScopedBind bind(context());  // Once for the three stages, each of which would bind by itself.
  if (!bind.ok()) return;
  ConvertFormat(static_cast<GraphicsTextureGL*>(texture), format);
  ReadPixel(format);
  direct_source_ = nullptr;  // The scene may be gone before the next frame.
  OutputRawPixel(format, timestamp, count);
}

void GraphicsOutputGL::DeliverTexture(GraphicsTexture* texture, unsigned long long timestamp) {
  ScopedBind bind(context());  // So that a host can draw with the texture.
  if (!bind.ok()) return;
  MutexLocker<Mutex> lock(callback_mutex_);
  if (!callback_ || callback_->format() != kOutputTexture) return;
  callback_->OnOutputTexture(texture, timestamp);
  CountDelivery(false);
}

void GraphicsOutputGL::DrawPlane(int index, const PixelFormatGL::Plane& plane, GraphicsTextureGL* source,
                                 const internal_vec2& draw_size, const float* matrix) {
  GraphicsTextureGL& target = *textures_[index];
  const internal_transform transform(draw_size);
  const internal_vec2 target_size(static_cast<float>(target.width()), static_cast<float>(target.height()));
  RenderPass::Options options;
  // What the picture does not cover is opaque black, and in a plane of Y, U or V zeros.
  if (plane.rows > 0) options.clear_color[3] = 0.0f;
  options.whole_viewport = true;
  RenderPass pass(context(), &target, options, __FILE__);
  if (!pass.begun() || !context()->BindShader(plane.program)) return;
  source->BindShaderResource(0);
  if (plane.rows == 0) {
    context()->DrawRect(transform, target_size);
  } else {
    constant_buffer_->Update(matrix + kRowLength * plane.first_row, kRowSize * static_cast<unsigned int>(plane.rows));
    if (constant_buffer_->Bind(0)) {
      context()->DrawRect(transform, target_size);
      constant_buffer_->Unbind();
    }
  }
  source->ReleaseShaderResource();
  context()->UnbindShader();
}

bool GraphicsOutputGL::DrawPacked(const Planes& planes, GraphicsTextureGL* source, const float* matrix) {
  if (packing_failed_ || !PackedPlanes::Fits(planes.count, width_, height_)) return false;
  if (source->width() != width_ || source->height() != height_ || !source->readable()) return false;
  glActiveTexture(GL_TEXTURE0);  // Any way leaves it so.
  if (!RenderPass::DrawsWhole(*context())) return false;
  for (int i = 0; i < planes.count; ++i) {
    const char* const program = planes.plane[i].drawn.program;
    const char* const built_in = context()->BuiltInName(program);
    if (!built_in || std::strcmp(built_in, program) != 0) return false;
  }
  if (!packed_planes_) {
    packing_failed_ = true;
    EvenWithoutMemory("Packing the planes of an output", [&] {
      auto packed = std::make_unique<PackedPlanes>(context(), planes.count, width_, height_);
      if (packed->Init()) packed_planes_ = std::move(packed);
    });
    if (!packed_planes_) return false;
    packing_failed_ = false;
  }
  if (!packed_planes_->Draw(source, matrix)) return false;
  LeaveViewport(planes);
  // A claim of a host's on slot 0 that was never given back ends here, as it does after a pass with constants.
  if (constant_buffer_->Bind(0)) constant_buffer_->Unbind();
  return true;
}

void GraphicsOutputGL::LeaveViewport(const Planes& planes) {
  const Plane& last = planes.plane[planes.count - 1];
  context()->SetViewPort(0, 0, last.width, last.height);
}

GLenum GraphicsOutputGL::DirectFormat(const Planes& planes, GraphicsTextureGL* source) {
  if (planes.count != 1 || source->width() != width_ || source->height() != height_ || !source->readable()) return 0;
  glActiveTexture(GL_TEXTURE0);  // Any way leaves it so.
  if (!RenderPass::DrawsWhole(*context())) return 0;
  const char* const built_in = context()->BuiltInName(planes.plane[0].drawn.program);
  if (!built_in) return 0;
  if (std::strcmp(built_in, "rgba") == 0) return GL_RGBA;
  return std::strcmp(built_in, "to_bgra") == 0 ? GL_BGRA : 0;
}

void GraphicsOutputGL::ConvertFormat(GraphicsTextureGL* source, OutputFormat format) {
  direct_source_ = nullptr;
  packed_ = false;
  if (!context()) return;
  ScopedBind bind(context());
  const Planes planes = PlanesOf(format);
  if (!bind.ok() || !HasResources(planes)) return;
  direct_format_ = DirectFormat(planes, source);
  if (direct_format_ != 0) {
    direct_source_ = source;
    LeaveViewport(planes);
    return;
  }
  // The matrix of the context, YUV to RGB in rows, is read as columns; so the columns of the inverse are the rows of
  // the way back: Y, U and V.
  const glm::mat4 inverse = glm::inverse(glm::make_mat4(context()->matrix_limit()));
  packed_ = DrawPacked(planes, source, glm::value_ptr(inverse));
  if (packed_) return;
  const internal_vec2 size = FitSize(source->width(), source->height(), width_, height_);
  for (int i = 0; i < planes.count; ++i) {
    const PixelFormat::Plane& shape = planes.plane[i].shape;
    const internal_vec2 plane_size(size.x / static_cast<float>(shape.across), size.y / static_cast<float>(shape.down));
    DrawPlane(i, planes.plane[i].drawn, source, plane_size, glm::value_ptr(inverse));
  }
}

void GraphicsOutputGL::ReadPixel(OutputFormat format) {
  if (!context()) return;
  ScopedBind bind(context());
  if (!bind.ok()) return;
  const Planes planes = PlanesOf(format);
  if (!HasResources(planes)) return;
  CheckGLError(__FILE__, __LINE__);
  // The pictures are mapped at once, so nothing is lost by waiting here.
  if (direct_source_ && IsUsed(Workaround::kFinishToRead)) {
    glFinish();
  } else {
    glFlush();
  }
  ScopedPack pack;
  for (int i = 0; i < planes.count; ++i) {
    const Readback from = ReadbackOf(planes, i);
    from.target->BindReadFrameBuffer();
    if (pack_buffers_[i]->Bind()) {
      glReadPixels(static_cast<GLint>(from.x), static_cast<GLint>(from.y), static_cast<GLsizei>(from.width),
                   static_cast<GLsizei>(from.height), from.format, GL_UNSIGNED_BYTE, nullptr);
      CheckGLError(__FILE__, __LINE__);
      pack_buffers_[i]->Unbind();
    }
    from.target->ReleaseReadFrameBuffer();
  }
}

GraphicsOutputGL::Readback GraphicsOutputGL::ReadbackOf(const Planes& planes, int index) {
  const Plane& plane = planes.plane[index];
  if (direct_source_) return {direct_source_, 0, 0, plane.width, plane.height, direct_format_};
  if (!packed_) return {textures_[index].get(), 0, 0, plane.width, plane.height, plane.read_format};
  const PackedPlanes::Part& part = packed_planes_->part(index);
  return {packed_planes_->target(), part.x, part.y, part.width, part.height, GL_RGBA};
}

void GraphicsOutputGL::OutputRawPixel(OutputFormat format, unsigned long long timestamp, int count) {
  if (!context()) return;
  ScopedBind bind(context());
  if (!bind.ok()) return;
  const Planes planes = PlanesOf(format);
  if (!HasResources(planes)) return;
  GraphicsFrame* frame = nullptr;
  if (!LockFrame(&frame, timestamp, count)) return;
  bool whole = true;
  for (int i = 0; frame && frame->data[i] && i < planes.count; ++i) {
    const Plane& plane = planes.plane[i];
    const std::size_t row_size = static_cast<std::size_t>(plane.width) * plane.shape.pixel_size;
    const std::size_t pitch = frame->linesize[i];
    pack_buffers_[i]->Bind();
    const unsigned char* const pixels = pack_buffers_[i]->Map();
    if (pixels) {
      // GL's first row is the bottom one, the frame's the top one.
      for (std::uint32_t y = 0; y < plane.height; ++y) {
        std::memcpy(frame->data[i] + pitch * y, pixels + row_size * (plane.height - 1 - y), row_size);
      }
    }
    whole = pixels && pack_buffers_[i]->Unmap() && whole;
    pack_buffers_[i]->Unbind();
  }
  if (frame) NoteReadback(whole);
  UnlockFrame();
}

void GraphicsOutputGL::NoteReadback(bool whole) {
  if (readback_failed_ == !whole) return;
  readback_failed_ = !whole;
  if (whole) {
    Logger::default_logger()->Info("Pictures of an output can be read back again");
  } else {
    Logger::default_logger()->Warn("A picture of an output could not be read back: it may show anything");
  }
}
