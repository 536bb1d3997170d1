#include "record/sound_recorder.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/qn_os.h>

#include "studio/encoder.h"
#include "studio/error.h"
#include "studio/offline_sound.h"
#include "studio/sound_mix.h"

namespace studio {
namespace {

constexpr std::chrono::milliseconds kPeriod(50);
constexpr double kSoundTimeoutSeconds = 10;

// Gives each block its place behind the sounds' beginning, before which there are none.
class SoundTrack : public SoundMix::Receiver {
 public:
  explicit SoundTrack(Encoder* encoder) : encoder_(encoder) {}

  void OnSound(const float* const* planes, int frames, std::uint64_t clock_ns) override {
    // The mixer begins with the silence in front of the sounds, when nobody knows yet how long that is.
    if (first_ns_ == 0) first_ns_ = clock_ns + std::uint64_t{SoundPlayer::kLeadIn} * 1000000000 / kSoundRate;
    AvFrame block = NewSoundBlock(planes, frames);
    if (block) encoder_->SubmitSound(std::move(block), SoundFrames(static_cast<std::int64_t>(clock_ns - first_ns_)));
  }

 private:
  Encoder* const encoder_;
  std::uint64_t first_ns_ = 0;  // Mixer's thread.
};

double SecondsSince(std::uint64_t start_ns) {
  return static_cast<double>(static_cast<std::int64_t>(qn_os_gettime_ns() - start_ns)) * 1e-9;
}

// In real time. Returns how it went, but for the encoder.
Summary RecordLive(const Description& description, std::vector<std::unique_ptr<SoundReader>> sounds,
                   const Progress& progress, Encoder* encoder) {
  Summary summary;
  SoundTrack track(encoder);
  SoundMix mix(&track, std::move(sounds));
  const auto report = [&](std::uint64_t begin_ns) {
    return progress({{}, SecondsSince(begin_ns), mix.TakeLevel()}) && !encoder->failed();
  };

  // Slow senders get some time.
  const std::uint64_t start_ns = qn_os_gettime_ns();
  bool goes_on = true;
  while (goes_on && !mix.WaitRead(kPeriod) && SecondsSince(start_ns) < kSoundTimeoutSeconds) {
    goes_on = progress({{}, -1, std::nullopt});
  }
  if (!goes_on) throw Error("stopped before the first sound: no film");

  const std::uint64_t begin_ns = mix.Start();
  const std::uint64_t end_ns = begin_ns + static_cast<std::uint64_t>(description.duration_s * 1e9);
  while (qn_os_gettime_ns() < end_ns && report(begin_ns)) std::this_thread::sleep_for(kPeriod);
  summary.seconds = std::min(SecondsSince(begin_ns), description.duration_s);
  if (summary.seconds <= 0) throw Error("stopped before the first sound: no film");
  if (!encoder->failed()) {
    const std::uint64_t until_ns = begin_ns + static_cast<std::uint64_t>(summary.seconds * 1e9);
    MixReport mixed = mix.Finish(std::min(until_ns, end_ns));
    summary.sound = Summary::Sound{encoder->writer().sound_encoder_name(), std::move(mixed), encoder->dropped_blocks()};
  }
  return summary;
}

// The same film every time, as fast as it can be made.
Summary RecordOffline(const Description& description, std::vector<std::unique_ptr<SoundReader>> sounds,
                      const Progress& progress, Encoder* encoder) {
  std::int64_t mixed = 0;
  const auto report = [&](float level) {
    return progress({{}, static_cast<double>(mixed) / kSoundRate, level}) && !encoder->failed();
  };
  OfflineSound sound(encoder, std::move(sounds), [&] { return report(0); });
  const std::int64_t length = std::llround(description.duration_s * kSoundRate);
  while (mixed < length && report(sound.TakeLevel())) {
    mixed = std::min(mixed + kSoundBlock, length);
    sound.MixUntil(mixed);
  }
  if (mixed == 0) throw Error("stopped before the first sound: no film");
  Summary summary;
  summary.seconds = static_cast<double>(mixed) / kSoundRate;
  if (!encoder->failed()) {
    MixReport how = sound.Finish(mixed);
    summary.sound = Summary::Sound{encoder->writer().sound_encoder_name(), std::move(how), 0};
  }
  return summary;
}

}  // namespace

Summary RecordSound(const Description& description, const Progress& progress, StageTimes* times) {
  std::vector<std::unique_ptr<SoundReader>> sounds = OpenSounds(description);
  if (sounds.empty()) {
    throw UsageError("there is nothing to hear in " + description.output + ": name a sound with --audio, or a video");
  }
  Encoder encoder(std::make_unique<FilmWriter>(description, true), times);
  Summary summary =
      (description.offline ? RecordOffline : RecordLive)(description, std::move(sounds), progress, &encoder);
  encoder.Finish();
  summary.lost_packets = encoder.writer().lost_packets();
  return summary;
}

}  // namespace studio
