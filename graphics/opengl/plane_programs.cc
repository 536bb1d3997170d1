// Programs of planes. Entered by the thread that has the GL context current.
#include "graphics/opengl/plane_programs.h"

#include <string>
#include <utility>

namespace {

// One triangle over the viewport.
constexpr char kVertexSource[] = R"(#version 150
void main() {
  gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0);
}
)";

// In front of those that make a texel of a plane.
constexpr char kToPlaneSource[] = R"(#version 150
uniform sampler2D u_tex0;
uniform vec4 rows[2];  // What each of the plane's values is made of: red, green, blue, 1.
uniform vec2 origin;   // Where the plane starts in the target.
uniform vec2 size;     // Of the plane, in pixels.
out vec4 FragColor;
float Value(vec4 row, vec3 rgb) { return dot(row.xyz, rgb) + row.w; }
vec3 Mean(vec2 at) { return texture(u_tex0, at / size).rgb; }
)";

// In front of those that make a pixel of a picture. Planes have their top row first, and the picture its bottom row.
// Of luma each texel is a pixel; chroma is read between its texels, and beyond them as the nearest.
constexpr char kFromPlanesSource[] = R"(#version 150
uniform sampler2D u_tex0;
uniform vec4 rows[3];  // What red, green and blue are made of: Y, U, V, 1.
uniform vec2 origin;   // How far right of a pair of pixels' left edge, in pairs, its chroma starts; the picture's height.
uniform vec2 size;     // Of the chroma planes, in pixels.
out vec4 FragColor;
vec2 At() { return vec2(gl_FragCoord.x, origin.y - gl_FragCoord.y); }
vec2 ChromaAt() { return (0.5 * At() + vec2(origin.x, 0.0)) / size; }
void Draw(vec2 uv) {
  vec4 yuv1 = vec4(texelFetch(u_tex0, ivec2(At()), 0).r, uv, 1.0);
  FragColor = vec4(dot(rows[0], yuv1), dot(rows[1], yuv1), dot(rows[2], yuv1), 1.0);
}
)";

struct Source {
  const char* name;
  const char* common;
  const char* source;
};

constexpr Source kSources[PlanePrograms::kKinds] = {
    {"packed luma", kToPlaneSource,
     R"(float Luma(ivec2 at) { return Value(rows[0], texelFetch(u_tex0, at, 0).rgb); }
void main() {
  ivec2 at = ivec2(gl_FragCoord.xy - origin) * ivec2(4, 1);
  FragColor = vec4(Luma(at), Luma(at + ivec2(1, 0)), Luma(at + ivec2(2, 0)), Luma(at + ivec2(3, 0)));
}
)"},
    {"packed chroma", kToPlaneSource,
     R"(float Chroma(vec2 at) { return Value(rows[0], Mean(at)); }
void main() {
  vec2 at = floor(gl_FragCoord.xy - origin) * vec2(4.0, 1.0) + 0.5;
  FragColor = vec4(Chroma(at), Chroma(at + vec2(1.0, 0.0)), Chroma(at + vec2(2.0, 0.0)), Chroma(at + vec2(3.0, 0.0)));
}
)"},
    {"packed interleaved chroma", kToPlaneSource,
     R"(vec2 Chroma(vec2 at) {
  vec3 rgb = Mean(at);
  return vec2(Value(rows[0], rgb), Value(rows[1], rgb));
}
void main() {
  vec2 at = floor(gl_FragCoord.xy - origin) * vec2(2.0, 1.0) + 0.5;
  FragColor = vec4(Chroma(at), Chroma(at + vec2(1.0, 0.0)));
}
)"},
    {"picture of three planes", kFromPlanesSource,
     R"(uniform sampler2D u_tex1;
uniform sampler2D u_tex2;
void main() { Draw(vec2(texture(u_tex1, ChromaAt()).r, texture(u_tex2, ChromaAt()).r)); }
)"},
    {"picture of two planes", kFromPlanesSource,
     R"(uniform sampler2D u_tex1;
void main() { Draw(texture(u_tex1, ChromaAt()).rg); }
)"}};

}  // namespace

PlanePrograms::Program* PlanePrograms::Get(Kind kind) {
  if (programs_[kind] || failed_[kind] || !tries_[kind].IsDue()) return programs_[kind].get();
  const Source& source = kSources[kind];
  auto program = std::make_unique<Program>(source.name);
  if (!program->shader.Init(kVertexSource, (std::string(source.common) + source.source).c_str())) {
    failed_[kind] = !program->shader.lacked_memory();
    tries_[kind].NoteFailure();
    return nullptr;
  }
  program->rows = program->shader.GetUniformLocation("rows");
  program->origin = program->shader.GetUniformLocation("origin");
  program->size = program->shader.GetUniformLocation("size");
  programs_[kind] = std::move(program);
  return programs_[kind].get();
}

void PlanePrograms::Release() {
  for (auto& program : programs_) program.reset();
  for (bool& failed : failed_) failed = false;
  for (TryAgain& tries : tries_) tries.NoteSuccess();
}

void PlanePrograms::Forget() {
  for (const auto& program : programs_) {
    if (program) program->shader.Forget();
  }
}
