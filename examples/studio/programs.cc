#include "studio/programs.h"

#include <string>

#include <quarn/glsl_src.h>

namespace studio {
namespace {

constexpr char kHead[] = R"(
in vec2 v_tex_coord;
out vec4 FragColor;
layout(std140) uniform u_buf0 { vec4 constants; };
)";

constexpr char kStraightEdge[] = R"(
float edge() { return 1.0; }
)";

// Covers a turned layer's stairs: pixels that its edge cuts are drawn in part.
constexpr char kTurnedEdge[] = R"(
float edge() {
  vec2 distance = min(v_tex_coord, 1.0 - v_tex_coord) / fwidth(v_tex_coord);
  return clamp(min(distance.x, distance.y) + 0.5, 0.0, 1.0);
}
)";

constexpr char kColor[] = R"(
void main() {
  FragColor = vec4(constants.rgb, constants.a * edge());
}
)";

constexpr char kTexture[] = R"(
uniform sampler2D u_tex0;
void main() {
  vec4 color = texture(u_tex0, v_tex_coord) * constants;
  FragColor = vec4(color.rgb, color.a * edge());
}
)";

constexpr char kMasked[] = R"(
uniform sampler2D u_tex0;
uniform sampler2D u_tex1;
void main() {
  vec4 color = vec4(texture(u_tex0, v_tex_coord).rgb, texture(u_tex1, v_tex_coord).a) * constants;
  FragColor = vec4(color.rgb, color.a * edge());
}
)";

// Filters write alpha 1: they draw over opaque black with blending on, and must not be mixed with it.
constexpr char kGrey[] = R"(
uniform sampler2D u_tex0;
void main() {
  float grey = dot(texture(u_tex0, v_tex_coord).rgb, vec3(0.2126, 0.7152, 0.0722));
  FragColor = vec4(vec3(grey), 1.0);
}
)";

// A bell of nine samples.
constexpr char kBlur[] = R"(
uniform sampler2D u_tex0;
vec3 pair(float i) {
  vec2 offset = constants.xy * i;
  return texture(u_tex0, v_tex_coord + offset).rgb + texture(u_tex0, v_tex_coord - offset).rgb;
}
void main() {
  vec3 color = texture(u_tex0, v_tex_coord).rgb * 0.2042;
  color += pair(1.0) * 0.1802 + pair(2.0) * 0.1239 + pair(3.0) * 0.0663 + pair(4.0) * 0.0276;
  FragColor = vec4(color, 1.0);
}
)";

}  // namespace

bool AddPrograms(GsDevice* device) {
  const char* vertex = glsl_src[kGsGlslRgba + 1];
  const auto add = [&](const char* name, const std::string& body) {
    return device->AddShader(name, vertex, (kHead + body).c_str());
  };
  const auto add_layer = [&](const LayerProgram& program, const char* body) {
    return add(program.straight, std::string(kStraightEdge) + body) &&
           add(program.turned, std::string(kTurnedEdge) + body);
  };
  return add_layer(kColorProgram, kColor) && add_layer(kTextureProgram, kTexture) &&
         add_layer(kMaskedProgram, kMasked) && add(kGreyProgram, kGrey) && add(kBlurProgram, kBlur);
}

bool AddBgraProgram(GsDevice* device) {
  return device->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]);
}

}  // namespace studio
