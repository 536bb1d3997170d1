#include "studio/palette_filter.h"

#include <string>

#include "studio/error.h"

namespace studio {

PaletteFilter::PaletteFilter(AVPixelFormat format, Size size, AVRational time_base, bool transparent)
    : graph_(avfilter_graph_alloc()), filtered_(av_frame_alloc()) {
  const std::string description = "buffer@in=width=" + std::to_string(size.width) +
                                  ":height=" + std::to_string(size.height) + ":pix_fmt=" + av_get_pix_fmt_name(format) +
                                  ":time_base=" + std::to_string(time_base.num) + "/" + std::to_string(time_base.den) +
                                  ":sar=1/1[in]; [in]split[a][b]; [a]palettegen=stats_mode=single" +
                                  ":reserve_transparent=" + (transparent ? "1" : "0") +
                                  "[p]; [b][p]paletteuse=new=1:dither=sierra2_4a[out]; [out]buffersink@out";
  graph_->nb_threads = 1;
  AVFilterInOut* inputs = nullptr;
  AVFilterInOut* outputs = nullptr;
  int result = avfilter_graph_parse2(graph_.get(), description.c_str(), &inputs, &outputs);
  avfilter_inout_free(&inputs);
  avfilter_inout_free(&outputs);
  if (result >= 0) result = avfilter_graph_config(graph_.get(), nullptr);
  source_ = avfilter_graph_get_filter(graph_.get(), "buffer@in");
  sink_ = avfilter_graph_get_filter(graph_.get(), "buffersink@out");
  if (result < 0 || !source_ || !sink_) throw Error("FFmpeg makes no palettes: " + AvErrorText(result));
}

int PaletteFilter::Write(AVFrame* frame, const Sink& sink) {
  int result = av_buffersrc_add_frame_flags(source_, frame, AV_BUFFERSRC_FLAG_KEEP_REF);
  while (result >= 0) {
    result = av_buffersink_get_frame(sink_, filtered_.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
    if (result < 0) return result;
    result = sink(filtered_.get());
    av_frame_unref(filtered_.get());
  }
  return result;
}

}  // namespace studio
