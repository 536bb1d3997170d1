#include "studio/codec_names.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "studio/error.h"

namespace studio {
namespace {

// What people encode with, the most common first.
constexpr AVCodecID kPictureCodecs[] = {
    AV_CODEC_ID_H264,   AV_CODEC_ID_HEVC,  AV_CODEC_ID_VP9,   AV_CODEC_ID_VP8,     AV_CODEC_ID_AV1,
    AV_CODEC_ID_PRORES, AV_CODEC_ID_FFV1,  AV_CODEC_ID_MPEG4, AV_CODEC_ID_QTRLE,   AV_CODEC_ID_MPEG2VIDEO,
    AV_CODEC_ID_THEORA, AV_CODEC_ID_MJPEG, AV_CODEC_ID_PNG,   AV_CODEC_ID_RAWVIDEO};
constexpr AVCodecID kSoundCodecs[] = {AV_CODEC_ID_AAC,  AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS,   AV_CODEC_ID_MP3,
                                      AV_CODEC_ID_FLAC, AV_CODEC_ID_AC3,  AV_CODEC_ID_PCM_S16LE};

struct Preference {
  AVCodecID codec;
  std::array<const char*, 3> encoders;  // The best first.
};

// Where FFmpeg's own choice is not the best.
constexpr Preference kPreferences[] = {
    {AV_CODEC_ID_H264, {"libx264", "libopenh264"}},
    {AV_CODEC_ID_HEVC, {"libx265"}},
    {AV_CODEC_ID_VP8, {"libvpx"}},
    {AV_CODEC_ID_VP9, {"libvpx-vp9"}},
    {AV_CODEC_ID_AV1, {"libsvtav1", "libaom-av1", "librav1e"}},
    {AV_CODEC_ID_PRORES, {"prores_ks"}},
    {AV_CODEC_ID_WEBP, {"libwebp"}},
};

// What MPEG-TS takes, which has no list that could be asked, nor have the playlists of it.
constexpr AVCodecID kTransportCodecs[] = {AV_CODEC_ID_H264,       AV_CODEC_ID_HEVC, AV_CODEC_ID_MPEG4,
                                          AV_CODEC_ID_MPEG2VIDEO, AV_CODEC_ID_AAC,  AV_CODEC_ID_MP3,
                                          AV_CODEC_ID_MP2,        AV_CODEC_ID_AC3,  AV_CODEC_ID_OPUS};

void Add(std::vector<const AVCodec*>* list, const AVCodec* codec) {
  if (codec && !(codec->capabilities & AV_CODEC_CAP_EXPERIMENTAL)) list->push_back(codec);
}

// FFmpeg has those that take frames of a graphics device only.
bool TakesMemory(const AVCodec* codec) {
  if (codec->type != AVMEDIA_TYPE_VIDEO || !codec->pix_fmts) return true;
  for (const AVPixelFormat* format = codec->pix_fmts; *format != AV_PIX_FMT_NONE; ++format) {
    if (!(av_pix_fmt_desc_get(*format)->flags & AV_PIX_FMT_FLAG_HWACCEL)) return true;
  }
  return false;
}

template <std::size_t N>
std::string List(const AVCodecID (&codecs)[N], const AVOutputFormat* container) {
  std::string list;
  for (const AVCodecID id : codecs) {
    if ((container && !Takes(container, id)) || EncodersOf(id).empty()) continue;
    list += (list.empty() ? "" : ", ") + std::string(avcodec_get_name(id));
  }
  return list;
}

}  // namespace

std::vector<const AVCodec*> EncodersOf(AVCodecID id) {
  std::vector<const AVCodec*> encoders;
  for (const Preference& preference : kPreferences) {
    if (preference.codec != id) continue;
    for (const char* name : preference.encoders) {
      if (name) Add(&encoders, avcodec_find_encoder_by_name(name));
    }
  }
  if (encoders.empty()) {
    const AVCodec* const codec = avcodec_find_encoder(id);
    if (codec && TakesMemory(codec)) Add(&encoders, codec);
  }
  return encoders;
}

std::vector<const AVCodec*> EncodersNamed(const char* option, const std::string& name, AVMediaType type) {
  std::vector<const AVCodec*> encoders;
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get_by_name(name == "h265" ? "hevc" : name.c_str());
  if (descriptor && descriptor->type == type) encoders = EncodersOf(descriptor->id);
  const AVCodec* const named = avcodec_find_encoder_by_name(name.c_str());
  if (encoders.empty() && named && named->type == type) {
    if (!TakesMemory(named)) {
      throw UsageError(std::string(option) + " " + name + ": it takes frames of a graphics device only");
    }
    Add(&encoders, named);
  }
  if (encoders.empty()) {
    throw UsageError(std::string(option) + " " + name + ": FFmpeg has no such encoder here: take " +
                     WhatFits(nullptr, type) + ", or any other of FFmpeg's");
  }
  return encoders;
}

bool Takes(const AVOutputFormat* container, AVCodecID id) {
  const std::string name = container->name;
  if (name == "mpegts" || name == "hls" || name == "rtp_mpegts" || name == "rtsp") {
    return std::find(std::begin(kTransportCodecs), std::end(kTransportCodecs), id) != std::end(kTransportCodecs);
  }
  // It has no list either, but takes what names of files stand for.
  if (name == "image2" || name == "image2pipe") return avcodec_get_type(id) == AVMEDIA_TYPE_VIDEO;
  return avformat_query_codec(container, id, FF_COMPLIANCE_NORMAL) == 1;
}

std::string WhatFits(const AVOutputFormat* container, AVMediaType type) {
  return type == AVMEDIA_TYPE_VIDEO ? List(kPictureCodecs, container) : List(kSoundCodecs, container);
}

bool KeepsAlpha(const AVCodec* codec) {
  if (codec->id == AV_CODEC_ID_RAWVIDEO) return true;
  if (codec->id == AV_CODEC_ID_PRORES) return TakesFormat(codec, AV_PIX_FMT_YUVA444P10);
  for (const AVPixelFormat* format = codec->pix_fmts; format && *format != AV_PIX_FMT_NONE; ++format) {
    // A palette may hold one colour that is transparent: it is on or off.
    if (av_pix_fmt_desc_get(*format)->flags & AV_PIX_FMT_FLAG_ALPHA) return true;
  }
  return false;
}

bool TakesFormat(const AVCodec* codec, AVPixelFormat format) {
  for (const AVPixelFormat* taken = codec->pix_fmts; taken && *taken != AV_PIX_FMT_NONE; ++taken) {
    if (*taken == format) return true;
  }
  return false;
}

}  // namespace studio
