// The sound of the film that an output makes.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_SOUND_H_
#define QUARN_EXAMPLES_STUDIO_FILM_SOUND_H_

#include <atomic>
#include <cstdint>
#include <deque>

#include "studio/encoder.h"
#include "studio/film_output.h"
#include "studio/sound_mix.h"

namespace studio {

// Gives each block its place beside the pictures, which keep to the same clock. Blocks wait for the film's first
// picture.
//
// Pictures have times on the engine's grid of frames, sounds begin when the mixer does. Both begin the scene: so that a
// film is the same wherever the grid lies, the sound is moved by what is in between.
class FilmSound : public SoundMix::Receiver {
 public:
  FilmSound(const FilmOutput* output, Encoder* encoder) : output_(output), encoder_(encoder) {}

  // Sounds that begin at `sound_ns` of the monotonic clock belong to the picture of `picture_ns`. Thread: any.
  void Align(std::uint64_t sound_ns, std::uint64_t picture_ns) {
    offset_ns_ = static_cast<std::int64_t>(picture_ns - sound_ns);
  }
  // Where the film ends that has pictures for `length_ns`, on the clock of the sounds.
  std::uint64_t EndAfter(std::uint64_t length_ns) const {
    return output_->begin_ns() + length_ns - static_cast<std::uint64_t>(offset_ns_.load());
  }

  void OnSound(const float* const* planes, int frames, std::uint64_t clock_ns) override;

 private:
  struct Block {
    AvFrame samples;
    std::uint64_t clock_ns = 0;
  };

  const FilmOutput* const output_;
  Encoder* const encoder_;
  std::atomic<std::int64_t> offset_ns_{0};
  std::deque<Block> waiting_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_SOUND_H_
