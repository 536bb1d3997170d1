#include "studio/film_kinds.h"

#include "studio/error.h"
#include "studio/film_stream.h"

namespace studio {
namespace {

void Add(std::vector<const AVCodec*>* list, const AVCodec* codec) {
  if (codec && !(codec->capabilities & AV_CODEC_CAP_EXPERIMENTAL)) list->push_back(codec);
}

}  // namespace

FilmKind KindOf(const Description& description) {
  FilmKind kind;
  const std::string& output = description.output;
  if (description.IsStill()) {
    kind.container = "image2pipe";
    Add(&kind.codecs, avcodec_find_encoder(AV_CODEC_ID_PNG));
    return kind;
  }
  const bool is_stream = IsStreamOutput(output);
  const AVOutputFormat* guess = is_stream ? StreamFormat(output) : av_guess_format(nullptr, output.c_str(), nullptr);
  if (!guess || (!is_stream && (guess->flags & AVFMT_NOFILE)) || guess->video_codec == AV_CODEC_ID_NONE) {
    throw UsageError("cannot tell the kind of film from the name " + output);
  }
  kind.container = guess->name;
  if (guess->video_codec == AV_CODEC_ID_WRAPPED_AVFRAME) {
    Add(&kind.codecs, avcodec_find_encoder(AV_CODEC_ID_WRAPPED_AVFRAME));
    return kind;
  }
  // MPEG-TS and what is sent by RTP take both, but have no list that could be asked.
  const bool takes_all = kind.container == "mpegts" || kind.container == "rtp_mpegts" || kind.container == "rtsp";
  const auto takes = [&](AVCodecID id) {
    return takes_all || avformat_query_codec(guess, id, FF_COMPLIANCE_NORMAL) == 1;
  };
  if (takes(AV_CODEC_ID_H264)) {
    Add(&kind.codecs, avcodec_find_encoder_by_name("libx264"));
    Add(&kind.codecs, avcodec_find_encoder_by_name("libopenh264"));
  }
  if (takes(AV_CODEC_ID_MPEG4)) Add(&kind.codecs, avcodec_find_encoder(AV_CODEC_ID_MPEG4));
  Add(&kind.codecs, avcodec_find_encoder(guess->video_codec));

  if (guess->audio_codec == AV_CODEC_ID_NONE) return kind;
  if (takes(AV_CODEC_ID_AAC)) Add(&kind.sound_codecs, avcodec_find_encoder(AV_CODEC_ID_AAC));
  Add(&kind.sound_codecs, avcodec_find_encoder(guess->audio_codec));
  for (const AVCodecID id : {AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS, AV_CODEC_ID_AC3, AV_CODEC_ID_PCM_S16LE}) {
    if (takes(id)) Add(&kind.sound_codecs, avcodec_find_encoder(id));
  }
  return kind;
}

}  // namespace studio
