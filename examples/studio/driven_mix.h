// A mixer that has a block whenever it is asked for one, and no clock.
#ifndef QUARN_EXAMPLES_STUDIO_DRIVEN_MIX_H_
#define QUARN_EXAMPLES_STUDIO_DRIVEN_MIX_H_

#include <array>
#include <vector>

#include <quarn/qn_audio_input.h>
#include <quarn/qn_audio_mixer.h>

#include "studio/sound_format.h"

namespace studio {

// Each input holds one block at the most, the one that is mixed next. One thread at a time.
class DrivenMix : private QnAudioMixer::Callback {
 public:
  using Input = scoped_refptr<QnAudioInput>;

  // Throws Error.
  DrivenMix();
  ~DrivenMix() override;
  DrivenMix(const DrivenMix&) = delete;
  DrivenMix& operator=(const DrivenMix&) = delete;

  // Throws Error.
  Input Add(float gain);
  void Remove(const Input& input);
  // From one gain to another the sound goes evenly, over a block.
  static void SetGain(const Input& input, float gain);
  // Gives an input its next kSoundBlock frames.
  static void Push(const Input& input, const float* const* planes);
  // Mixes the next kSoundBlock frames, for SoundLevel to finish. They are the caller's until the next call. An input
  // that was given nothing is silent. Throws Error.
  float* const* Mix();

 private:
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override;
  void OnMixPeak(float /*peak*/) override {}

  std::vector<Input> inputs_;
  std::array<std::array<float, kSoundBlock>, kSoundChannels> mixed_;
  float* planes_[kSoundChannels];
  QnAudioMixer mixer_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_DRIVEN_MIX_H_
