// Makes a film from a description: builds the scene and drives its frames.
#ifndef QUARN_EXAMPLES_RECORD_RECORDER_H_
#define QUARN_EXAMPLES_RECORD_RECORDER_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "studio/description.h"
#include "studio/film_output.h"
#include "studio/sound_mix.h"
#include "studio/stage_times.h"

namespace studio {

// How a film went.
struct Summary {
  FilmCounts counts;
  std::uint64_t lost_packets = 0;
  double seconds = 0;  // How long the recording took.
  std::string encoder;

  // What there is to tell of a film with sound.
  struct Sound {
    std::string encoder;
    MixReport mix;
    std::uint64_t dropped_blocks = 0;
  };
  std::optional<Sound> sound;

  // A file or stream with packets that could not be decoded, or not wholly.
  struct Damage {
    std::string file;
    std::uint64_t packets = 0;
  };
  std::vector<Damage> damage;
};

// How far a film is.
struct Status {
  FilmCounts counts;
  double seconds = 0;          // Since the film began; negative until then.
  std::optional<float> level;  // The largest magnitude of the sound since the last status, 0 to 1; unset without sound.
};

// Called now and then; returns false to end the film early.
using Progress = std::function<bool(const Status& status)>;

// Makes the film. Throws Error; what there is of the film is kept.
Summary Record(const Description& description, const Progress& progress, StageTimes* times);

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_RECORDER_H_
