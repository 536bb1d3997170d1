// Makes a film from a description: builds the scene and drives its frames.
#ifndef QUARN_EXAMPLES_RECORD_RECORDER_H_
#define QUARN_EXAMPLES_RECORD_RECORDER_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "studio/description.h"
#include "studio/film_output.h"
#include "studio/stage_times.h"

namespace studio {

// How a film went.
struct Summary {
  FilmCounts counts;
  std::uint64_t lost_packets = 0;
  double seconds = 0;  // That it took.
  std::string encoder;
};

// Called now and then with the counts so far and the seconds since the start; returns false to end the film early.
using Progress = std::function<bool(const FilmCounts& counts, double seconds)>;

// Makes the film. Throws Error; then no film is left behind.
Summary Record(const Description& description, const Progress& progress, StageTimes* times);

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_RECORDER_H_
