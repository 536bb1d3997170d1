// GStreamer's pictures, by one of two roads that the argument names:
//
//   gl     glvideomixer's element with the layers in textures, uploaded beforehand, and conversion on the GPU
//   cpu    compositor with the layers in the format that it blends in, and videoconvert
//
// A layer is handed over once and repeated, but for the first one, which is what makes the mixer go on.
#include "benchmarks/peers/gstreamer.h"

#include <gst/gl/gl.h>
#include <gst/video/video.h>

#include <cstring>

#include "benchmarks/peers/scene.h"

namespace {

constexpr guint64 kRate = 30;

const char* NameOf(PictureFormat format) {
  switch (format) {
    case PictureFormat::kNv12: return "NV12";
    case PictureFormat::kI420: return "I420";
    default: return "RGBA";
  }
}

std::string Caps(const char* memory, const char* format, unsigned int width, unsigned int height) {
  std::string colours;
  // BT.601 is all that the converter on the GPU makes of RGB; LayerRgba601 makes up for it.
  if (std::strcmp(format, "RGBA") != 0) colours = *memory ? ",colorimetry=bt601" : ",colorimetry=bt709";
  return std::string("video/x-raw") + memory + ",format=" + format + ",width=" + std::to_string(width) +
         ",height=" + std::to_string(height) + ",framerate=" + std::to_string(kRate) + "/1,pixel-aspect-ratio=1/1" +
         colours;
}

std::string Description(const PictureScene& scene, bool on_gpu) {
  const bool is_rgba = scene.format == PictureFormat::kRgba;
  const char* const memory = on_gpu ? "(memory:GLMemory)" : "";
  const auto caps = [&](const char* where, const char* format) {
    return " ! " + Caps(where, format, scene.width, scene.height);
  };
  std::string text = on_gpu ? "glvideomixerelement name=mixer background=black"
                            : "compositor name=mixer background=black max-threads=1";
  text += caps(memory, on_gpu || is_rgba ? "RGBA" : "AYUV");
  if (!is_rgba) text += (on_gpu ? " ! glcolorconvert" : " ! videoconvert") + caps(memory, NameOf(scene.format));
  if (on_gpu) text += " ! gldownload ! video/x-raw";
  return text + " ! appsink name=sink sync=false max-buffers=2";
}

class GStreamerPictures : public Contestant {
 public:
  GStreamerPictures(const PictureScene& scene, bool on_gpu)
      : scene_(scene), on_gpu_(on_gpu), mixer_(Description(scene, on_gpu)) {
    if (on_gpu) MakeContext();
    mixer_.Start();
    const bool in_yuv = !on_gpu && scene.format != PictureFormat::kRgba;
    GstCaps* const caps = gst_caps_from_string(
        Caps(on_gpu ? "(memory:GLMemory)" : "", in_yuv ? "AYUV" : "RGBA", scene.layer_width(), scene.layer_height())
            .c_str());
    if (on_gpu) gst_caps_set_simple(caps, "texture-target", G_TYPE_STRING, "2D", nullptr);
    for (unsigned int i = 0; i < scene.layers; ++i) {
      inputs_.push_back(mixer_.AddInput(caps));
      layers_.push_back(MakeLayer(caps, Pixels(i)));
      g_object_set(inputs_[i].mixers, "zorder", i, "repeat-after-eos", TRUE, nullptr);
      // Alpha is blended as colours are; compositor has its own way there.
      if (on_gpu) gst_util_set_object_arg(G_OBJECT(inputs_[i].mixers), "blend-function-src-alpha", "src-alpha");
    }
    gst_caps_unref(caps);
  }

  ~GStreamerPictures() override {
    for (GstBuffer* layer : layers_) gst_buffer_unref(layer);
  }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i, ++frames_) {
      for (unsigned int layer = 0; layer < scene_.layers; ++layer) {
        g_object_set(inputs_[layer].mixers, "xpos", static_cast<int>(scene_.Left(layer).At(frames_)), "ypos",
                     static_cast<int>(scene_.Top(layer).At(frames_)), nullptr);
      }
      for (unsigned int layer = frames_ == 0 ? scene_.layers : 1; layer-- > 0;) Push(layer);
      latest_ = mixer_.Pull();
    }
  }

  std::vector<unsigned char> Latest() override {
    GstVideoInfo info;
    GstVideoFrame frame;
    if (!gst_video_info_from_caps(&info, gst_sample_get_caps(latest_.get())) ||
        !gst_video_frame_map(&frame, &info, gst_sample_get_buffer(latest_.get()), GST_MAP_READ)) {
      throw std::runtime_error("cannot map a picture");
    }
    std::vector<unsigned char> bytes;
    for (guint plane = 0; plane < GST_VIDEO_FRAME_N_PLANES(&frame); ++plane) {
      // A plane's first component is as wide and high as the plane.
      const guint component = plane;
      AppendRows(&bytes, GST_VIDEO_FRAME_PLANE_DATA(&frame, plane),
                 static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, plane)),
                 static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_WIDTH(&frame, component) *
                                          GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component)),
                 static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component)));
    }
    gst_video_frame_unmap(&frame);
    return bytes;
  }

 private:
  // A context that the pipeline's elements find, so that layers can be uploaded into it before anything runs.
  void MakeContext() {
    GstGLDisplay* const display = gst_gl_display_new();
    GError* error = nullptr;
    if (!gst_gl_display_create_context(display, nullptr, &gl_, &error)) {
      const std::string message = error ? error->message : "no OpenGL here";
      g_clear_error(&error);
      gst_object_unref(display);
      throw std::runtime_error(message);
    }
    gst_gl_display_add_context(display, gl_);
    GstContext* const context = gst_context_new(GST_GL_DISPLAY_CONTEXT_TYPE, TRUE);
    gst_context_set_gl_display(context, display);
    gst_element_set_context(mixer_.pipeline(), context);
    gst_context_unref(context);
    gst_object_unref(display);
  }

  std::vector<unsigned char> Pixels(unsigned int layer) const {
    if (scene_.format == PictureFormat::kRgba) return LayerRgba(scene_, layer);
    return on_gpu_ ? LayerRgba601(scene_, layer) : LayerAyuv(scene_, layer);
  }

  GstBuffer* MakeLayer(GstCaps* caps, const std::vector<unsigned char>& pixels) {
    if (!on_gpu_) {
      GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, pixels.size(), nullptr);
      gst_buffer_fill(buffer, 0, pixels.data(), pixels.size());
      return buffer;
    }
    GstBufferPool* const pool = gst_gl_buffer_pool_new(gl_);
    GstStructure* const config = gst_buffer_pool_get_config(pool);
    gst_buffer_pool_config_set_params(config, caps, static_cast<guint>(pixels.size()), 1, 1);
    GstBuffer* buffer = nullptr;
    GstVideoInfo info;
    GstVideoFrame frame;
    const bool is_mapped = gst_buffer_pool_set_config(pool, config) && gst_buffer_pool_set_active(pool, TRUE) &&
                           gst_buffer_pool_acquire_buffer(pool, &buffer, nullptr) == GST_FLOW_OK &&
                           gst_video_info_from_caps(&info, caps) &&
                           gst_video_frame_map(&frame, &info, buffer, GST_MAP_WRITE);
    if (!is_mapped) throw std::runtime_error("cannot make a texture");
    const std::size_t row_size = std::size_t{4} * scene_.layer_width();
    for (std::size_t y = 0; y < scene_.layer_height(); ++y) {
      std::memcpy(static_cast<unsigned char*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
                      y * static_cast<std::size_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0)),
                  pixels.data() + y * row_size, row_size);
    }
    gst_video_frame_unmap(&frame);
    gst_object_unref(pool);  // The buffer keeps it.
    return buffer;
  }

  void Push(unsigned int layer) {
    GstBuffer* const buffer = gst_buffer_copy(layers_[layer]);  // The pixels stay where they are.
    GST_BUFFER_PTS(buffer) = TimeOf(frames_, kRate);
    GST_BUFFER_DURATION(buffer) = TimeOf(frames_ + 1, kRate) - GST_BUFFER_PTS(buffer);
    mixer_.Push(inputs_[layer], buffer);
    if (layer > 0) gst_pad_push_event(inputs_[layer].ours, gst_event_new_eos());
  }

  const PictureScene scene_;
  const bool on_gpu_;
  GstGLContext* gl_ = nullptr;  // Lives as long as the process.
  SamplePtr latest_;
  MixerPipeline mixer_;
  std::vector<MixerPipeline::Input> inputs_;
  std::vector<GstBuffer*> layers_;
  std::uint64_t frames_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  // Without a display, as the other contestants; where the environment says otherwise, that holds.
  g_setenv("GST_GL_PLATFORM", "egl", FALSE);
  g_setenv("GST_GL_WINDOW", "egl-device", FALSE);
  g_setenv("GST_GL_API", "opengl3", FALSE);
  gst_init(&argc, &argv);
  const bool on_gpu = argc > 1 && std::strcmp(argv[1], "gl") == 0;
  return Serve([=](const Words& words) { return std::make_unique<GStreamerPictures>(PictureScene(words), on_gpu); });
}
