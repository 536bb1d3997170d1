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
  FragColor = constants * edge();
}
)";

constexpr char kTexture[] = R"(
uniform sampler2D u_tex0;
void main() {
  FragColor = texture(u_tex0, v_tex_coord) * (constants * edge());
}
)";

// One texel for each pixel: what the filter of the one before would come to, at a fraction of its cost in software.
constexpr char kTexels[] = R"(
uniform sampler2D u_tex0;
void main() {
  ivec2 texel = ivec2(v_tex_coord * vec2(textureSize(u_tex0, 0)));
  FragColor = texelFetch(u_tex0, texel, 0) * constants;
}
)";

constexpr char kGrey[] = R"(
uniform sampler2D u_tex0;
void main() {
  vec4 color = texture(u_tex0, v_tex_coord);
  FragColor = vec4(vec3(dot(color.rgb, vec3(0.2126, 0.7152, 0.0722))), color.a);
}
)";

// A bell of nine samples.
constexpr char kBlur[] = R"(
uniform sampler2D u_tex0;
vec4 pair(float i) {
  vec2 offset = constants.xy * i;
  return texture(u_tex0, v_tex_coord + offset) + texture(u_tex0, v_tex_coord - offset);
}
void main() {
  FragColor = texture(u_tex0, v_tex_coord) * 0.2042 +
      pair(1.0) * 0.1802 + pair(2.0) * 0.1239 + pair(3.0) * 0.0663 + pair(4.0) * 0.0276;
}
)";

// The texels that a pixel covers, each by how much of it that is. Pixels are counted, not interpolated: the sum of the
// parts is the whole to the last bit that a picture has.
constexpr char kFilm[] = R"(
uniform sampler2D u_tex0;
vec4 mean() {
  ivec2 texels = textureSize(u_tex0, 0);
  vec2 covered = vec2(texels) / constants.xy;
  vec2 from = floor(v_tex_coord * constants.xy) * covered;
  vec2 to = from + covered;
  ivec2 first = ivec2(from);
  ivec2 last = min(ivec2(ceil(to)), texels) - 1;
  vec4 sum = vec4(0.0);
  for (int y = first.y; y <= last.y; ++y) {
    vec4 row = vec4(0.0);
    for (int x = first.x; x <= last.x; ++x) {
      float across = min(to.x, float(x + 1)) - max(from.x, float(x));
      row += texelFetch(u_tex0, ivec2(x, y), 0) * across;
    }
    sum += row * (min(to.y, float(y + 1)) - max(from.y, float(y)));
  }
  return sum / (covered.x * covered.y);
}
void main() {
  bool enlarged = all(greaterThan(constants.xy, vec2(textureSize(u_tex0, 0))));
  vec4 color = enlarged ? texture(u_tex0, v_tex_coord) : mean();
  if (constants.z == 0.0) {
    FragColor = vec4(color.rgb, 1.0);
  } else {
    FragColor = color.a > 0.0 ? vec4(color.rgb / color.a, color.a) : vec4(0.0);
  }
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
  return add_layer(kColorProgram, kColor) && add_layer(kTextureProgram, kTexture) && add(kTexelProgram, kTexels) &&
         add(kGreyProgram, kGrey) && add(kBlurProgram, kBlur) && add(kFilmProgram, kFilm);
}

bool AddBgraProgram(GsDevice* device) {
  return device->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]);
}

}  // namespace studio
