// cookbook-offline: a second of picture and sound, exact to the sample and the same bytes every time, as offline.mkv,
// as fast as the machine can. Nothing of it goes by the clock: the program says which frame and which block comes next.
#include <cmath>
#include <cstdlib>
#include <vector>

#include "film.h"

constexpr unsigned int kRate = 48000, kBlock = kRate / 20;

struct Sound : QnAudioMixer::Callback {
  ~Sound() override { std::fclose(file); }
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long /*timestamp_ns*/) override {
    std::fwrite(planes[0], sizeof(float), frames, file);
  }
  void OnMixPeak(float /*peak*/) override {}
  std::FILE* const file = std::fopen("offline-sound.raw", "wb");
};

bool MixSound() {
  Sound sound;
  QnAudioMixer mixer(kRate, 1, kQnMixSampleFloat, &sound);
  const auto tone = MakeRefCounted<QnAudioInput>(kRate, 1u, kQnMixSampleFloat);
  mixer.AddInput(tone);
  if (!mixer.StartDriven()) return false;  // From here on nothing that is pushed is dropped.
  std::vector<float> samples(kRate);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = 0.25f * std::sin(6.2831853f * 440 * static_cast<float>(i) / kRate);
  }
  const void* planes[] = {samples.data()};
  tone->PushBackSamples(planes, kRate, 1);
  bool whole = true;
  for (unsigned int n = 0; n < kRate / kBlock; ++n) whole = mixer.MixBlock(n * 50'000'000ull) && whole;
  mixer.RemoveInput(tone);
  return whole;
}

bool DrawPictures() {
  const GsDefaultDevice device(false);
  const auto scene = MakeRefCounted<GsScene>(320u, 180u);
  const auto card = MakeRefCounted<GsPictureItem>(gs_vec2(80, 80), gs_vec3(0, 1, 0));
  scene->AddItem(card);
  Film film(scene, "offline-pictures.mkv", "-c:v ffv1");
  for (unsigned int n = 0; n < 30; ++n) {
    card->MoveTo(gs_vec2(-120 + 8 * static_cast<float>(n), 0));
    film.Draw(n);
  }
  return film.Close();
}

int main() {
  return MixSound() && DrawPictures() &&
                 std::system(
                     "ffmpeg -v error -y -i offline-pictures.mkv -f f32le -ar 48000 -ac 1 -i offline-sound.raw "
                     "-c:v copy -c:a pcm_f32le -fflags +bitexact offline.mkv") == 0
             ? 0
             : 1;
}
