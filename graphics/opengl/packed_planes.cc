// Packed planes. Entered by the thread that has the GL context current.
#include "graphics/opengl/packed_planes.h"

#include <string>
#include <utility>

#include "graphics/opengl/render_pass.h"

namespace {

// One triangle over the viewport.
constexpr char kVertexSource[] = R"(#version 150
void main() {
  gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0);
}
)";

// In front of what is below, which makes a texel of the plane.
constexpr char kCommonSource[] = R"(#version 150
uniform sampler2D u_tex0;
uniform vec4 rows[2];  // What each of the plane's values is made of: red, green, blue, 1.
uniform vec2 origin;   // Where the plane starts in the target.
uniform vec2 size;     // Of the plane, in pixels.
out vec4 FragColor;
float Value(vec4 row, vec3 rgb) { return dot(row.xyz, rgb) + row.w; }
vec3 Mean(vec2 at) { return texture(u_tex0, at / size).rgb; }
)";

constexpr const char* kSources[PlanePrograms::kKinds] = {
    R"(float Luma(ivec2 at) { return Value(rows[0], texelFetch(u_tex0, at, 0).rgb); }
void main() {
  ivec2 at = ivec2(gl_FragCoord.xy - origin) * ivec2(4, 1);
  FragColor = vec4(Luma(at), Luma(at + ivec2(1, 0)), Luma(at + ivec2(2, 0)), Luma(at + ivec2(3, 0)));
}
)",
    R"(float Chroma(vec2 at) { return Value(rows[0], Mean(at)); }
void main() {
  vec2 at = floor(gl_FragCoord.xy - origin) * vec2(4.0, 1.0) + 0.5;
  FragColor = vec4(Chroma(at), Chroma(at + vec2(1.0, 0.0)), Chroma(at + vec2(2.0, 0.0)), Chroma(at + vec2(3.0, 0.0)));
}
)",
    R"(vec2 Chroma(vec2 at) {
  vec3 rgb = Mean(at);
  return vec2(Value(rows[0], rgb), Value(rows[1], rgb));
}
void main() {
  vec2 at = floor(gl_FragCoord.xy - origin) * vec2(2.0, 1.0) + 0.5;
  FragColor = vec4(Chroma(at), Chroma(at + vec2(1.0, 0.0)));
}
)"};

constexpr const char* kNames[PlanePrograms::kKinds] = {"packed luma", "packed chroma", "packed interleaved chroma"};

constexpr int kRowLength = 4;  // Floats.

}  // namespace

PlanePrograms::Program* PlanePrograms::Get(Kind kind) {
  if (programs_[kind] || failed_[kind]) return programs_[kind].get();
  auto program = std::make_unique<Program>(kNames[kind]);
  failed_[kind] = !program->shader.Init(kVertexSource, (std::string(kCommonSource) + kSources[kind]).c_str());
  if (failed_[kind]) return nullptr;
  program->rows = program->shader.GetUniformLocation("rows");
  program->origin = program->shader.GetUniformLocation("origin");
  program->size = program->shader.GetUniformLocation("size");
  programs_[kind] = std::move(program);
  return programs_[kind].get();
}

void PlanePrograms::Release() {
  for (auto& program : programs_) program.reset();
  for (bool& failed : failed_) failed = false;
}

void PlanePrograms::Forget() {
  for (const auto& program : programs_) {
    if (program) program->shader.Forget();
  }
}

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
