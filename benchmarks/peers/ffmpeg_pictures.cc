// FFmpeg's pictures: a chain of overlay filters. Layers and canvas are made in the format that is blended in; a layer
// is handed over once and repeated. NV12 is blended as I420 and converted at the end, for which there is faster code
// than for blending in NV12 itself.
#include "benchmarks/peers/ffmpeg.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

#include <cstring>

#include "benchmarks/peers/scene.h"

namespace {

AVPixelFormat FormatOf(PictureFormat format) {
  switch (format) {
    case PictureFormat::kNv12: return AV_PIX_FMT_NV12;
    case PictureFormat::kI420: return AV_PIX_FMT_YUV420P;
    default: return AV_PIX_FMT_RGBA;
  }
}

std::string Expression(const Path& path) {
  // The first frame is number 1.
  return "2*mod(" + std::to_string(path.start) + "+(n-1)*" + std::to_string(path.step) + "," +
         std::to_string(path.range) + ")";
}

class FFmpegPictures : public Contestant {
 public:
  explicit FFmpegPictures(const PictureScene& scene) : scene_(scene), latest_(NewFrame()) {
    const bool is_rgba = scene.format == PictureFormat::kRgba;
    canvas_format_ = is_rgba ? AV_PIX_FMT_RGBA : AV_PIX_FMT_YUV420P;
    canvas_ = AddSource(canvas_format_, scene.width, scene.height);
    AVFilterContext* below = canvas_;
    std::vector<AVFilterContext*> layers;
    for (unsigned int i = 0; i < scene.layers; ++i) {
      AVFilterContext* const layer =
          AddSource(is_rgba ? AV_PIX_FMT_RGBA : AV_PIX_FMT_YUVA420P, scene.layer_width(), scene.layer_height());
      AVFilterContext* const overlay = graph_.Add("overlay", {{"x", Expression(scene.Left(i))},
                                                              {"y", Expression(scene.Top(i))},
                                                              {"eval", "frame"},
                                                              {"format", is_rgba ? "rgb" : "yuv420"},
                                                              {"eof_action", "repeat"}});
      graph_.Link(below, overlay, 0);
      graph_.Link(layer, overlay, 1);
      layers.push_back(layer);
      below = overlay;
    }
    sink_ = graph_.Add("buffersink", {});
    const AVPixelFormat formats[] = {FormatOf(scene.format), AV_PIX_FMT_NONE};
    CheckFFmpeg(av_opt_set_int_list(sink_, "pix_fmts", formats, AV_PIX_FMT_NONE, AV_OPT_SEARCH_CHILDREN));
    graph_.Link(below, sink_, 0);
    graph_.Configure();
    for (unsigned int i = 0; i < scene.layers; ++i) PushLayer(layers[i], i);
    pool_ = av_buffer_pool_init(static_cast<std::size_t>(CheckFFmpeg(CanvasSize())), nullptr);
    if (!pool_) throw std::bad_alloc();
  }

  ~FFmpegPictures() override { av_buffer_pool_uninit(&pool_); }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i) {
      const FramePtr canvas = BlackCanvas();
      canvas->pts = frames_++;
      CheckFFmpeg(av_buffersrc_add_frame(canvas_, canvas.get()));
      av_frame_unref(latest_.get());
      CheckFFmpeg(av_buffersink_get_frame(sink_, latest_.get()));
    }
  }

  std::vector<unsigned char> Latest() override {
    std::vector<unsigned char> bytes;
    const auto format = static_cast<AVPixelFormat>(latest_->format);
    for (int plane = 0; plane < av_pix_fmt_count_planes(format); ++plane) {
      AppendRows(&bytes, latest_->data[plane], static_cast<std::size_t>(latest_->linesize[plane]),
                 static_cast<std::size_t>(av_image_get_linesize(format, latest_->width, plane)),
                 scene_.height / (plane ? 2 : 1));
    }
    return bytes;
  }

 private:
  AVFilterContext* AddSource(AVPixelFormat format, unsigned int width, unsigned int height) {
    return graph_.Add("buffer", {{"video_size", std::to_string(width) + "x" + std::to_string(height)},
                                 {"pix_fmt", av_get_pix_fmt_name(format)},
                                 {"time_base", "1/30"},
                                 {"frame_rate", "30"}});
  }

  static FramePtr Describe(AVPixelFormat format, unsigned int width, unsigned int height) {
    FramePtr frame = NewFrame();
    frame->format = format;
    frame->width = static_cast<int>(width);
    frame->height = static_cast<int>(height);
    frame->colorspace = format == AV_PIX_FMT_RGBA ? AVCOL_SPC_RGB : AVCOL_SPC_BT709;
    frame->color_range = format == AV_PIX_FMT_RGBA ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    return frame;
  }

  void PushLayer(AVFilterContext* source, unsigned int index) {
    const bool is_rgba = scene_.format == PictureFormat::kRgba;
    const AVPixelFormat format = is_rgba ? AV_PIX_FMT_RGBA : AV_PIX_FMT_YUVA420P;
    const FramePtr frame = Describe(format, scene_.layer_width(), scene_.layer_height());
    CheckFFmpeg(av_frame_get_buffer(frame.get(), 0));
    const std::vector<unsigned char> pixels = is_rgba ? LayerRgba(scene_, index) : LayerYuva420(scene_, index);
    const unsigned char* planes[4] = {};
    int pitches[4] = {};
    // The planes lie as this has them: Y, U, V, A.
    CheckFFmpeg(av_image_fill_linesizes(pitches, format, frame->width));
    planes[0] = pixels.data();
    for (int p = 1; p < 4 && pitches[p]; ++p) {
      planes[p] = planes[p - 1] + pitches[p - 1] * (p == 2 || p == 3 ? frame->height / 2 : frame->height);
    }
    av_image_copy(frame->data, frame->linesize, planes, pitches, format, frame->width, frame->height);
    frame->pts = 0;
    CheckFFmpeg(av_buffersrc_add_frame(source, frame.get()));
    CheckFFmpeg(av_buffersrc_close(source, 1, AV_BUFFERSRC_FLAG_PUSH));
  }

  int CanvasSize() const {
    return av_image_get_buffer_size(canvas_format_, static_cast<int>(scene_.width), static_cast<int>(scene_.height),
                                    kAlignment);
  }

  FramePtr BlackCanvas() {
    FramePtr frame = Describe(canvas_format_, scene_.width, scene_.height);
    frame->buf[0] = av_buffer_pool_get(pool_);
    if (!frame->buf[0]) throw std::bad_alloc();
    CheckFFmpeg(av_image_fill_arrays(frame->data, frame->linesize, frame->buf[0]->data, canvas_format_, frame->width,
                                     frame->height, kAlignment));
    const std::ptrdiff_t pitches[4] = {frame->linesize[0], frame->linesize[1], frame->linesize[2]};
    CheckFFmpeg(
        av_image_fill_black(frame->data, pitches, canvas_format_, frame->color_range, frame->width, frame->height));
    return frame;
  }

  static constexpr int kAlignment = 32;

  const PictureScene scene_;
  AVPixelFormat canvas_format_ = AV_PIX_FMT_NONE;
  AVBufferPool* pool_ = nullptr;
  FramePtr latest_;
  FilterGraph graph_;
  AVFilterContext* canvas_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  std::int64_t frames_ = 0;
};

}  // namespace

int main() {
  av_log_set_level(AV_LOG_ERROR);
  return Serve([](const Words& words) { return std::make_unique<FFmpegPictures>(PictureScene(words)); });
}
