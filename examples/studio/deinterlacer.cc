#include "studio/deinterlacer.h"

#include <cstdio>

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
}

#include "studio/media_file.h"

namespace studio {

Deinterlacer::Deinterlacer() = default;

Deinterlacer::~Deinterlacer() { Reset(); }

void Deinterlacer::Reset() {
  avfilter_graph_free(&graph_);
  source_ = sink_ = nullptr;
}

bool Deinterlacer::Takes(const AVFrame& frame) const {
  return !graph_ || (frame.width == width_ && frame.height == height_ && frame.format == format_);
}

bool Deinterlacer::Push(AVFrame* frame) {
  if (frame && !graph_ && !Build(*frame)) {
    Reset();
    return false;
  }
  return av_buffersrc_add_frame_flags(source_, frame, AV_BUFFERSRC_FLAG_PUSH) >= 0;
}

bool Deinterlacer::Pull(AVFrame* frame) {
  if (av_buffersink_get_frame(sink_, frame) < 0) return false;
  frame->pts = DurationNs(frame->pts, av_buffersink_get_time_base(sink_));
  return true;
}

bool Deinterlacer::Build(const AVFrame& frame) {
  width_ = frame.width;
  height_ = frame.height;
  format_ = frame.format;
  char arguments[120];
  std::snprintf(arguments, sizeof(arguments), "video_size=%dx%d:pix_fmt=%d:time_base=%d/%d", width_, height_, format_,
                kNanoseconds.num, kNanoseconds.den);
  graph_ = avfilter_graph_alloc();
  AVFilterContext* filter = nullptr;
  return graph_ &&
         avfilter_graph_create_filter(&source_, avfilter_get_by_name("buffer"), "in", arguments, nullptr, graph_) >=
             0 &&
         avfilter_graph_create_filter(&filter, avfilter_get_by_name("bwdif"), "bwdif",
                                      "mode=send_frame:deint=interlaced", nullptr, graph_) >= 0 &&
         avfilter_graph_create_filter(&sink_, avfilter_get_by_name("buffersink"), "out", nullptr, nullptr, graph_) >=
             0 &&
         avfilter_link(source_, 0, filter, 0) >= 0 && avfilter_link(filter, 0, sink_, 0) >= 0 &&
         avfilter_graph_config(graph_, nullptr) >= 0;
}

}  // namespace studio
