// The text of the built-in programs, character by character: a host can read it and build on it.
#include <quarn/glsl_src.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char kCommonVertex[] = R"(
#if __VERSION__ >= 300
layout (location = 0) in vec3 a_pos;
layout (location = 1) in vec2 a_tex_coord;
out vec2 v_tex_coord;
#elif __VERSION__ >= 150
in vec3 a_pos;
in vec2 a_tex_coord;
out vec2 v_tex_coord;
#else
attribute vec3 a_pos;
attribute vec2 a_tex_coord;
varying vec2 v_tex_coord;
#endif

uniform mvp {
    mat4 model;
    mat4 view;
    mat4 projection;
};

void main() {
    gl_Position = projection * view * model * vec4(a_pos, 1.0);
    v_tex_coord = a_tex_coord;
}
)";

constexpr char kTextureCopy[] = R"(
precision mediump float;
#if __VERSION__ >= 300
    layout (location = 0) out vec4 FragColor;
    in vec2 v_tex_coord;
#elif __VERSION__ >= 150
    out vec4 FragColor;
    in vec2 v_tex_coord;
#else
    varying vec2 v_tex_coord;
#endif

uniform sampler2D u_tex0;


void main() {
    vec2 coord = v_tex_coord;

#if __VERSION__ >= 150
    vec4 rgba = texture(u_tex0, coord);
#else
    vec4 rgba = texture2D(u_tex0, coord);
#endif

#if __VERSION__ >= 150
    FragColor = rgba;
#else
    gl_FragColor = rgba;
#endif
}
)";

// What every fragment source shares with the texture copy.
std::string FrameUpToSampler() {
  const std::string copy = kTextureCopy;
  const std::string sampler = "uniform sampler2D u_tex0;\n";
  return copy.substr(0, copy.find(sampler) + sampler.size());
}
std::string FrameFromOutput() {
  const std::string copy = kTextureCopy;
  return copy.substr(copy.rfind("\n#if __VERSION__ >= 150\n    FragColor"));
}

TEST(GlslSrcTest, HasSixRowsInOrder) {
  ASSERT_EQ(kGsGlslSrcCount, 18);
  EXPECT_STREQ(glsl_src[kGsGlslRgba], "rgba");
  EXPECT_STREQ(glsl_src[kGsGlslToBgra], "to_bgra");
  EXPECT_STREQ(glsl_src[kGsGlslToY], "to_y");
  EXPECT_STREQ(glsl_src[kGsGlslToUv], "to_uv");
  EXPECT_STREQ(glsl_src[kGsGlslToU], "to_u");
  EXPECT_STREQ(glsl_src[kGsGlslToV], "to_v");
  EXPECT_EQ(kGsGlslRgba, 0);
  EXPECT_EQ(kGsGlslToBgra, 3);
  EXPECT_EQ(kGsGlslToY, 6);
  EXPECT_EQ(kGsGlslToUv, 9);
  EXPECT_EQ(kGsGlslToU, 12);
  EXPECT_EQ(kGsGlslToV, 15);
}

// Other static initialisers may read the table, before main.
const std::string first_name_at_static_initialisation = glsl_src[0];
TEST(GlslSrcTest, IsFilledBeforeMain) { EXPECT_EQ(first_name_at_static_initialisation, "rgba"); }

TEST(GlslSrcTest, EveryRowHasTheCommonVertexSource) {
  for (int row = 0; row < kGsGlslSrcCount; row += 3) EXPECT_STREQ(glsl_src[row + 1], kCommonVertex) << glsl_src[row];
}

TEST(GlslSrcTest, RgbaIsTheTextureCopy) { EXPECT_STREQ(glsl_src[kGsGlslRgba + 2], kTextureCopy); }

TEST(GlslSrcTest, SourcesCarryNoVersionLine) {
  for (int i = 0; i < kGsGlslSrcCount; ++i) EXPECT_THAT(glsl_src[i], Not(HasSubstr("#version")));
}

TEST(GlslSrcTest, ConversionsShareTheFrameOfTheTextureCopy) {
  for (int row = 0; row < kGsGlslSrcCount; row += 3) {
    EXPECT_THAT(glsl_src[row + 2], StartsWith(FrameUpToSampler())) << glsl_src[row];
    EXPECT_THAT(glsl_src[row + 2], EndsWith(FrameFromOutput())) << glsl_src[row];
    EXPECT_THAT(glsl_src[row + 2], HasSubstr("#if __VERSION__ >= 150\n    vec4 rgba = texture(u_tex0, coord);\n#else\n"
                                             "    vec4 rgba = texture2D(u_tex0, coord);\n#endif\n"))
        << glsl_src[row];
  }
}

TEST(GlslSrcTest, ConversionsComputeTheirRule) {
  EXPECT_THAT(glsl_src[kGsGlslToBgra + 2], HasSubstr("vec4(rgba.b, rgba.g, rgba.r, rgba.a)"));
  EXPECT_THAT(glsl_src[kGsGlslToBgra + 2], Not(HasSubstr("u_buf0")));
  EXPECT_THAT(glsl_src[kGsGlslToY + 2], HasSubstr("dot(color_vec.xyz, rgba.rgb) + color_vec.w"));
  EXPECT_THAT(glsl_src[kGsGlslToY + 2], HasSubstr("vec4(y, 0.0, 0.0, 0.0)"));
  EXPECT_THAT(glsl_src[kGsGlslToU + 2], HasSubstr("dot(color_vec_u.xyz, rgba.rgb) + color_vec_u.w"));
  EXPECT_THAT(glsl_src[kGsGlslToU + 2], HasSubstr("vec4(u, 0.0, 0.0, 0.0)"));
  EXPECT_THAT(glsl_src[kGsGlslToV + 2], HasSubstr("dot(color_vec_v.xyz, rgba.rgb) + color_vec_v.w"));
  EXPECT_THAT(glsl_src[kGsGlslToV + 2], HasSubstr("vec4(v, 0.0, 0.0, 0.0)"));
  const char* const to_uv = glsl_src[kGsGlslToUv + 2];
  EXPECT_THAT(to_uv, HasSubstr("dot(color_vec_u.xyz, rgba.rgb) + color_vec_u.w"));
  EXPECT_THAT(to_uv, HasSubstr("dot(color_vec_v.xyz, rgba.rgb) + color_vec_v.w"));
  // Two channels where MACOSX is defined, which every program's prefix does; four elsewhere.
  EXPECT_THAT(to_uv, HasSubstr("#ifdef MACOSX\n    rgba = vec4(u, v, 0.0, 0.0);\n#else\n"
                               "    rgba = vec4(u, u, u, v);\n#endif\n"));
}

}  // namespace
