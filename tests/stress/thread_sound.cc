#include "tests/stress/thread_sound.h"

#include <string>

namespace stress {

namespace {

constexpr unsigned long long kOneStream = ~0ull;  // Begins without a warning in the log.

}  // namespace

SoundMixer::SoundMixer() : mixer_(kRate, 1, kQnMixSampleShort, this) {
  for (unsigned int i = 0; i < kInputs; ++i) inputs_.push_back(MakeRef<Input>(kRate, 1u, kQnMixSampleShort));
}

void SoundMixer::OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) {
  const Passage passage(gate_, "OnMixSamples");
  if (frames != kBlockFrames) findings.Add("a block of " + std::to_string(frames) + " frames");
  if (last_time_ != 0 && timestamp_ns != last_time_ + kBlockNs) findings.Add("a block is out of order");
  if (peak_is_due_) findings.Add("a block has no peak");
  last_time_ = timestamp_ns;
  peak_is_due_ = true;
  const auto* const samples = static_cast<const std::int16_t*>(planes[0]);
  for (unsigned int i = 0; i < frames; ++i) {
    for (unsigned int input = 0; input < kInputs; ++input) mixed_[input] += (samples[i] >> input) & 1;
    if (samples[i] < 0 || samples[i] >= 1 << kInputs) findings.Add("a sample is no sum of the inputs");
  }
}

void SoundMixer::OnMixPeak(float peak) {
  const Passage passage(gate_, "OnMixPeak");
  if (!peak_is_due_) findings.Add("a peak has no block");
  if (!(peak >= 0 && peak <= 1)) findings.Add("a peak is out of range");
  peak_is_due_ = false;
}

void SoundMixer::Push(Random& random) {
  const unsigned int which = Below(random, kInputs);
  const unsigned int frames = Below(random, 20) == 0 ? 11 * kRate : Below(random, 3 * kBlockFrames);
  const std::vector<std::int16_t> samples(frames, static_cast<std::int16_t>(1 << which));
  const void* const plane = samples.data();
  const void* planes[] = {plane};
  inputs_[which]->PushBackSamples(planes, frames, kOneStream);
  pushed_[which] += frames;
  const QnAudioInputStats stats = inputs_[which]->stats();
  if (stats.buffered_frames > 10 * kRate + 1) findings.Add("an input buffers more than ten seconds");
  inputs_[which]->level(0);
  mixer_.level(0);
}

void SoundMixer::Change(Random& random, bool driven) {
  const unsigned int which = Below(random, kInputs);
  const unsigned int what = Below(random, 10);
  const std::lock_guard<std::mutex> lock(mutex_);
  if (what < 3) {
    mixer_.AddInput(inputs_[which]);
    added_[which] = true;
  } else if (what < 5) {
    mixer_.RemoveInput(inputs_[which]);
    added_[which] = false;
  } else if (what == 5) {
    mixer_.Stop();
    gate_.Shut();
    last_time_ = 0;
  } else if (driven) {
    gate_.Open();
    driven_time_ += kBlockNs;
    if (!mixer_.MixBlock(driven_time_)) findings.Add("a block was not mixed");
    if (last_time_ != driven_time_ || peak_is_due_) findings.Add("a block did not come");
  } else {
    gate_.Open();
    if (!mixer_.Start()) findings.Add("a mixer did not start");
  }
}

void SoundMixer::TakeApart() {
  mixer_.Stop();
  gate_.Shut();
  for (unsigned int i = 0; i < kInputs; ++i) {
    const int expected = added_[i] ? 2 : 1;
    if (inputs_[i]->count() != expected) {
      findings.Add("an input has " + std::to_string(inputs_[i]->count()) + " references and not " +
                   std::to_string(expected));
    }
    mixer_.RemoveInput(inputs_[i]);
    if (inputs_[i]->count() != 1) findings.Add("a mixer keeps a reference on an input that was removed");
    const QnAudioInputStats stats = inputs_[i]->stats();
    const std::uint64_t known = mixed_[i] + stats.buffered_frames + stats.overflow_frames + stats.trimmed_frames;
    if (known != pushed_[i]) {
      findings.Add("pushed " + std::to_string(pushed_[i]) + " frames; mixed " + std::to_string(mixed_[i]) +
                   ", buffered " + std::to_string(stats.buffered_frames) + ", overflowed " +
                   std::to_string(stats.overflow_frames) + ", trimmed " + std::to_string(stats.trimmed_frames));
    }
  }
  inputs_.clear();
}

}  // namespace stress
