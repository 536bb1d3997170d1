// What the two bare loops share.
#include "benchmarks/bare_gl.h"

#include <EGL/eglext.h>

#include <algorithm>

#include <glm/glm.hpp>
#include <glm/gtc/matrix_inverse.hpp>
#include <glm/gtc/type_ptr.hpp>

namespace {

GLuint Compile(GLenum kind, const std::string& source) {
  const std::string text = "#version 150\n#define MACOSX\n" + source;
  const char* const texts[] = {text.c_str()};
  const GLuint shader = glCreateShader(kind);
  glShaderSource(shader, 1, texts, nullptr);
  glCompileShader(shader);
  return shader;
}

}  // namespace

BareContext::BareContext() {
  const auto get_display =
      reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
  if (!get_display) return;
  display_ = get_display(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
  if (!eglInitialize(display_, nullptr, nullptr)) return;
  eglBindAPI(EGL_OPENGL_API);
  const EGLint attributes[] = {
      EGL_CONTEXT_MAJOR_VERSION,           3,       EGL_CONTEXT_MINOR_VERSION, 2, EGL_CONTEXT_OPENGL_PROFILE_MASK,
      EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
  context_ = eglCreateContext(display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
}

BareContext::~BareContext() {
  if (!ok()) return;
  if (eglGetCurrentContext() == context_) ClearCurrent();
  eglDestroyContext(display_, context_);
}

void BareContext::MakeCurrent() const {
  if (eglGetCurrentContext() != context_) eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_);
}

void BareContext::ClearCurrent() const { eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }

GLuint LinkProgram(const std::string& vertex, const std::string& fragment) {
  const GLuint program = glCreateProgram();
  const GLuint shaders[] = {Compile(GL_VERTEX_SHADER, vertex), Compile(GL_FRAGMENT_SHADER, fragment)};
  for (const GLuint shader : shaders) glAttachShader(program, shader);
  glBindAttribLocation(program, 0, "a_pos");
  glBindAttribLocation(program, 1, "a_tex_coord");
  glLinkProgram(program);
  for (const GLuint shader : shaders) glDeleteShader(shader);
  return program;
}

GLuint MakeTexture(GLenum format, unsigned int width, unsigned int height, GLenum filter, const void* pixels) {
  GLuint texture = 0;
  glGenTextures(1, &texture);
  glBindTexture(GL_TEXTURE_2D, texture);
  for (const GLenum wrap : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T}) {
    glTexParameteri(GL_TEXTURE_2D, wrap, GL_CLAMP_TO_EDGE);
  }
  for (const GLenum which : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER}) {
    glTexParameteri(GL_TEXTURE_2D, which, static_cast<GLint>(filter));
  }
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), static_cast<GLsizei>(width), static_cast<GLsizei>(height),
               0, format, GL_UNSIGNED_BYTE, pixels);
  glBindTexture(GL_TEXTURE_2D, 0);
  return texture;
}

std::vector<unsigned char> FlippedImage(unsigned int frame) {
  const std::vector<unsigned char> pixels = Image(frame);
  std::vector<unsigned char> flipped(pixels.size());
  constexpr std::ptrdiff_t kRow = kImageSide * 4;
  for (std::ptrdiff_t y = 0; y < static_cast<std::ptrdiff_t>(kImageSide); ++y) {
    std::copy_n(pixels.begin() + y * kRow, kRow, flipped.end() - (y + 1) * kRow);
  }
  return flipped;
}

Target MakeTarget(GLenum format, unsigned int width, unsigned int height, GLenum filter) {
  Target target;
  target.texture = MakeTexture(format, width, height, filter, nullptr);
  glGenFramebuffers(1, &target.frame_buffer);
  glBindFramebuffer(GL_FRAMEBUFFER, target.frame_buffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target.texture, 0);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  return target;
}

std::array<float, 12> YuvRows() {
  const float kb = 0.0722f, kr = 0.2126f, kg = 1.0f - kb - kr;
  const float ys = 255.0f / 219.0f, us = 255.0f / 112.0f, vs = 255.0f / 112.0f;
  const float rows[3][3] = {{ys, 0.0f, vs * (1.0f - kr)},
                            {ys, us * (kb - 1.0f) * kb / kg, vs * (kr - 1.0f) * kr / kg},
                            {ys, us * (1.0f - kb), 0.0f}};
  const float offset[3] = {-16.0f / 255.0f, -128.0f / 255.0f, -128.0f / 255.0f};
  float matrix[16] = {};
  for (int r = 0; r < 3; ++r) {
    for (int c = 0; c < 3; ++c) matrix[4 * r + c] = rows[r][c];
    matrix[4 * r + 3] = (offset[0] * rows[r][0] + offset[1] * rows[r][1]) + offset[2] * rows[r][2];
  }
  matrix[15] = 1.0f;
  const glm::mat4 inverse = glm::inverse(glm::make_mat4(matrix));
  std::array<float, 12> yuv_rows;
  std::copy_n(glm::value_ptr(inverse), yuv_rows.size(), yuv_rows.begin());
  return yuv_rows;
}
