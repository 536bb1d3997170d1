// first-sound: puts a tone that dies away under the film of first-film, as first-sound.mp4.
#include <cmath>
#include <cstdio>
#include <vector>

#include <quarn/quarn.h>

constexpr unsigned int kRate = 48000;

struct Sound : QnAudioMixer::Callback {
  explicit Sound(std::FILE* to) : encoder(to) {}
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long /*timestamp_ns*/) override {
    std::fwrite(planes[0], sizeof(float), frames, encoder);
  }
  void OnMixPeak(float /*peak*/) override {}
  std::FILE* const encoder;
};

int main() {
  std::FILE* const encoder =
      popen("ffmpeg -v error -y -i first-film.mp4 -f f32le -ar 48000 -ac 1 -i - -c:v copy first-sound.mp4", "w");
  if (!encoder) return 1;
  Sound sound(encoder);
  QnAudioMixer mixer(kRate, 1, kQnMixSampleFloat, &sound);
  const auto tone = MakeRefCounted<QnAudioInput>(kRate, 1u, kQnMixSampleFloat);
  mixer.AddInput(tone);
  bool whole = mixer.StartDriven();  // No thread: a block comes when this program asks for it.

  std::vector<float> samples(3 * kRate);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = 0.5f * std::sin(6.2831853f * 440 * static_cast<float>(i % kRate) / kRate);
  }
  const void* const planes[] = {samples.data()};
  tone->PushBackSamples(const_cast<const void**>(planes), static_cast<unsigned int>(samples.size()), 1);
  for (unsigned int block = 0; whole && block < 3 * 20; ++block) {  // 50 ms each.
    tone->SetGain(1 - static_cast<float>(block) / 59);
    whole = mixer.MixBlock(block * 50'000'000ull);
  }
  mixer.RemoveInput(tone);
  return pclose(encoder) == 0 && whole ? 0 : 1;
}
