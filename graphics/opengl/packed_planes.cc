// Packed planes. Entered by the thread that has the GL context current.
#include "graphics/opengl/packed_planes.h"

#include <utility>

#include "graphics/opengl/render_pass.h"

namespace {

constexpr int kRowLength = 4;  // Floats.

}  // namespace

bool PackedPlanes::Fits(int planes, std::uint32_t width, std::uint32_t height) {
  return (planes == 2 ? width % 4 == 0 : planes == 3 && width % 8 == 0) && height % 2 == 0;
}

PackedPlanes::PackedPlanes(GraphicsContextGL* context, int planes, std::uint32_t width, std::uint32_t height)
    : context_(context),
      planes_(planes),
      width_(width),
      height_(height),
      parts_{{PlanePrograms::kLuma, 0, 0, width / 4, height}},
      target_(context, width / 4, height + height / 2) {
  if (planes == 2) {
    parts_[1] = {PlanePrograms::kInterleavedUV, 0, height, width / 4, height / 2};
  } else {
    parts_[1] = {PlanePrograms::kChroma, 0, height, width / 8, height / 2};
    parts_[2] = {PlanePrograms::kChroma, width / 8, height, width / 8, height / 2};
  }
}

bool PackedPlanes::Init() {
  for (int i = 0; i < planes_; ++i) {
    if (!context_->plane_programs().Get(parts_[i].kind)) return false;
  }
  target_.SetQuiet(true);
  return target_.height() <= context_->max_texture_size() && target_.Init(true);
}

bool PackedPlanes::Draw(GraphicsTextureGL* source, const float* rows) {
  RenderPass::Options options;
  options.clear = false;
  RenderPass pass(context_, &target_, options, __FILE__);
  if (!pass.begun()) return false;
  source->BindShaderResource(0);
  for (int i = 0; i < planes_; ++i) DrawPart(parts_[i], rows + kRowLength * i);
  source->ReleaseShaderResource();
  context_->UnbindShader();
  return true;
}

void PackedPlanes::DrawPart(const Part& part, const float* rows) {
  PlanePrograms::Program* const program = context_->plane_programs().Get(part.kind);
  if (!program) return;
  const std::uint32_t parts = part.kind == PlanePrograms::kLuma ? 1 : 2;
  const std::uint32_t width = width_ / parts;
  const std::uint32_t height = height_ / parts;
  program->shader.Bind();
  glUniform4fv(program->rows, part.kind == PlanePrograms::kInterleavedUV ? 2 : 1, rows);
  glUniform2f(program->origin, static_cast<float>(part.x), static_cast<float>(part.y));
  glUniform2f(program->size, static_cast<float>(width), static_cast<float>(height));
  context_->SetViewPort(part.x, part.y, part.width, part.height);
  context_->DrawViewPort();
}
