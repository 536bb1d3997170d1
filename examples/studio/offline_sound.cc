#include "studio/offline_sound.h"

#include <algorithm>
#include <array>
#include <utility>

#include "studio/error.h"

namespace studio {

OfflineSound::OfflineSound(Encoder* encoder, std::vector<std::unique_ptr<SoundReader>> readers,
                           std::function<bool()> goes_on)
    : encoder_(encoder) {
  for (auto& reader : readers) {
    reader->SetGoesOn(goes_on);
    DrivenMix::Input input = mix_.Add(reader->gain());
    voices_.push_back(Voice{std::move(reader), std::move(input)});
  }
}

void OfflineSound::MixUntil(std::int64_t end) {
  while (mixed_ + kSoundBlock <= end) MixBlock(kSoundBlock);
}

MixReport OfflineSound::Finish(std::int64_t length) {
  while (mixed_ < length) MixBlock(static_cast<int>(std::min<std::int64_t>(kSoundBlock, length - mixed_)));
  MixReport report;
  report.peak = level_.peak();
  report.clipped = level_.clipped();
  return report;
}

// Mixes a block, of which the film takes the first `frames` frames.
void OfflineSound::MixBlock(int frames) {
  std::array<std::array<float, kSoundBlock>, kSoundChannels> samples;
  float* planes[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) planes[c] = samples[c].data();
  for (Voice& voice : voices_) {
    if (voice.ended) continue;
    const int count = voice.reader->Read(planes, kSoundBlock);
    for (float* plane : planes) std::fill(plane + count, plane + kSoundBlock, 0.0f);
    voice.ended = count < kSoundBlock;
    if (count > 0) DrivenMix::Push(voice.input, planes);
  }
  float* const* const mixed = mix_.Mix();
  level_.Finish(mixed, frames);
  AvFrame block = NewSoundBlock(mixed, frames);
  if (!block) throw Error("not enough memory for sound");
  encoder_->SubmitSound(std::move(block), mixed_, true);
  mixed_ += frames;
}

}  // namespace studio
