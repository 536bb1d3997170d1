#include "studio/film_kinds.h"

#include <algorithm>
#include <initializer_list>

#include "studio/codec_names.h"
#include "studio/error.h"
#include "studio/film_stream.h"
#include "studio/output_name.h"

namespace studio {
namespace {

// What the kind is known by: the container that was chosen, else the name's suffix.
std::string KindName(const Description& description) {
  const std::string& container = description.encoding.container;
  return container.empty() ? SuffixOf(description.output) : container;
}

bool IsOneOf(const std::string& name, std::initializer_list<const char*> names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool IsPictureName(const std::string& name) {
  return IsOneOf(name, {"png", "jpg", "jpeg", "tif", "tiff", "webp", "bmp", "tga", "ppm", "pam", "jp2", "sgi"});
}

[[noreturn]] void RefuseName(const std::string& output) {
  throw UsageError("cannot tell the kind of film from the name " + output +
                   ": it ends in .mp4, .mkv, .webm, .gif, .png or the like");
}

const AVOutputFormat* GuessContainer(const Description& description) {
  const std::string& output = description.output;
  const std::string& name = description.encoding.container;
  if (!name.empty()) {
    const AVOutputFormat* named = av_guess_format(name == "raw" ? "rawvideo" : name.c_str(), nullptr, nullptr);
    if (!named) named = av_guess_format(nullptr, ("film." + name).c_str(), nullptr);
    if (!named) {
      throw UsageError("--container " + name +
                       ": FFmpeg has none such: take matroska, mp4, mov, webm, mpegts, nut, y4m, gif, wav, ...");
    }
    return named;
  }
  if (IsUrl(output)) return StreamFormat(output);
  const AVOutputFormat* guess = av_guess_format(nullptr, output.c_str(), nullptr);
  if (!guess && IsPipe(output)) guess = av_guess_format("matroska", nullptr, nullptr);
  if (!guess) RefuseName(output);
  return guess;
}

// The encoders that a film gets when none is named.
std::vector<const AVCodec*> UsualCodecs(const AVOutputFormat* container, bool transparent) {
  std::vector<const AVCodec*> codecs;
  const auto add = [&](AVCodecID id) {
    if (id == AV_CODEC_ID_NONE || !Takes(container, id)) return;
    for (const AVCodec* codec : EncodersOf(id)) codecs.push_back(codec);
  };
  if (transparent) {
    for (const AVCodecID id : {AV_CODEC_ID_PRORES, AV_CODEC_ID_VP9, AV_CODEC_ID_FFV1, AV_CODEC_ID_QTRLE}) add(id);
  } else if (container->video_codec != AV_CODEC_ID_WRAPPED_AVFRAME) {
    add(AV_CODEC_ID_H264);
    add(AV_CODEC_ID_MPEG4);
  }
  if (container->video_codec == AV_CODEC_ID_WEBP) codecs.push_back(avcodec_find_encoder_by_name("libwebp_anim"));
  add(container->video_codec);
  codecs.erase(std::remove(codecs.begin(), codecs.end(), nullptr), codecs.end());
  return codecs;
}

std::vector<const AVCodec*> UsualSoundCodecs(const AVOutputFormat* container, bool has_picture) {
  std::vector<const AVCodec*> codecs;
  if (container->audio_codec == AV_CODEC_ID_NONE) return codecs;
  const auto add = [&](AVCodecID id) {
    if (!Takes(container, id)) return;
    for (const AVCodec* codec : EncodersOf(id)) codecs.push_back(codec);
  };
  if (has_picture) add(AV_CODEC_ID_AAC);
  for (const AVCodec* codec : EncodersOf(container->audio_codec)) codecs.push_back(codec);
  for (const AVCodecID id : {AV_CODEC_ID_OPUS, AV_CODEC_ID_VORBIS, AV_CODEC_ID_AC3, AV_CODEC_ID_PCM_S16LE}) add(id);
  return codecs;
}

// Those of the encoders that were named that go into the container.
std::vector<const AVCodec*> ChosenCodecs(const char* option, const std::string& name, const AVOutputFormat* container,
                                         AVMediaType type) {
  std::vector<const AVCodec*> codecs = EncodersNamed(option, name, type);
  const auto fits = [&](const AVCodec* codec) { return Takes(container, codec->id); };
  codecs.erase(std::partition(codecs.begin(), codecs.end(), fits), codecs.end());
  if (!codecs.empty()) return codecs;
  const std::string fitting = WhatFits(container, type);
  throw UsageError(std::string(option) + " " + name + ": " + container->name +
                   (fitting.empty() ? " leaves no choice" : " takes " + fitting));
}

void ChooseCodecs(const Description& description, const AVOutputFormat* container, FilmKind* kind) {
  const Encoding& encoding = description.encoding;
  if (kind->has_picture) {
    kind->codecs = encoding.codec.empty() ? UsualCodecs(container, description.transparent)
                                          : ChosenCodecs("--codec", encoding.codec, container, AVMEDIA_TYPE_VIDEO);
    if (kind->codecs.empty()) RefuseName(description.output);
  } else if (!encoding.codec.empty()) {
    throw UsageError("--codec: " + description.output + " has sound alone: take --audio-codec");
  }
  kind->sound_codecs = encoding.audio_codec.empty()
                           ? UsualSoundCodecs(container, kind->has_picture)
                           : ChosenCodecs("--audio-codec", encoding.audio_codec, container, AVMEDIA_TYPE_AUDIO);
}

void KeepAlpha(const Description& description, FilmKind* kind) {
  std::vector<const AVCodec*>& codecs = kind->codecs;
  // VP9 has it beside its pictures, for which there is room in Matroska only.
  const bool has_room = kind->container == "matroska" || kind->container == "webm";
  const auto loses = [&](const AVCodec* codec) {
    return !KeepsAlpha(codec) || (codec->id == AV_CODEC_ID_VP9 && !has_room) || kind->container == "yuv4mpegpipe";
  };
  codecs.erase(std::remove_if(codecs.begin(), codecs.end(), loses), codecs.end());
  if (!codecs.empty()) return;
  const std::string& codec = description.encoding.codec;
  throw UsageError("--transparent: " + (codec.empty() ? description.output : codec + " in " + description.output) +
                   " has no alpha: take .mov (ProRes), .webm, .mkv, .gif, .apng, .png, or frame-%04d.png");
}

// The pattern of a playlist's segments, which lie beside it.
std::string SegmentPattern(const std::string& output) {
  std::string segments = FileName(output);
  if (!SuffixOf(segments).empty()) segments.resize(segments.rfind('.'));
  for (std::size_t at = 0; (at = segments.find('%', at)) != std::string::npos; at += 2) segments.insert(at, "%");
  return segments + "-%05d.ts";
}

// How FFmpeg's containers are to be written.
void SetOptions(FilmKind* kind) {
  const std::string& name = kind->container;
  const bool is_mov = IsOneOf(name, {"mp4", "mov", "ipod", "3gp", "3g2", "psp", "f4v"});
  kind->needs_file = is_mov || IsOneOf(name, {"avi", "apng", "webp", "image2", "hls", "aiff", "w64", "caf"});
  // Moving pictures go on forever.
  if (name == "apng") kind->options.push_back({"plays", "0"});
  if (name == "webp" || name == "gif") kind->options.push_back({"loop", "0"});
  if (name == "hls") {
    kind->options.insert(kind->options.end(), {{"hls_playlist_type", "event"},
                                               {"hls_flags", "independent_segments"},
                                               {"hls_segment_filename", LocalPath(kind->pattern)}});
  }
}

}  // namespace

bool IsStillKind(const Description& description) {
  const std::string name = KindName(description);
  return IsPictureName(name) && !IsPattern(description.output) && description.encoding.container != "webp";
}

bool IsSoundKind(const Description& description) {
  return IsOneOf(KindName(description), {"wav",  "w64", "flac", "mp3",  "m4a", "m4b", "ogg", "oga", "opus", "aac",
                                         "adts", "ac3", "aif",  "aiff", "caf", "au",  "mp2", "wv",  "tta",  "mka"});
}

FilmKind KindOf(const Description& description) {
  FilmKind kind;
  const std::string& output = description.output;
  const std::string& codec = description.encoding.codec;
  kind.is_still = IsStillKind(description);
  kind.is_sequence = !kind.is_still && IsPattern(output) && IsPictureName(KindName(description));
  kind.has_picture = !IsSoundKind(description);
  if (kind.is_still || kind.is_sequence) {
    kind.container = kind.is_still ? "image2pipe" : "image2";
    kind.fills_gaps = true;
    if (!codec.empty()) throw UsageError("--codec " + codec + ": pictures are encoded as their name says");
    const AVOutputFormat* const container = av_guess_format("image2", nullptr, nullptr);
    const std::string name = "picture." + KindName(description);
    const AVCodecID id = av_guess_codec(container, nullptr, name.c_str(), nullptr, AVMEDIA_TYPE_VIDEO);
    kind.codecs = EncodersOf(id);
    if (kind.codecs.empty()) throw UsageError("cannot write " + output + ": FFmpeg has no encoder for it");
  } else {
    const AVOutputFormat* const container = GuessContainer(description);
    kind.container = container->name;
    kind.fills_gaps = IsOneOf(kind.container, {"yuv4mpegpipe", "rawvideo"});
    if (((container->flags & AVFMT_NOFILE) && kind.container != "hls" && !IsUrl(output)) ||
        (kind.has_picture && container->video_codec == AV_CODEC_ID_NONE)) {
      RefuseName(output);
    }
    ChooseCodecs(description, container, &kind);
  }
  if (kind.sound_codecs.empty() && (!description.encoding.audio_codec.empty() || description.encoding.audio_bitrate)) {
    throw UsageError("--audio-codec and --audio-bitrate: " + output + " has no sound");
  }
  if (description.transparent && !kind.has_picture) throw UsageError("--transparent: " + output + " has sound alone");
  if (description.transparent) KeepAlpha(description, &kind);
  if (kind.is_sequence) kind.pattern = FileName(output);
  if (kind.container == "hls") kind.pattern = SegmentPattern(output);
  SetOptions(&kind);
  return kind;
}

AVPixelFormat EncodedFormat(const AVCodec* codec, PixelLayout layout, bool transparent) {
  const bool is_rgb = layout == PixelLayout::kRgba || layout == PixelLayout::kBgra;
  switch (codec->id) {
    case AV_CODEC_ID_WRAPPED_AVFRAME: return AV_PIX_FMT_YUV420P;
    case AV_CODEC_ID_RAWVIDEO:
      if (is_rgb) return layout == PixelLayout::kRgba ? AV_PIX_FMT_RGBA : AV_PIX_FMT_BGRA;
      return layout == PixelLayout::kNv12 ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
    case AV_CODEC_ID_GIF: return AV_PIX_FMT_PAL8;
    case AV_CODEC_ID_WEBP: return AV_PIX_FMT_BGRA;
    case AV_CODEC_ID_MJPEG: return AV_PIX_FMT_YUVJ444P;
    // Its files do not say which YUV theirs is.
    case AV_CODEC_ID_JPEG2000: return transparent ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24;
    case AV_CODEC_ID_PRORES: return transparent ? AV_PIX_FMT_YUVA444P10 : AV_PIX_FMT_YUV422P10;
    default: break;
  }
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec->id);
  const bool is_lossless = !(descriptor->props & AV_CODEC_PROP_LOSSY);
  const bool is_halved = TakesFormat(codec, AV_PIX_FMT_YUV420P);
  if (!transparent && is_halved && !(is_rgb && is_lossless)) {
    return layout == PixelLayout::kNv12 && TakesFormat(codec, AV_PIX_FMT_NV12) ? AV_PIX_FMT_NV12 : AV_PIX_FMT_YUV420P;
  }
  AVPixelFormat best = AV_PIX_FMT_NONE;
  for (const AVPixelFormat* format = codec->pix_fmts; format && *format != AV_PIX_FMT_NONE; ++format) {
    const std::uint64_t flags = av_pix_fmt_desc_get(*format)->flags;
    const bool has_alpha = (flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    if ((flags & (AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_HWACCEL)) || has_alpha != transparent) continue;
    best = best == AV_PIX_FMT_NONE
               ? *format
               : av_find_best_pix_fmt_of_2(best, *format, transparent ? AV_PIX_FMT_RGBA : AV_PIX_FMT_RGB24, transparent,
                                           nullptr);
  }
  return best;
}

PixelLayout BestLayout(const FilmKind& kind) {
  if (kind.codecs.empty()) return PixelLayout::kI420;
  const AVPixelFormat format = EncodedFormat(kind.codecs[0], PixelLayout::kI420, false);
  const bool as_is = format == AV_PIX_FMT_YUV420P && !kind.is_still && !kind.is_sequence;
  return as_is ? PixelLayout::kI420 : PixelLayout::kRgba;
}

}  // namespace studio
