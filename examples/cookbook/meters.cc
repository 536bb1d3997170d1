// cookbook-meters: how loud two inputs and their sum are, block by block, in decibels below full scale.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include <quarn/quarn.h>

constexpr unsigned int kRate = 48000, kBlock = kRate / 20;

struct Meters : QnAudioMixer::Callback {
  void OnMixSamples(void** /*planes*/, unsigned int /*frames*/, unsigned long long /*timestamp_ns*/) override {
    Print("voice", voice->level(0));
    Print("music", music->level(0));
    Print("sum", mixer->level(0));
    std::printf("\n");
  }
  void OnMixPeak(float /*peak*/) override {}
  static void Print(const char* name, const QnAudioLevel& level) {
    const auto decibels = [](float linear) { return 20 * std::log10(std::max(linear, 1e-5f)); };
    std::printf("%s %.1f %.1f  ", name, static_cast<double>(decibels(level.peak)),
                static_cast<double>(decibels(level.rms)));
  }
  scoped_refptr<QnAudioInput> voice = MakeRefCounted<QnAudioInput>(kRate, 1u, kQnMixSampleFloat);
  scoped_refptr<QnAudioInput> music = MakeRefCounted<QnAudioInput>(kRate, 1u, kQnMixSampleFloat);
  QnAudioMixer* mixer = nullptr;
};

int main() {
  Meters meters;
  QnAudioMixer mixer(kRate, 1, kQnMixSampleFloat, &meters);
  meters.mixer = &mixer;
  const auto inputs = {meters.voice, meters.music};
  for (const auto& input : inputs) mixer.AddInput(input);
  if (!mixer.StartDriven()) return 1;
  float amplitude = 0.5f;
  for (const auto& input : inputs) {
    std::vector<float> samples(6 * kBlock);
    for (std::size_t i = 0; i < samples.size(); ++i) {
      samples[i] = amplitude * std::sin(6.2831853f * 400 * static_cast<float>(i % kRate) / kRate);
    }
    const void* planes[] = {samples.data()};
    input->PushBackSamples(planes, static_cast<unsigned int>(samples.size()), 1);
    input->level(0);  // Whoever asks has the blocks from now on measured.
    amplitude /= 2;
  }
  mixer.level(0);
  for (unsigned int n = 0; n < 6; ++n) {
    meters.music->SetMuted(n >= 3);  // Within a block, without a click.
    mixer.MixBlock(n * 50'000'000ull);
  }
  for (const auto& input : inputs) mixer.RemoveInput(input);
}
