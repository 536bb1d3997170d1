// The same frames by bare GL calls: the same passes in the same order, the matrices ready beforehand, one pixel-pack
// buffer a plane, mapped at once, and a flipped copy into memory. No error checks, no locks, no threads.
#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/glcorearb.h>

#include <cstring>
#include <string>

#include <glm/glm.hpp>
#include <glm/gtc/matrix_inverse.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <quarn/glsl_src.h>

#include "benchmarks/loops.h"

namespace {

constexpr GLsizeiptr kMvpSize = 3 * 16 * sizeof(float);

struct Mvp {
  glm::mat4 model, view, projection;
};

Mvp MvpOf(const gs_transform& placement, float width, float height) {
  glm::mat4 model = glm::translate(glm::mat4(1.0f), glm::vec3(placement.pos.x, -placement.pos.y, 1.0f));
  model = glm::rotate(model, -placement.rotation, glm::vec3(0.0f, 0.0f, 1.0f));
  model = glm::scale(model, glm::vec3(placement.size.x, placement.size.y, 1.0f));
  return {model, glm::lookAt(glm::vec3(0, 0, 10), glm::vec3(0, 0, 9), glm::vec3(0, 1, 0)),
          glm::ortho(-0.5f * width, 0.5f * width, -0.5f * height, 0.5f * height, 0.1f, 100.0f)};
}

GLuint Compile(GLenum kind, const char* source) {
  const char* const texts[] = {"#version 150\n#define MACOSX\n", source};
  const GLuint shader = glCreateShader(kind);
  glShaderSource(shader, 2, texts, nullptr);
  glCompileShader(shader);
  return shader;
}

struct Program {
  GLuint name = 0;
  GLint texture = -1;
  GLuint mvp = 0;
  GLuint constants = GL_INVALID_INDEX;
};

Program Link(int row) {
  Program program;
  program.name = glCreateProgram();
  const GLuint vertex = Compile(GL_VERTEX_SHADER, glsl_src[row + 1]);
  const GLuint fragment = Compile(GL_FRAGMENT_SHADER, glsl_src[row + 2]);
  glAttachShader(program.name, vertex);
  glAttachShader(program.name, fragment);
  glBindAttribLocation(program.name, 0, "a_pos");
  glBindAttribLocation(program.name, 1, "a_tex_coord");
  glLinkProgram(program.name);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  program.texture = glGetUniformLocation(program.name, "u_tex0");
  program.mvp = glGetUniformBlockIndex(program.name, "mvp");
  program.constants = glGetUniformBlockIndex(program.name, "u_buf0");
  return program;
}

struct Target {
  GLuint texture = 0;
  GLuint frame_buffer = 0;
};

Target MakeTarget(GLenum format, GLsizei width, GLsizei height) {
  Target target;
  glGenTextures(1, &target.texture);
  glBindTexture(GL_TEXTURE_2D, target.texture);
  for (const GLenum wrap : {GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T})
    glTexParameteri(GL_TEXTURE_2D, wrap, GL_CLAMP_TO_EDGE);
  for (const GLenum filter : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER}) {
    glTexParameteri(GL_TEXTURE_2D, filter, GL_LINEAR);
  }
  glTexImage2D(GL_TEXTURE_2D, 0, static_cast<GLint>(format), width, height, 0, format, GL_UNSIGNED_BYTE, nullptr);
  glBindTexture(GL_TEXTURE_2D, 0);
  glGenFramebuffers(1, &target.frame_buffer);
  return target;
}

void BindTarget(const Target& target) {
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, target.frame_buffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target.texture, 0);
  glCheckFramebufferStatus(GL_FRAMEBUFFER);
}

// A plane of the raw picture.
struct Plane {
  int program_row;
  GLenum format;
  GLsizei width, height;
  GLsizei row_size;
  const float* constants;
  GLsizeiptr constants_size;
  Program program;
  Target target;
  GLuint pack_buffer = 0;
  Mvp mvp;
  std::vector<unsigned char> pixels;
};

class BareLoop : public FrameLoop {
 public:
  explicit BareLoop(const Workload& workload) : workload_(workload) {
    if (!MakeContext()) return;
    MakeCurrent();
    rgba_ = Link(kGsGlslRgba);
    MakeQuad();
    const auto w = static_cast<GLsizei>(workload.width);
    const auto h = static_cast<GLsizei>(workload.height);
    scene_ = MakeTarget(GL_RGBA, w, h);
    MakeImage();
    for (int i = 0; i < workload.items; ++i) {
      item_mvps_.push_back(MvpOf(Placement(workload, i), static_cast<float>(w), static_cast<float>(h)));
    }
    ComputeConstants();
    switch (workload.format) {
      case kGsFormatRGBA: AddPlane(kGsGlslRgba, GL_RGBA, w, h, w * 4, nullptr, 0); break;
      case kGsFormatBGRA: AddPlane(kGsGlslToBgra, GL_RGBA, w, h, w * 4, nullptr, 0); break;
      case kGsFormatI420:
        AddPlane(kGsGlslToY, GL_RED, w, h, w, constants_, 16);
        AddPlane(kGsGlslToU, GL_RED, w / 2, h / 2, w / 2, constants_ + 4, 16);
        AddPlane(kGsGlslToV, GL_RED, w / 2, h / 2, w / 2, constants_ + 8, 16);
        break;
      default:
        AddPlane(kGsGlslToY, GL_RED, w, h, w, constants_, 16);
        AddPlane(kGsGlslToUv, GL_RG, w / 2, h / 2, (w / 2) * 2, constants_ + 4, 32);
        break;
    }
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    ok_ = true;
    ClearCurrent();
  }

  ~BareLoop() override {
    if (context_ == EGL_NO_CONTEXT) return;
    if (eglGetCurrentContext() == context_) ClearCurrent();
    eglDestroyContext(display_, context_);
  }

  bool ok() const { return ok_; }

  // The context stays current from one frame of a round to the next; the engine's loop takes it away in between rounds.
  void MakeFrame() override {
    if (eglGetCurrentContext() != context_) MakeCurrent();
    DrawScene();
    for (Plane& plane : planes_) DrawPlane(plane);
    glFlush();
    for (Plane& plane : planes_) ReadPlane(plane);
    for (Plane& plane : planes_) CopyPlane(&plane);
  }

  std::uint64_t Checksum() const override {
    std::uint64_t sum = 0;
    for (const Plane& plane : planes_) {
      const auto row_size = static_cast<unsigned int>(plane.row_size);
      sum = SumPlane(sum, plane.pixels.data(), row_size, row_size, static_cast<unsigned int>(plane.height));
    }
    return sum;
  }

 private:
  bool MakeContext() {
    const auto get_display =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    if (!get_display) return false;
    display_ = get_display(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
    if (!eglInitialize(display_, nullptr, nullptr)) return false;
    eglBindAPI(EGL_OPENGL_API);
    const EGLint attributes[] = {
        EGL_CONTEXT_MAJOR_VERSION,           3,       EGL_CONTEXT_MINOR_VERSION, 2, EGL_CONTEXT_OPENGL_PROFILE_MASK,
        EGL_CONTEXT_OPENGL_CORE_PROFILE_BIT, EGL_NONE};
    context_ = eglCreateContext(display_, EGL_NO_CONFIG_KHR, EGL_NO_CONTEXT, attributes);
    return context_ != EGL_NO_CONTEXT;
  }

  void MakeCurrent() { eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, context_); }
  void ClearCurrent() { eglMakeCurrent(display_, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }

  void MakeQuad() {
    const float vertices[] = {-0.5f, -0.5f, 0, 0, 0, -0.5f, 0.5f, 0, 0, 1, 0.5f, 0.5f, 0, 1, 1, 0.5f, -0.5f, 0, 1, 0};
    const GLuint indices[] = {0, 1, 3, 1, 2, 3};
    GLuint buffers[2];
    glGenBuffers(2, buffers);
    glGenVertexArrays(1, &vertex_array_);
    glBindVertexArray(vertex_array_);
    glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
    glBufferData(GL_ARRAY_BUFFER, sizeof(vertices), vertices, GL_STATIC_DRAW);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffers[1]);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof(indices), indices, GL_STATIC_DRAW);
    glVertexAttribPointer(0, 3, GL_FLOAT, GL_FALSE, 20, nullptr);
    glEnableVertexAttribArray(0);
    glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, 20, reinterpret_cast<const void*>(12));
    glEnableVertexAttribArray(1);
    glBindVertexArray(0);
    glGenBuffers(1, &mvp_buffer_);
    glGenBuffers(1, &constant_buffer_);
  }

  void MakeImage() {
    const std::vector<unsigned char> pixels = Image();
    std::vector<unsigned char> flipped;
    constexpr std::size_t kRow = kImageSide * 4;
    for (std::size_t y = kImageSide; y-- > 0;) {
      const auto row = pixels.begin() + static_cast<std::ptrdiff_t>(y * kRow);
      flipped.insert(flipped.end(), row, row + static_cast<std::ptrdiff_t>(kRow));
    }
    image_ = MakeTarget(GL_RGBA, kImageSide, kImageSide).texture;
    glBindTexture(GL_TEXTURE_2D, image_);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kImageSide, kImageSide, GL_RGBA, GL_UNSIGNED_BYTE, flipped.data());
    glBindTexture(GL_TEXTURE_2D, 0);
  }

  // The rows of the RGB-to-YUV conversion of limited-range BT.709, in the arithmetic of the engine.
  void ComputeConstants() {
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
    std::memcpy(constants_, glm::value_ptr(inverse), sizeof(constants_));
  }

  void AddPlane(int row, GLenum format, GLsizei width, GLsizei height, GLsizei row_size, const float* constants,
                GLsizeiptr constants_size) {
    Plane plane = {row,
                   format,
                   width,
                   height,
                   row_size,
                   constants,
                   constants_size,
                   Link(row),
                   MakeTarget(format, width, height),
                   0,
                   MvpOf(gs_transform(gs_vec2(), gs_vec2(static_cast<float>(width), static_cast<float>(height))),
                         static_cast<float>(width), static_cast<float>(height)),
                   std::vector<unsigned char>(static_cast<std::size_t>(row_size * height))};
    glGenBuffers(1, &plane.pack_buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, plane.pack_buffer);
    glBufferData(GL_PIXEL_PACK_BUFFER, row_size * height, nullptr, GL_STREAM_READ);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    planes_.push_back(std::move(plane));
  }

  void DrawQuad(const Program& program, const Mvp& mvp) {
    glUniform1i(program.texture, 0);
    glBindBuffer(GL_UNIFORM_BUFFER, mvp_buffer_);
    glBufferData(GL_UNIFORM_BUFFER, kMvpSize, &mvp, GL_STREAM_DRAW);
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
    glUniformBlockBinding(program.name, program.mvp, 0);
    glBindBufferRange(GL_UNIFORM_BUFFER, 0, mvp_buffer_, 0, kMvpSize);
    if (program.constants != GL_INVALID_INDEX) glUniformBlockBinding(program.name, program.constants, 1);
    glBindVertexArray(vertex_array_);
    glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_INT, nullptr);
    glBindVertexArray(0);
  }

  void DrawScene() {
    BindTarget(scene_);
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    for (const Mvp& mvp : item_mvps_) {
      glViewport(0, 0, static_cast<GLsizei>(workload_.width), static_cast<GLsizei>(workload_.height));
      glUseProgram(rgba_.name);
      glActiveTexture(GL_TEXTURE0);
      glBindTexture(GL_TEXTURE_2D, image_);
      DrawQuad(rgba_, mvp);
      glActiveTexture(GL_TEXTURE0);
      glBindTexture(GL_TEXTURE_2D, 0);
      glUseProgram(0);
    }
    glDisable(GL_BLEND);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  }

  void DrawPlane(const Plane& plane) {
    BindTarget(plane.target);
    glViewport(0, 0, plane.width, plane.height);
    glClearColor(0, 0, 0, plane.constants ? 0.0f : 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glUseProgram(plane.program.name);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, scene_.texture);
    if (plane.constants) {
      // The engine's buffer has 32 bytes, and is specified whole every time.
      float block[8] = {};
      std::memcpy(block, plane.constants, static_cast<std::size_t>(plane.constants_size));
      glBindBuffer(GL_UNIFORM_BUFFER, constant_buffer_);
      glBufferData(GL_UNIFORM_BUFFER, sizeof(block), block, GL_DYNAMIC_DRAW);
      glBindBuffer(GL_UNIFORM_BUFFER, 0);
      glBindBufferRange(GL_UNIFORM_BUFFER, 1, constant_buffer_, 0, sizeof(block));
    }
    DrawQuad(plane.program, plane.mvp);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glUseProgram(0);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  }

  void ReadPlane(const Plane& plane) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, plane.target.frame_buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, plane.pack_buffer);
    glReadPixels(0, 0, plane.width, plane.height, plane.format, GL_UNSIGNED_BYTE, nullptr);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  }

  void CopyPlane(Plane* plane) {
    const auto row_size = static_cast<std::size_t>(plane->row_size);
    const auto rows = static_cast<std::size_t>(plane->height);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, plane->pack_buffer);
    const auto* const pixels = static_cast<const unsigned char*>(
        glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(row_size * rows), GL_MAP_READ_BIT));
    if (pixels) {
      for (std::size_t y = 0; y < rows; ++y) {
        std::memcpy(plane->pixels.data() + row_size * y, pixels + row_size * (rows - 1 - y), row_size);
      }
    }
    glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  }

  const Workload workload_;
  bool ok_ = false;
  EGLDisplay display_ = EGL_NO_DISPLAY;
  EGLContext context_ = EGL_NO_CONTEXT;
  Program rgba_;
  GLuint vertex_array_ = 0;
  GLuint mvp_buffer_ = 0;
  GLuint constant_buffer_ = 0;
  GLuint image_ = 0;
  Target scene_;
  float constants_[16] = {};
  std::vector<Mvp> item_mvps_;
  std::vector<Plane> planes_;
};

}  // namespace

std::unique_ptr<FrameLoop> MakeBareLoop(const Workload& workload) {
  auto loop = std::make_unique<BareLoop>(workload);
  if (!loop->ok()) return nullptr;
  return loop;
}
