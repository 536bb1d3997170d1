#include "studio/media_file.h"

#include "studio/error.h"

namespace studio {

AvInput OpenMedia(const std::string& file, AVIOInterruptCB interrupt) {
  AVFormatContext* format = avformat_alloc_context();
  format->interrupt_callback = interrupt;
  int result = avformat_open_input(&format, AvUrl(file).c_str(), nullptr, nullptr);
  if (result < 0) throw Error("cannot open " + file + ": " + AvErrorText(result));
  AvInput input(format);
  result = avformat_find_stream_info(format, nullptr);
  if (result < 0) throw Error("cannot decode " + file + ": " + AvErrorText(result));
  return input;
}

AvCodec OpenDecoder(const std::string& file, AVFormatContext* format, int stream) {
  const AVStream* const of = format->streams[stream];
  const AVCodec* decoder = avcodec_find_decoder(of->codecpar->codec_id);
  const std::string type = of->codecpar->codec_type == AVMEDIA_TYPE_AUDIO ? "sound" : "pictures";
  if (!decoder) throw Error("cannot decode " + file + ": no decoder for its " + type);
  AvCodec codec(avcodec_alloc_context3(decoder));
  avcodec_parameters_to_context(codec.get(), of->codecpar);
  codec->pkt_timebase = of->time_base;
  codec->thread_count = of->codecpar->codec_type == AVMEDIA_TYPE_AUDIO ? 1 : 2;
  const int result = avcodec_open2(codec.get(), decoder, nullptr);
  if (result < 0) throw Error("cannot decode " + file + ": " + AvErrorText(result));
  return codec;
}

std::int64_t PictureDurationNs(AVFormatContext* format, int stream) {
  const AVRational rate = av_guess_frame_rate(format, format->streams[stream], nullptr);
  return rate.num > 0 && rate.den > 0 ? av_rescale_q(1, av_inv_q(rate), kNanoseconds) : 40000000;
}

}  // namespace studio
