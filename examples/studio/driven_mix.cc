#include "studio/driven_mix.h"

#include <algorithm>

#include "studio/error.h"
#include "studio/sound_level.h"

namespace studio {
namespace {

constexpr unsigned long long kSequence = ~0ULL;  // The stream never starts over: not even the first push is told of.

}  // namespace

DrivenMix::DrivenMix() : mixer_(kSoundRate, kSoundChannels, kQnMixSampleFloat, this) {
  for (int c = 0; c < kSoundChannels; ++c) planes_[c] = mixed_[c].data();
  if (!mixer_.StartDriven()) throw Error("cannot start the mixer");
}

DrivenMix::~DrivenMix() {
  mixer_.Stop();
  for (const Input& input : inputs_) mixer_.RemoveInput(input);
}

DrivenMix::Input DrivenMix::Add(float gain) {
  Input input = MakeRefCounted<QnAudioInput>(static_cast<unsigned int>(kSoundRate),
                                             static_cast<unsigned int>(kSoundChannels), kQnMixSampleFloat);
  if (!input->valid()) throw Error("not enough memory for sound");
  SetGain(input, gain);
  mixer_.AddInput(input);
  inputs_.push_back(input);
  return input;
}

void DrivenMix::Remove(const Input& input) {
  mixer_.RemoveInput(input);
  inputs_.erase(std::remove(inputs_.begin(), inputs_.end(), input), inputs_.end());
}

void DrivenMix::SetGain(const Input& input, float gain) { input->SetGain(InputGain(gain)); }

void DrivenMix::Push(const Input& input, const float* const* planes) {
  const void* from[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) from[c] = planes[c];
  input->PushBackSamples(from, kSoundBlock, kSequence);
}

float* const* DrivenMix::Mix() {
  if (!mixer_.MixBlock(0)) throw Error("the mixer makes no sound");
  return planes_;
}

void DrivenMix::OnMixSamples(void** planes, unsigned int frames, unsigned long long /*timestamp_ns*/) {
  for (int c = 0; c < kSoundChannels; ++c) {
    std::copy_n(static_cast<const float*>(planes[c]), std::min<unsigned int>(frames, kSoundBlock), planes_[c]);
  }
}

}  // namespace studio
