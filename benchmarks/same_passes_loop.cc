// The same frames by bare GL calls: the engine's passes in the engine's order, view and projection ready beforehand,
// one pixel-pack buffer a plane, mapped at once, and a flipped copy into memory. No error checks, no locks, no threads.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>

#include <quarn/glsl_src.h>

#include "benchmarks/bare_gl.h"

namespace {

struct Mvp {
  glm::mat4 model, view, projection;
};

Mvp MvpOfTarget(float width, float height) {
  return {glm::mat4(1.0f), glm::lookAt(glm::vec3(0, 0, 10), glm::vec3(0, 0, 9), glm::vec3(0, 1, 0)),
          glm::ortho(-0.5f * width, 0.5f * width, -0.5f * height, 0.5f * height, 0.1f, 100.0f)};
}

glm::mat4 ModelOf(const gs_transform& placement) {
  glm::mat4 model = glm::translate(glm::mat4(1.0f), glm::vec3(placement.pos.x, -placement.pos.y, 1.0f));
  model = glm::rotate(model, -placement.rotation, glm::vec3(0.0f, 0.0f, 1.0f));
  return glm::scale(model, glm::vec3(placement.size.x, placement.size.y, 1.0f));
}

struct Program {
  GLuint name = 0;
  GLint texture = -1;
  GLuint mvp = 0;
  GLuint constants = GL_INVALID_INDEX;
};

Program Link(int row) {
  Program program;
  program.name = LinkProgram(glsl_src[row + 1], glsl_src[row + 2]);
  program.texture = glGetUniformLocation(program.name, "u_tex0");
  program.mvp = glGetUniformBlockIndex(program.name, "mvp");
  program.constants = glGetUniformBlockIndex(program.name, "u_buf0");
  return program;
}

void BindTarget(const Target& target) {
  glBindFramebuffer(GL_DRAW_FRAMEBUFFER, target.frame_buffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, target.texture, 0);
  glCheckFramebufferStatus(GL_FRAMEBUFFER);
}

// A plane of the raw picture.
struct Plane {
  PlaneShape shape;
  GLenum format;
  GLsizei width, height;
  int first_constant;  // Of the rows for YUV.
  int constants;
  Program program;
  Target target;
  GLuint pack_buffer = 0;
  Mvp mvp;
  std::vector<unsigned char> pixels;
};

struct Scene {
  Target target;
  std::vector<std::vector<Plane>> outputs;
};

class SamePassesLoop : public FrameLoop {
 public:
  explicit SamePassesLoop(const Workload& workload)
      : workload_(workload),
        mvp_(MvpOfTarget(static_cast<float>(workload.width), static_cast<float>(workload.height))),
        filter_mvp_(MvpOfTarget(static_cast<float>(kImageSide), static_cast<float>(kImageSide))) {
    if (!gl_.ok()) return;
    gl_.MakeCurrent();
    rgba_ = Link(kGsGlslRgba);
    MakeQuad();
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    const GLuint image = MakeImage();
    for (int i = 0; i < workload.filters; ++i) {
      filters_.push_back(MakeTarget(GL_RGBA, kImageSide, kImageSide, GL_LINEAR));
      sources_.push_back(filters_.back().texture);
    }
    for (int i = 0; i < workload.updates; ++i) sources_.push_back(MakeImage());
    image_ = image;
    sources_.resize(static_cast<std::size_t>(std::max(workload.items, workload.filters + workload.updates)), image);
    for (int i = 0; i < workload.items; ++i) placements_.push_back(Placement(workload, i));
    for (unsigned int i = 0; i < kImageCount; ++i) updates_.push_back(Image(i));
    for (int i = 0; i < workload.scenes; ++i) AddScene();
    gl_.ClearCurrent();
  }

  bool ok() const { return gl_.ok(); }

  void MakeFrame() override {
    gl_.MakeCurrent();
    UpdateImages();
    for (const Target& filter : filters_) DrawFilter(filter);
    for (unsigned int i = 0; i < scenes_.size(); ++i) DrawScene(scenes_[i].target, frame_ + i);
    for (Scene& scene : scenes_) {
      for (std::vector<Plane>& planes : scene.outputs) {
        for (Plane& plane : planes) DrawPlane(scene.target, &plane);
        glFlush();
        for (const Plane& plane : planes) ReadPlane(plane);
        for (Plane& plane : planes) CopyPlane(&plane);
      }
    }
    ++frame_;
  }

  std::vector<unsigned char> Pixels() const override {
    std::vector<unsigned char> pixels;
    for (const Scene& scene : scenes_) {
      for (const std::vector<Plane>& planes : scene.outputs) {
        for (const Plane& plane : planes) pixels.insert(pixels.end(), plane.pixels.begin(), plane.pixels.end());
      }
    }
    return pixels;
  }

 private:
  static GLuint MakeImage() { return MakeTexture(GL_RGBA, kImageSide, kImageSide, GL_LINEAR, FlippedImage(0).data()); }

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

  void AddScene() {
    const unsigned int w = workload_.width;
    const unsigned int h = workload_.height;
    Scene scene;
    scene.target = MakeTarget(GL_RGBA, w, h, GL_LINEAR);
    for (int i = 0; i < workload_.outputs; ++i) {
      std::vector<Plane> planes;
      switch (workload_.format) {
        case kGsFormatRGBA: AddPlane(&planes, kGsGlslRgba, GL_RGBA, w, h, 0, 0); break;
        case kGsFormatBGRA: AddPlane(&planes, kGsGlslToBgra, GL_RGBA, w, h, 0, 0); break;
        case kGsFormatI420:
          AddPlane(&planes, kGsGlslToY, GL_RED, w, h, 0, 4);
          AddPlane(&planes, kGsGlslToU, GL_RED, w / 2, h / 2, 4, 4);
          AddPlane(&planes, kGsGlslToV, GL_RED, w / 2, h / 2, 8, 4);
          break;
        default:
          AddPlane(&planes, kGsGlslToY, GL_RED, w, h, 0, 4);
          AddPlane(&planes, kGsGlslToUv, GL_RG, w / 2, h / 2, 4, 8);
          break;
      }
      scene.outputs.push_back(std::move(planes));
    }
    scenes_.push_back(std::move(scene));
  }

  void AddPlane(std::vector<Plane>* planes, int program_row, GLenum format, unsigned int width, unsigned int height,
                int first_constant, int constants) {
    Plane plane;
    plane.shape = PlanesOf(workload_)[planes->size()];
    plane.format = format;
    plane.width = static_cast<GLsizei>(width);
    plane.height = static_cast<GLsizei>(height);
    plane.first_constant = first_constant;
    plane.constants = constants;
    plane.program = Link(program_row);
    plane.target = MakeTarget(format, width, height, GL_LINEAR);
    const gs_vec2 size(static_cast<float>(width), static_cast<float>(height));
    plane.mvp = MvpOfTarget(size.x, size.y);
    plane.mvp.model = ModelOf(gs_transform(gs_vec2(), size));
    plane.pixels.resize(plane.shape.row_size * plane.shape.rows);
    glGenBuffers(1, &plane.pack_buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, plane.pack_buffer);
    glBufferData(GL_PIXEL_PACK_BUFFER, static_cast<GLsizeiptr>(plane.pixels.size()), nullptr, GL_STREAM_READ);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    planes->push_back(std::move(plane));
  }

  void DrawQuad(const Program& program, const Mvp& mvp) {
    glUniform1i(program.texture, 0);
    glBindBuffer(GL_UNIFORM_BUFFER, mvp_buffer_);
    glBufferData(GL_UNIFORM_BUFFER, sizeof(mvp), &mvp, GL_STREAM_DRAW);
    glBindBuffer(GL_UNIFORM_BUFFER, 0);
    glUniformBlockBinding(program.name, program.mvp, 0);
    glBindBufferRange(GL_UNIFORM_BUFFER, 0, mvp_buffer_, 0, sizeof(mvp));
    if (program.constants != GL_INVALID_INDEX) glUniformBlockBinding(program.name, program.constants, 1);
    glBindVertexArray(vertex_array_);
    glDrawElements(GL_TRIANGLES, 6, GL_UNSIGNED_INT, nullptr);
    glBindVertexArray(0);
  }

  void UpdateImages() {
    for (int i = 0; i < workload_.updates; ++i) {
      const std::vector<unsigned char>& pixels = updates_[frame_ % kImageCount];
      constexpr std::size_t kRow = kImageSide * 4;
      std::vector<unsigned char> flipped(pixels.size());
      for (std::size_t y = 0; y < kImageSide; ++y) {
        std::memcpy(flipped.data() + kRow * y, pixels.data() + kRow * (kImageSide - 1 - y), kRow);
      }
      glBindTexture(GL_TEXTURE_2D, sources_[static_cast<std::size_t>(workload_.filters + i)]);
      glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, kImageSide, kImageSide, 0, GL_RGBA, GL_UNSIGNED_BYTE, flipped.data());
      glBindTexture(GL_TEXTURE_2D, 0);
    }
  }

  void BeginBlended(const Target& target) {
    BindTarget(target);
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  }

  static void EndBlended() {
    glDisable(GL_BLEND);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  }

  void DrawImage(GLuint texture, unsigned int width, unsigned int height, Mvp* mvp, const gs_transform& placement) {
    glViewport(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height));
    glUseProgram(rgba_.name);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture);
    mvp->model = ModelOf(placement);
    DrawQuad(rgba_, *mvp);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glUseProgram(0);
  }

  void DrawFilter(const Target& filter) {
    BeginBlended(filter);
    DrawImage(image_, kImageSide, kImageSide, &filter_mvp_, FilterPlacement(frame_));
    EndBlended();
  }

  void DrawScene(const Target& scene, unsigned int frame) {
    BeginBlended(scene);
    for (std::size_t i = 0; i < placements_.size(); ++i) {
      DrawImage(sources_[i], workload_.width, workload_.height, &mvp_, Moved(placements_[i], frame));
    }
    EndBlended();
  }

  void DrawPlane(const Target& scene, Plane* plane) {
    BindTarget(plane->target);
    glViewport(0, 0, plane->width, plane->height);
    glClearColor(0, 0, 0, plane->constants > 0 ? 0.0f : 1.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glUseProgram(plane->program.name);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, scene.texture);
    if (plane->constants > 0) {
      // The engine's buffer has 32 bytes, and is specified whole every time.
      float block[8] = {};
      std::memcpy(block, yuv_rows_.data() + plane->first_constant,
                  static_cast<std::size_t>(plane->constants) * sizeof(float));
      glBindBuffer(GL_UNIFORM_BUFFER, constant_buffer_);
      glBufferData(GL_UNIFORM_BUFFER, sizeof(block), block, GL_DYNAMIC_DRAW);
      glBindBuffer(GL_UNIFORM_BUFFER, 0);
      glBindBufferRange(GL_UNIFORM_BUFFER, 1, constant_buffer_, 0, sizeof(block));
    }
    DrawQuad(plane->program, plane->mvp);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, 0);
    glUseProgram(0);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
  }

  static void ReadPlane(const Plane& plane) {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, plane.target.frame_buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, plane.pack_buffer);
    glReadPixels(0, 0, plane.width, plane.height, plane.format, GL_UNSIGNED_BYTE, nullptr);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  }

  static void CopyPlane(Plane* plane) {
    const std::size_t row_size = plane->shape.row_size;
    const std::size_t rows = plane->shape.rows;
    glBindBuffer(GL_PIXEL_PACK_BUFFER, plane->pack_buffer);
    const auto* const pixels = static_cast<const unsigned char*>(
        glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(plane->pixels.size()), GL_MAP_READ_BIT));
    if (pixels) {
      for (std::size_t y = 0; y < rows; ++y) {
        std::memcpy(plane->pixels.data() + row_size * y, pixels + row_size * (rows - 1 - y), row_size);
      }
    }
    glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
  }

  const Workload workload_;
  const BareContext gl_;
  const std::array<float, 12> yuv_rows_ = YuvRows();
  Mvp mvp_;
  Mvp filter_mvp_;
  Program rgba_;
  GLuint vertex_array_ = 0;
  GLuint mvp_buffer_ = 0;
  GLuint constant_buffer_ = 0;
  GLuint image_ = 0;
  std::vector<Target> filters_;
  std::vector<GLuint> sources_;  // What each item draws.
  std::vector<std::vector<unsigned char>> updates_;
  std::vector<gs_transform> placements_;
  std::vector<Scene> scenes_;
  unsigned int frame_ = 0;
};

}  // namespace

std::unique_ptr<FrameLoop> MakeSamePassesLoop(const Workload& workload) {
  auto loop = std::make_unique<SamePassesLoop>(workload);
  if (!loop->ok()) {
    std::fprintf(stderr, "no OpenGL 3.2 here\n");
    return nullptr;
  }
  return loop;
}
