#include "studio/film_sound.h"

#include <utility>

namespace studio {

void FilmSound::OnSound(const float* const* planes, int frames, std::uint64_t clock_ns) {
  Block block{NewSoundBlock(planes, frames), clock_ns};
  if (block.samples) waiting_.push_back(std::move(block));
  const std::uint64_t begin_ns = output_->begin_ns();
  if (begin_ns == 0) return;
  for (; !waiting_.empty(); waiting_.pop_front()) {
    const auto since_begin_ns = static_cast<std::int64_t>(waiting_.front().clock_ns - begin_ns) + offset_ns_;
    encoder_->SubmitSound(std::move(waiting_.front().samples), SoundFrames(since_begin_ns));
  }
}

}  // namespace studio
