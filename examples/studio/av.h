// FFmpeg's objects with their ends attached, and its error texts.
#ifndef QUARN_EXAMPLES_STUDIO_AV_H_
#define QUARN_EXAMPLES_STUDIO_AV_H_

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
#include <libswresample/swresample.h>
#include <libswscale/swscale.h>
}

namespace studio {

struct AvDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
  void operator()(SwrContext* resampler) const { swr_free(&resampler); }
  void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
  void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
};
using AvFrame = std::unique_ptr<AVFrame, AvDeleter>;
using AvPacket = std::unique_ptr<AVPacket, AvDeleter>;
using AvCodec = std::unique_ptr<AVCodecContext, AvDeleter>;
using AvScaler = std::unique_ptr<SwsContext, AvDeleter>;
using AvResampler = std::unique_ptr<SwrContext, AvDeleter>;
using AvFilterGraph = std::unique_ptr<AVFilterGraph, AvDeleter>;
using AvSoundFifo = std::unique_ptr<AVAudioFifo, AvDeleter>;

inline std::string AvErrorText(int error) {
  char text[AV_ERROR_MAX_STRING_SIZE] = "";
  av_strerror(error, text, sizeof(text));
  return text;
}

// A file's name as FFmpeg wants it: a name with a colon in it must not be taken for a protocol.
inline std::string AvUrl(const std::string& name) {
  return name.find("://") == std::string::npos ? "file:" + name : name;
}

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_AV_H_
