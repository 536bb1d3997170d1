#include "studio/encoder_settings.h"

#include <algorithm>
#include <cstring>
#include <thread>

namespace studio {
namespace {

struct Settings {
  const char* encoder;
  int offline_threads;  // A fixed number: with some encoders it changes the bytes.
  int live_threads;     // 0 for as many as there are processors.
  bool has_quality;     // Its options hold the quality, so that no bit rate is set.
  const char* options;  // Of every film. Options are written as FFmpeg has them: "name=value:name=value".
  const char* offline;
  const char* live;
  const char* stream;  // Beside those of a live film.
};

// The log of libx265 does not go through FFmpeg's. Where an encoder can split a picture among threads, it does so live.
constexpr Settings kSettings[] = {
    {"libx264", 2, 2, true, "crf=20", "preset=medium", "preset=ultrafast", "tune=zerolatency"},
    {"libx265", 2, 0, true, "crf=23", "preset=medium:x265-params=log-level=none\\:frame-threads=2",
     "preset=ultrafast:x265-params=log-level=none", "tune=zerolatency"},
    {"libopenh264", 2, 0, false, "", "", "", ""},
    {"libvpx", 1, 0, false, "", "deadline=good:cpu-used=2:lag-in-frames=16:auto-alt-ref=1",
     "deadline=realtime:cpu-used=12:lag-in-frames=0", ""},
    {"libvpx-vp9", 2, 0, false, "", "deadline=good:cpu-used=3:lag-in-frames=16:row-mt=0:tile-columns=1",
     "deadline=realtime:cpu-used=8:lag-in-frames=0:row-mt=1:tile-columns=2", ""},
    {"libaom-av1", 2, 0, false, "", "usage=good:cpu-used=5:lag-in-frames=19:row-mt=0",
     "usage=realtime:cpu-used=8:lag-in-frames=0:row-mt=1", ""},
    {"libsvtav1", 2, 0, false, "", "preset=7:svtav1-params=lp=2", "preset=12", ""},
    {"librav1e", 2, 0, false, "", "speed=6:tiles=2", "speed=10:tiles=4:rav1e-params=low_latency=true", ""},
    {"prores_ks", 1, 0, false, "", "", "", ""},
    {"ffv1", 1, 0, false, "level=3:slicecrc=1", "", "", ""},
};

// For all others.
constexpr Settings kDefault = {"", 1, 1, false, "", "", "", ""};

constexpr int kMaxThreads = 8;  // More of them gain little and take memory.

int Processors() { return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, kMaxThreads); }

void SetOptions(const char* options, AVCodecContext* codec) {
  AVDictionary* values = nullptr;
  av_dict_parse_string(&values, options, "=", ":", 0);
  // What this version of an encoder does not have, it does without.
  if (codec->priv_data) av_opt_set_dict(codec->priv_data, &values);
  av_dict_free(&values);
}

}  // namespace

void ApplyEncoderSettings(const AVCodec* encoder, EncoderUse use, AVCodecContext* codec) {
  const auto* found = std::find_if(std::begin(kSettings), std::end(kSettings), [encoder](const Settings& settings) {
    return std::strcmp(settings.encoder, encoder->name) == 0;
  });
  const Settings& settings = found == std::end(kSettings) ? kDefault : *found;
  const bool offline = use == EncoderUse::kOffline;
  codec->thread_count = offline ? settings.offline_threads : settings.live_threads;
  if (codec->thread_count == 0) codec->thread_count = Processors();
  if (settings.has_quality) codec->bit_rate = 0;
  SetOptions(settings.options, codec);
  SetOptions(offline ? settings.offline : settings.live, codec);
  if (use == EncoderUse::kStream) SetOptions(settings.stream, codec);
}

}  // namespace studio
