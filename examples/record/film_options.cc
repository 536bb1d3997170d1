#include "record/film_options.h"

#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "studio/codec_names.h"
#include "studio/error.h"
#include "studio/layer_text.h"

namespace studio {
namespace {

// "6M", "800k" or "128000" bits a second. Throws UsageError for anything else.
std::int64_t ParseBitRate(const char* option, const std::string& text) {
  std::string number = text;
  double factor = 1;
  if (!number.empty() && (number.back() == 'k' || number.back() == 'K' || number.back() == 'M')) {
    factor = number.back() == 'M' ? 1e6 : 1e3;
    number.pop_back();
  }
  try {
    const double rate = ParseNumber(number) * factor;
    // What is out of range stays so.
    return rate >= 0 && rate < 1e12 ? std::llround(rate) : 0;
  } catch (const UsageError&) {
    throw UsageError(std::string(option) + " " + text + ": is no rate such as 800k or 6M");
  }
}

std::vector<std::string> CodecNames(AVMediaType type) {
  std::istringstream list(WhatFits(nullptr, type));
  std::vector<std::string> names;
  for (std::string name; std::getline(list >> std::ws, name, ',');) names.push_back(name);
  return names;
}

}  // namespace

OptionWords FilmOptions::Words() {
  return {{"--container",
           {"mp4", "mov", "matroska", "webm", "mpegts", "avi", "nut", "hls", "y4m", "raw", "gif", "apng", "webp"}},
          {"--codec", CodecNames(AVMEDIA_TYPE_VIDEO)},
          {"--audio-codec", CodecNames(AVMEDIA_TYPE_AUDIO)}};
}

FilmOptions::FilmOptions(CLI::App* app) {
  app->option_defaults()->group("Output");
  app->add_option("-o,--output", output_, "film.mp4, sound.wav, still.png, frame-%04d.png, ..., a URL, or - for a pipe")
      ->type_name("FILE");
  app->add_option("--container", encoding_.container,
                  "What the film is packed into, as FFmpeg calls it, or a suffix (by the name; a pipe: matroska)")
      ->type_name("NAME");
  app->add_flag("--transparent", transparent_,
                "What no layer covers stays transparent: .mov, .webm, .mkv, .gif, .apng, .png, ...");
  // Of the two the last one given counts. Neither takes a value.
  const auto add_switch = [app](const std::string& name, bool* value, const std::string& on, const std::string& off) {
    const auto add = [&](const std::string& flag, bool meaning, const std::string& help) {
      app->add_flag_callback(
             flag, [value, meaning] { *value = meaning; }, help)
          ->disable_flag_override()
          ->trigger_on_parse();
    };
    add("--" + name, true, on + " (the default)");
    add("--no-" + name, false, off);
  };
  add_switch("overwrite", &overwrite_, "Replace a file of that name", "Leave a file of that name alone");
  add_switch("faststart", &encoding_.faststart, "Put the index of an MP4 or MOV in front", "Leave it at the end");

  app->option_defaults()->group("Encoding");
  app->add_option("--codec", encoding_.codec,
                  "h264, hevc, vp9, av1, prores, ffv1, mpeg4, ... or an encoder of FFmpeg's (what suits the container)")
      ->type_name("NAME");
  quality_option_ =
      app->add_option("--quality", quality_, "0 to 100, which is the best (what the encoder likes)")->type_name("Q");
  app->add_option("--bitrate", bitrate_, "Bits a second of the pictures, such as 800k or 6M")->type_name("RATE");
  app->add_option("--preset", encoding_.preset, "The encoder's own name of a speed: libx264, libx265, libsvtav1")
      ->type_name("NAME");
  app->add_option("--audio-codec", encoding_.audio_codec,
                  "aac, opus, vorbis, mp3, flac, ... (what suits the container)")
      ->type_name("NAME");
  app->add_option("--audio-bitrate", audio_bitrate_, "Bits a second of the sound (160k)")->type_name("RATE");
}

void FilmOptions::ApplyTo(Description* description) const {
  description->output = output_;
  description->overwrite = overwrite_;
  description->transparent = transparent_;
  description->encoding = encoding_;
  if (*quality_option_) description->encoding.quality = quality_;
  if (!bitrate_.empty()) description->encoding.bitrate = ParseBitRate("--bitrate", bitrate_);
  if (!audio_bitrate_.empty()) description->encoding.audio_bitrate = ParseBitRate("--audio-bitrate", audio_bitrate_);
}

}  // namespace studio
