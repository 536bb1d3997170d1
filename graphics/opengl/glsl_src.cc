// Sources of the built-in shader programs. They carry no version line: one is put in front when they are compiled.
//
// Every fragment source has the same frame; the conversions differ in a block of constants and in the lines between the
// texture read and the output.
#include <quarn/glsl_src.h>

namespace {

constexpr char kVertexSource[] =
    "\n"
    "#if __VERSION__ >= 300\n"
    "layout (location = 0) in vec3 a_pos;\n"
    "layout (location = 1) in vec2 a_tex_coord;\n"
    "out vec2 v_tex_coord;\n"
    "#elif __VERSION__ >= 150\n"
    "in vec3 a_pos;\n"
    "in vec2 a_tex_coord;\n"
    "out vec2 v_tex_coord;\n"
    "#else\n"
    "attribute vec3 a_pos;\n"
    "attribute vec2 a_tex_coord;\n"
    "varying vec2 v_tex_coord;\n"
    "#endif\n"
    "\n"
    "uniform mvp {\n"
    "    mat4 model;\n"
    "    mat4 view;\n"
    "    mat4 projection;\n"
    "};\n"
    "\n"
    "void main() {\n"
    "    gl_Position = projection * view * model * vec4(a_pos, 1.0);\n"
    "    v_tex_coord = a_tex_coord;\n"
    "}\n";

#define QUARN_FRAGMENT_SOURCE(constants, conversion) \
  "\n"                                               \
  "precision mediump float;\n"                       \
  "#if __VERSION__ >= 300\n"                         \
  "    layout (location = 0) out vec4 FragColor;\n"  \
  "    in vec2 v_tex_coord;\n"                       \
  "#elif __VERSION__ >= 150\n"                       \
  "    out vec4 FragColor;\n"                        \
  "    in vec2 v_tex_coord;\n"                       \
  "#else\n"                                          \
  "    varying vec2 v_tex_coord;\n"                  \
  "#endif\n"                                         \
  "\n"                                               \
  "uniform sampler2D u_tex0;\n"                      \
  "\n" constants                                     \
  "\n"                                               \
  "void main() {\n"                                  \
  "    vec2 coord = v_tex_coord;\n"                  \
  "\n"                                               \
  "#if __VERSION__ >= 150\n"                         \
  "    vec4 rgba = texture(u_tex0, coord);\n"        \
  "#else\n"                                          \
  "    vec4 rgba = texture2D(u_tex0, coord);\n"      \
  "#endif\n" conversion                              \
  "\n"                                               \
  "#if __VERSION__ >= 150\n"                         \
  "    FragColor = rgba;\n"                          \
  "#else\n"                                          \
  "    gl_FragColor = rgba;\n"                       \
  "#endif\n"                                         \
  "}\n"

constexpr char kRgbaSource[] = QUARN_FRAGMENT_SOURCE("", "");

constexpr char kToBgraSource[] = QUARN_FRAGMENT_SOURCE("",
                                                       "\n"
                                                       "    rgba = vec4(rgba.b, rgba.g, rgba.r, rgba.a);\n");

constexpr char kToYSource[] = QUARN_FRAGMENT_SOURCE(
    "uniform u_buf0 {\n"
    "    vec4 color_vec;\n"
    "};\n",
    "\n"
    "    float y = dot(color_vec.xyz, rgba.rgb) + color_vec.w;\n"
    "    rgba = vec4(y, 0.0, 0.0, 0.0);\n");

constexpr char kToUvSource[] = QUARN_FRAGMENT_SOURCE(
    "uniform u_buf0 {\n"
    "    vec4 color_vec_u;\n"
    "    vec4 color_vec_v;\n"
    "};\n",
    "\n"
    "    float u = dot(color_vec_u.xyz, rgba.rgb) + color_vec_u.w;\n"
    "    float v = dot(color_vec_v.xyz, rgba.rgb) + color_vec_v.w;\n"
    "#ifdef MACOSX\n"
    "    rgba = vec4(u, v, 0.0, 0.0);\n"
    "#else\n"
    "    rgba = vec4(u, u, u, v);\n"
    "#endif\n");

constexpr char kToUSource[] = QUARN_FRAGMENT_SOURCE(
    "uniform u_buf0 {\n"
    "    vec4 color_vec_u;\n"
    "};\n",
    "\n"
    "    float u = dot(color_vec_u.xyz, rgba.rgb) + color_vec_u.w;\n"
    "    rgba = vec4(u, 0.0, 0.0, 0.0);\n");

constexpr char kToVSource[] = QUARN_FRAGMENT_SOURCE(
    "uniform u_buf0 {\n"
    "    vec4 color_vec_v;\n"
    "};\n",
    "\n"
    "    float v = dot(color_vec_v.xyz, rgba.rgb) + color_vec_v.w;\n"
    "    rgba = vec4(v, 0.0, 0.0, 0.0);\n");

#undef QUARN_FRAGMENT_SOURCE

}  // namespace

const char* const glsl_src[kGsGlslSrcCount] = {
    "rgba",    kVertexSource, kRgbaSource,    //
    "to_bgra", kVertexSource, kToBgraSource,  //
    "to_y",    kVertexSource, kToYSource,     //
    "to_uv",   kVertexSource, kToUvSource,    //
    "to_u",    kVertexSource, kToUSource,     //
    "to_v",    kVertexSource, kToVSource,     //
};
