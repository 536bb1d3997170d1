#include "studio/encoder_choices.h"

#include <cmath>
#include <cstring>
#include <string>

#include "studio/error.h"

namespace studio {
namespace {

// How an encoder counts quality: the number for the best picture and that for the worst one.
struct Scale {
  const char* encoder;
  const char* option;  // Of the encoder's own; null for the quantizer that many share.
  double best;
  double worst;
};

constexpr Scale kScales[] = {
    {"libx264", "crf", 1, 51},           {"libx264rgb", "crf", 1, 51},  {"libx265", "crf", 1, 51},
    {"libvpx-vp9", "crf", 1, 63},        {"libvpx", "crf", 4, 63},      {"libaom-av1", "crf", 1, 63},
    {"libsvtav1", "crf", 1, 63},         {"librav1e", "qp", 1, 255},    {"libwebp", "quality", 100, 0},
    {"libwebp_anim", "quality", 100, 0}, {"libtheora", nullptr, 10, 0}, {"mpeg4", nullptr, 2, 31},
    {"libxvid", nullptr, 2, 31},         {"mjpeg", nullptr, 2, 31},     {"mpeg2video", nullptr, 2, 31},
    {"mpeg1video", nullptr, 2, 31},
};

constexpr int kPhotoQuality = 95;  // FFmpeg's own choice shows.

constexpr char kX26Presets[] = "ultrafast superfast veryfast faster fast medium slow slower veryslow placebo";

bool IsX26(const AVCodec* codec) { return std::strncmp(codec->name, "libx26", 6) == 0; }

bool IsWordOf(const std::string& word, const std::string& words) {
  return !word.empty() && word.find(' ') == std::string::npos &&
         (" " + words + " ").find(" " + word + " ") != std::string::npos;
}

// Lossless encoders and those of samples as they are have no rate, and some have one of their own.
bool TakesRate(const AVCodec* codec) {
  const AVCodecDescriptor* const descriptor = avcodec_descriptor_get(codec->id);
  return descriptor && (descriptor->props & AV_CODEC_PROP_LOSSY) && codec->id != AV_CODEC_ID_PRORES &&
         codec->id != AV_CODEC_ID_WEBP;
}

UsageError Refusal(const char* option, const AVCodec* codec, const std::string& instead) {
  return UsageError(std::string(option) + ": " + codec->name + " takes none: " + instead);
}

void ChooseQuality(int quality, AVCodecContext* codec) {
  const std::string name = codec->codec->name;
  for (const Scale& scale : kScales) {
    if (name != scale.encoder) continue;
    const double value = scale.worst + (scale.best - scale.worst) * quality / 100;
    if (scale.option) {
      codec->bit_rate = 0;
      av_opt_set(codec->priv_data, scale.option, std::to_string(std::lround(value)).c_str(), 0);
    } else {
      codec->flags |= AV_CODEC_FLAG_QSCALE;
      codec->global_quality = static_cast<int>(std::lround(value * FF_QP2LAMBDA));
    }
    return;
  }
  throw Refusal("--quality", codec->codec, TakesRate(codec->codec) ? "give --bitrate" : "leave it out");
}

void ChoosePreset(const std::string& preset, AVCodecContext* codec) {
  const AVOption* const option = av_opt_find(codec->priv_data, "preset", nullptr, 0, 0);
  if (!option) throw Refusal("--preset", codec->codec, "libx264, libx265 and libsvtav1 have presets");
  const std::string failure = "--preset " + preset + ": " + codec->codec->name + " takes ";
  if (IsX26(codec->codec) && !IsWordOf(preset, kX26Presets)) throw UsageError(failure + "one of " + kX26Presets);
  if (av_opt_set(codec->priv_data, "preset", preset.c_str(), 0) < 0) {
    throw UsageError(option->type == AV_OPT_TYPE_INT && !option->unit
                         ? failure + std::to_string(std::lround(option->min)) + " to " +
                               std::to_string(std::lround(option->max))
                         : failure + "no such preset");
  }
}

}  // namespace

void ChoosePicture(const Encoding& encoding, AVCodecContext* codec) {
  if (!encoding.preset.empty()) ChoosePreset(encoding.preset, codec);
  const bool is_photo = codec->codec_id == AV_CODEC_ID_MJPEG || codec->codec_id == AV_CODEC_ID_WEBP;
  if (encoding.quality || (is_photo && !encoding.bitrate)) {
    ChooseQuality(encoding.quality.value_or(kPhotoQuality), codec);
  }
  if (!encoding.bitrate) return;
  if (!TakesRate(codec->codec)) throw Refusal("--bitrate", codec->codec, "leave it out");
  codec->bit_rate = *encoding.bitrate;
  // A constant quality would win over the rate.
  const AVOption* const crf = av_opt_find(codec->priv_data, "crf", nullptr, 0, 0);
  if (crf) av_opt_set_double(codec->priv_data, "crf", crf->min, 0);
}

void ChooseSound(const Encoding& encoding, AVCodecContext* codec) {
  if (!encoding.audio_bitrate) return;
  if (!TakesRate(codec->codec)) throw Refusal("--audio-bitrate", codec->codec, "leave it out");
  codec->bit_rate = *encoding.audio_bitrate;
}

}  // namespace studio
