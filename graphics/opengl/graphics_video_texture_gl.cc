// Pictures of video; see the header for which thread enters what.
#include "graphics/opengl/graphics_video_texture_gl.h"

#include "foundation/logger.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/pixel_store.h"
#include "graphics/opengl/render_pass.h"
#include "graphics/opengl/scoped_draw_state.h"

namespace {

struct PlaneGL {
  GLint storage;
  GLenum format;
  GLenum type;
};

// The storage keeps every bit of the plane.
PlaneGL PlaneGLOf(const VideoPlane& plane) {
  const GLenum format = plane.channels == 2 ? GL_RG : GL_RED;
  if (plane.bytes == 2) return {plane.channels == 2 ? GL_RG16 : GL_R16, format, GL_UNSIGNED_SHORT};
  return {plane.channels == 2 ? GL_RG8 : GL_R8, format, GL_UNSIGNED_BYTE};
}

// Every error from before: what follows is judged by those that it leaves.
void TakeErrors() {
  while (CheckGLError(__FILE__, __LINE__) != GL_NO_ERROR) {
  }
}

// How far right of a pair of pixels' left edge its chroma starts, in pairs: a sample between the two covers both, one
// at the left pixel as much of the pixel before.
float ChromaOrigin(const VideoColor& color) { return color.chroma_centered ? 0.0f : 0.25f; }

}  // namespace

GraphicsVideoTextureGL::GraphicsVideoTextureGL(GraphicsContextGL* context, VideoLayout layout, unsigned int width,
                                               unsigned int height)
    : GLObject(context), layout_(layout), width_(width), height_(height), image_(context, width, height) {}

GraphicsVideoTextureGL::~GraphicsVideoTextureGL() {
  GLScope gl(context());
  if (!gl.ok()) return;
  for (const GLuint texture : planes_) {
    if (texture) glDeleteTextures(1, &texture);
  }
}

PlanePrograms::Program* GraphicsVideoTextureGL::program() const {
  return context()->plane_programs().Get(VideoPlanes(layout_) == 3 ? PlanePrograms::kFromThreePlanes
                                                                   : PlanePrograms::kFromTwoPlanes);
}

bool GraphicsVideoTextureGL::Init() {
  GLScope gl(context());
  if (!gl.ok() || !program()) return false;
  TakeErrors();
  for (int i = 0; i < VideoPlanes(layout_); ++i) {
    if (!CreatePlane(i)) {
      Logger::default_logger()->Error("A video texture of %ux%u cannot be made: the driver has no room for its planes",
                                      width_, height_);
      return false;
    }
  }
  if (!image_.Init(true)) return false;
  const ScopedDrawState found(*context());
  const RenderPass pass(context(), &image_, RenderPass::Options(), __FILE__);  // Clears it to opaque black.
  image_.SetQuiet(true);  // From here on Update says what it comes to.
  return pass.begun();
}

bool GraphicsVideoTextureGL::CreatePlane(int i) {
  glGenTextures(1, &planes_[i]);
  if (!planes_[i]) return false;
  const VideoPlane plane = this->plane(i);
  const PlaneGL gl = PlaneGLOf(plane);
  const GLint filter = i == 0 ? GL_NEAREST : GL_LINEAR;
  const ScopedTexture bound(GL_TEXTURE_2D, planes_[i]);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
  glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAX_LEVEL, 0);
  const ScopedUnpack unpack;
  glTexImage2D(GL_TEXTURE_2D, 0, gl.storage, static_cast<GLsizei>(plane.width), static_cast<GLsizei>(plane.height), 0,
               gl.format, gl.type, nullptr);
  return CheckGLError(__FILE__, __LINE__) == GL_NO_ERROR;
}

const char* GraphicsVideoTextureGL::Update(const VideoColor& color, const unsigned char* const* planes,
                                           const unsigned int* strides) {
  GLScope gl(context());
  if (!gl.ok()) return "its device cannot draw";
  TakeErrors();
  for (int i = 0; i < VideoPlanes(layout_); ++i) {
    UploadPlane(i, planes[i], strides[i]);
    if (CheckGLError(__FILE__, __LINE__) != GL_NO_ERROR) return "the driver does not take its planes";
  }
  return Draw(color) ? nullptr : "the driver does not draw it";
}

void GraphicsVideoTextureGL::UploadPlane(int i, const unsigned char* rows, unsigned int stride) {
  const VideoPlane plane = this->plane(i);
  const PlaneGL gl = PlaneGLOf(plane);
  const unsigned int texel = plane.channels * plane.bytes;
  // GL counts the distance of rows in texels, and drivers in bytes of an int: what is neither goes up row by row.
  const unsigned int row_texels = stride / texel;
  constexpr unsigned int kMaxRowBytes = 1u << 30;
  const bool at_once = stride % texel == 0 && stride <= kMaxRowBytes;
  const auto width = static_cast<GLsizei>(plane.width);
  const auto height = static_cast<GLsizei>(plane.height);
  const ScopedUnpack unpack(at_once ? static_cast<GLint>(row_texels) : 0);
  const ScopedTexture bound(GL_TEXTURE_2D, planes_[i]);
  if (at_once) {
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width, height, gl.format, gl.type, rows);
    return;
  }
  for (GLsizei y = 0; y < height; ++y) {
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, y, width, 1, gl.format, gl.type, rows + std::size_t{stride} * y);
  }
}

bool GraphicsVideoTextureGL::Draw(const VideoColor& color) {
  if (!has_rows_ || !(color == color_)) VideoRows(layout_, color, rows_);
  has_rows_ = true;
  color_ = color;
  PlanePrograms::Program* const program = this->program();  // There since Init.
  const VideoPlane chroma = plane(1);

  const ScopedDrawState found(*context());
  RenderPass::Options options;
  options.clear = false;
  options.whole_viewport = true;
  const RenderPass pass(context(), &image_, options, __FILE__);
  if (!pass.begun()) return false;
  program->shader.Bind();
  const GraphicsShaderGL::Bindings& bindings = program->shader.bindings();
  for (int i = 0; i < bindings.texture_count; ++i) {
    glUniform1i(bindings.textures[i], i);
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + i));
    glBindTexture(GL_TEXTURE_2D, planes_[i]);
  }
  glUniform4fv(program->rows, 3, rows_);
  glUniform2f(program->origin, ChromaOrigin(color), static_cast<float>(height_));
  glUniform2f(program->size, static_cast<float>(chroma.width), static_cast<float>(chroma.height));
  context()->DrawViewPort();
  return true;
}
