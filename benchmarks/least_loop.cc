// The same frames with the least work that makes the same bytes: bare GL calls, the canvas read where it lies.
//
// - One target for the canvas. Corners are placed by the processor, so that nothing but them is uploaded, once a frame;
//   each layer is one draw call, for in general each has a texture of its own.
// - RGBA and BGRA are read straight from the canvas: there is no copy, and the rows are turned over on their way into
//   memory. For BGRA the layers are drawn with red and blue exchanged, which blending does not mind.
// - The planes of NV12 and I420 are made straight from the canvas into one target, four of their bytes to a texel: luma
//   without filtering, because it maps one to one; chroma with, four pixels at a time, because that is its bytes. I420
//   parts U from V where the rows are copied into memory anyway.
// - One pixel-pack buffer an output, one transfer and one mapping a frame, and it is this frame that is mapped, as the
//   engine does it.
// - Programs, textures, targets and constants stay as they are from frame to frame.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "benchmarks/bare_gl.h"
#include "benchmarks/layer_gl.h"

namespace {

// One triangle over the viewport.
constexpr char kPlaneVertices[] = R"(
void main() { gl_Position = vec4(gl_VertexID == 1 ? 3.0 : -1.0, gl_VertexID == 2 ? 3.0 : -1.0, 0.0, 1.0); }
)";

constexpr char kLumaPixels[] = R"(
uniform sampler2D canvas;
uniform vec4 row;
out vec4 color;
float Luma(ivec2 at) { return dot(row.xyz, texelFetch(canvas, at, 0).rgb) + row.w; }
void main() {
  ivec2 at = ivec2(gl_FragCoord.xy) * ivec2(4, 1);
  color = vec4(Luma(at), Luma(at + ivec2(1, 0)), Luma(at + ivec2(2, 0)), Luma(at + ivec2(3, 0)));
}
)";

// Two pixels of chroma to a texel, each the mean of four pixels of the canvas.
constexpr char kChromaPixels[] = R"(
uniform sampler2D canvas;
uniform vec4 rows[2];
uniform float first_row;
uniform vec2 size;  // Of the plane, in pixels of chroma.
out vec4 color;
vec2 Chroma(vec2 at) {
  vec3 rgb = texture(canvas, at / size).rgb;
  return vec2(dot(rows[0].xyz, rgb) + rows[0].w, dot(rows[1].xyz, rgb) + rows[1].w);
}
void main() {
  vec2 at = vec2(floor(gl_FragCoord.x) * 2.0 + 0.5, gl_FragCoord.y - first_row);
  color = vec4(Chroma(at), Chroma(at + vec2(1.0, 0.0)));
}
)";

struct Output {
  Target packed;  // None where the canvas itself is read.
  GLuint pack_buffer = 0;
  std::vector<unsigned char> pixels;
};

struct Scene {
  Target canvas;
  std::vector<Output> outputs;
};

class LeastLoop : public FrameLoop {
 public:
  LeastLoop(const Workload& workload, const Layers* layers)
      : workload_(workload),
        layers_(layers ? *layers : Layers()),
        width_(static_cast<GLsizei>(workload.width)),
        height_(static_cast<GLsizei>(workload.height)) {
    if (!gl_.ok()) return;
    gl_.MakeCurrent();
    yuv_ = workload.format == kGsFormatNV12 || workload.format == kGsFormatI420;
    BuildPrograms();
    BindLayerVertices();
    // The filters' layer, then each scene's.
    corners_.resize(4 * static_cast<std::size_t>((workload.filters > 0 ? 1 : 0) + workload.scenes * workload.items));
    image_ = MakeTexture(GL_RGBA, kImageSide, kImageSide, GL_LINEAR, FlippedImage(0).data());
    for (int i = 0; i < workload.filters; ++i) {
      filters_.push_back(MakeTarget(GL_RGBA, kImageSide, kImageSide, GL_LINEAR));
      sources_.push_back(filters_.back().texture);
    }
    for (int i = 0; i < workload.updates; ++i) {
      sources_.push_back(MakeTexture(GL_RGBA, kImageSide, kImageSide, GL_LINEAR, nullptr));
    }
    for (int i = 0; layers && i < workload.items; ++i) {
      sources_.push_back(MakeTexture(GL_RGBA, layers->width, layers->height, GL_NEAREST, layers->image(i).data()));
    }
    sources_.resize(static_cast<std::size_t>(std::max(workload.items, workload.filters + workload.updates)), image_);
    for (int i = 0; i < workload.items; ++i) placements_.push_back(Placement(workload, i));
    for (unsigned int i = 0; i < kImageCount; ++i) updates_.push_back(FlippedImage(i));
    for (int i = 0; i < workload.scenes; ++i) scenes_.push_back(MakeScene());
    glClearColor(0, 0, 0, 1);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    gl_.ClearCurrent();
  }

  bool ok() const { return gl_.ok(); }

  void MakeFrame() override {
    gl_.MakeCurrent();
    for (int i = 0; i < workload_.updates; ++i) {
      glBindTexture(GL_TEXTURE_2D, sources_[static_cast<std::size_t>(workload_.filters + i)]);
      glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, kImageSide, kImageSide, GL_RGBA, GL_UNSIGNED_BYTE,
                      updates_[frame_ % kImageCount].data());
    }
    UploadCorners();
    DrawLayers();
    if (yuv_) PackPlanes();
    for (Scene& scene : scenes_) {
      for (Output& output : scene.outputs) Read(scene, &output);
    }
    for (Scene& scene : scenes_) {
      for (Output& output : scene.outputs) Copy(&output);
    }
    ++frame_;
  }

  std::vector<unsigned char> Pixels() const override {
    std::vector<unsigned char> pixels;
    for (const Scene& scene : scenes_) {
      for (const Output& output : scene.outputs) {
        pixels.insert(pixels.end(), output.pixels.begin(), output.pixels.end());
      }
    }
    return pixels;
  }

 private:
  void BuildPrograms() {
    layer_ = LinkLayerProgram(workload_.format == kGsFormatBGRA ? "bgra" : "rgba");
    filter_ = LinkLayerProgram("rgba");
    if (!yuv_) return;
    const std::array<float, 12> rows = YuvRows();
    luma_ = LinkProgram(kPlaneVertices, kLumaPixels);
    glUseProgram(luma_);
    glUniform4fv(glGetUniformLocation(luma_, "row"), 1, rows.data());
    chroma_ = LinkProgram(kPlaneVertices, kChromaPixels);
    glUseProgram(chroma_);
    glUniform4fv(glGetUniformLocation(chroma_, "rows"), 2, rows.data() + 4);
    glUniform1f(glGetUniformLocation(chroma_, "first_row"), static_cast<float>(height_));
    glUniform2f(glGetUniformLocation(chroma_, "size"), static_cast<float>(width_ / 2), static_cast<float>(height_ / 2));
  }

  Scene MakeScene() const {
    std::size_t size = 0;
    for (const PlaneShape& plane : PlanesOf(workload_)) size += plane.row_size * plane.rows;
    Scene scene;
    scene.canvas = MakeTarget(GL_RGBA, workload_.width, workload_.height, GL_LINEAR);
    for (int i = 0; i < workload_.outputs; ++i) {
      Output output;
      if (yuv_) output.packed = MakeTarget(GL_RGBA, workload_.width / 4, workload_.height * 3 / 2, GL_NEAREST);
      output.pixels.resize(size);
      glGenBuffers(1, &output.pack_buffer);
      glBindBuffer(GL_PIXEL_PACK_BUFFER, output.pack_buffer);
      glBufferData(GL_PIXEL_PACK_BUFFER, static_cast<GLsizeiptr>(size), nullptr, GL_STREAM_READ);
      glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
      scene.outputs.push_back(std::move(output));
    }
    return scene;
  }

  void UploadCorners() {
    LayerVertex* corners = corners_.data();
    if (workload_.filters > 0) {
      PlaceLayer(FilterPlacement(frame_), kImageSide, kImageSide, corners);
      corners += 4;
    }
    for (unsigned int i = 0; i < scenes_.size(); ++i) {
      for (int item = 0; item < workload_.items; ++item) {
        const gs_transform placement = layers_.placement
                                           ? layers_.placement(item, frame_ + i)
                                           : Moved(placements_[static_cast<std::size_t>(item)], frame_ + i);
        PlaceLayer(placement, static_cast<float>(width_), static_cast<float>(height_), corners);
        corners += 4;
      }
    }
    glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(corners_.size() * sizeof(LayerVertex)), corners_.data(),
                 GL_STREAM_DRAW);
  }

  static void DrawLayer(int index) { glDrawElementsBaseVertex(GL_TRIANGLES, 6, GL_UNSIGNED_INT, nullptr, 4 * index); }

  void DrawLayers() {
    int index = 0;
    glEnable(GL_BLEND);
    if (!filters_.empty()) {
      glUseProgram(filter_);
      glBindTexture(GL_TEXTURE_2D, image_);
      glViewport(0, 0, kImageSide, kImageSide);
      for (const Target& filter : filters_) {
        glBindFramebuffer(GL_FRAMEBUFFER, filter.frame_buffer);
        glClear(GL_COLOR_BUFFER_BIT);
        DrawLayer(index);
      }
      ++index;
    }
    glUseProgram(layer_);
    glViewport(0, 0, width_, height_);
    for (const Scene& scene : scenes_) {
      glBindFramebuffer(GL_FRAMEBUFFER, scene.canvas.frame_buffer);
      glClear(GL_COLOR_BUFFER_BIT);
      GLuint bound = 0;
      for (std::size_t i = 0; i < placements_.size(); ++i) {
        if (sources_[i] != bound) glBindTexture(GL_TEXTURE_2D, sources_[i]);
        bound = sources_[i];
        DrawLayer(index++);
      }
    }
    glDisable(GL_BLEND);
  }

  void PackPlanes() {
    for (const Scene& scene : scenes_) {
      glBindTexture(GL_TEXTURE_2D, scene.canvas.texture);
      for (const Output& output : scene.outputs) {
        glBindFramebuffer(GL_FRAMEBUFFER, output.packed.frame_buffer);
        glViewport(0, 0, width_ / 4, height_);
        glUseProgram(luma_);
        glDrawArrays(GL_TRIANGLES, 0, 3);
        glViewport(0, height_, width_ / 4, height_ / 2);
        glUseProgram(chroma_);
        glDrawArrays(GL_TRIANGLES, 0, 3);
      }
    }
  }

  void Read(const Scene& scene, Output* output) const {
    glBindFramebuffer(GL_FRAMEBUFFER, yuv_ ? output->packed.frame_buffer : scene.canvas.frame_buffer);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, output->pack_buffer);
    glReadPixels(0, 0, yuv_ ? width_ / 4 : width_, yuv_ ? height_ * 3 / 2 : height_, GL_RGBA, GL_UNSIGNED_BYTE,
                 nullptr);
  }

  void Copy(Output* output) const {
    glBindBuffer(GL_PIXEL_PACK_BUFFER, output->pack_buffer);
    const auto* const mapped = static_cast<const unsigned char*>(
        glMapBufferRange(GL_PIXEL_PACK_BUFFER, 0, static_cast<GLsizeiptr>(output->pixels.size()), GL_MAP_READ_BIT));
    if (mapped) {
      const auto w = static_cast<std::size_t>(width_);
      const auto h = static_cast<std::size_t>(height_);
      unsigned char* const pixels = output->pixels.data();
      const std::size_t row_size = yuv_ ? w : 4 * w;
      for (std::size_t y = 0; y < h; ++y) std::memcpy(pixels + row_size * y, mapped + row_size * (h - 1 - y), row_size);
      if (yuv_) CopyChroma(mapped + w * h, pixels + w * h);
    }
    glUnmapBuffer(GL_PIXEL_PACK_BUFFER);
  }

  void CopyChroma(const unsigned char* mapped, unsigned char* chroma) const {
    const auto w = static_cast<std::size_t>(width_);
    const auto rows = static_cast<std::size_t>(height_ / 2);
    unsigned char* const second = chroma + w / 2 * rows;
    for (std::size_t y = 0; y < rows; ++y) {
      const unsigned char* const row = mapped + w * (rows - 1 - y);
      if (workload_.format == kGsFormatNV12) {
        std::memcpy(chroma + w * y, row, w);
        continue;
      }
      unsigned char* const u = chroma + w / 2 * y;
      unsigned char* const v = second + w / 2 * y;
      for (std::size_t x = 0; x < w / 2; ++x) {
        u[x] = row[2 * x];
        v[x] = row[2 * x + 1];
      }
    }
  }

  const Workload workload_;
  const Layers layers_;  // Without functions where they are the workload's own.
  const BareContext gl_;
  const GLsizei width_;
  const GLsizei height_;
  bool yuv_ = false;
  GLuint layer_ = 0;
  GLuint filter_ = 0;
  GLuint luma_ = 0;
  GLuint chroma_ = 0;
  GLuint image_ = 0;
  std::vector<Target> filters_;
  std::vector<GLuint> sources_;  // What each item draws.
  std::vector<std::vector<unsigned char>> updates_;
  std::vector<gs_transform> placements_;
  std::vector<LayerVertex> corners_;
  std::vector<Scene> scenes_;
  unsigned int frame_ = 0;
};

std::unique_ptr<FrameLoop> Make(const Workload& workload, const Layers* layers) {
  if (workload.width % 4 != 0 || workload.height % 2 != 0) {
    std::fprintf(stderr, "four pixels to a texel: the least loop wants a width of fours and an even height\n");
    return nullptr;
  }
  auto loop = std::make_unique<LeastLoop>(workload, layers);
  if (!loop->ok()) {
    std::fprintf(stderr, "no OpenGL 3.2 here\n");
    return nullptr;
  }
  return loop;
}

}  // namespace

std::unique_ptr<FrameLoop> MakeLeastLoop(const Workload& workload) { return Make(workload, nullptr); }

std::unique_ptr<FrameLoop> MakeLeastLoop(const Workload& workload, const Layers& layers) {
  return Make(workload, &layers);
}
