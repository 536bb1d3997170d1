// cookbook-record: two seconds of picture and sound as they happen, as record.mp4. Both carry times of one clock, so
// whichever began later is put that much later into the film.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <quarn/quarn.h>

constexpr unsigned int kRate = 48000;

struct Turning : GsPictureItem {
  using GsPictureItem::GsPictureItem;
  void TickSource() override { SetRotation(rotation() + 0.05f); }
};

// One picture a period; where the encoder is too slow the one before comes again, and the film keeps its time.
struct Pictures : GsOutputRaw {
  explicit Pictures(GsScene* scene) : GsOutputRaw(scene, 320, 180, kGsFormatI420) {}
  ~Pictures() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    if (first_ns == 0) first_ns = frame.timestamp;
    for (int plane = 0; plane < 3; ++plane) {
      const unsigned int half = plane == 0 ? 1 : 2;
      for (unsigned int y = 0; y < frame.height / half; ++y) {
        std::fwrite(frame.data[plane] + y * frame.linesize[plane], 1, frame.width / half, encoder);
      }
    }
  }
  std::FILE* const encoder =
      popen("ffmpeg -v error -y -f rawvideo -pix_fmt yuv420p -s 320x180 -r 30 -i - record-pictures.mkv", "w");
  unsigned long long first_ns = 0;
};

struct Sound : QnAudioMixer::Callback {
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    if (first_ns == 0) first_ns = timestamp_ns;
    std::fwrite(planes[0], sizeof(float), frames, file);
  }
  void OnMixPeak(float /*peak*/) override {}
  std::FILE* const file = std::fopen("record-sound.raw", "wb");
  unsigned long long first_ns = 0;
};

int main() {
  const GsDefaultDevice device;  // Started: 30 frames a second, by the clock.
  const auto scene = MakeRefCounted<GsScene>(320u, 180u);
  scene->AddItem(MakeRefCounted<Turning>(gs_vec2(100, 100), gs_vec3(1, 0.5f, 0)));
  Pictures pictures(scene);
  Sound sound;
  if (!pictures.valid() || !pictures.encoder || !sound.file) return 1;
  QnAudioMixer mixer(kRate, 1, kQnMixSampleFloat, &sound);
  const auto microphone = MakeRefCounted<QnAudioInput>(kRate, 1u, kQnMixSampleFloat);
  mixer.AddInput(microphone);
  if (!pictures.Start() || !mixer.Start()) return 1;

  // A capture card or a microphone pushes what it gets, as it gets it. This one has all of it already.
  std::vector<float> samples(4 * kRate);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    samples[i] = 0.25f * std::sin(6.2831853f * 440 * static_cast<float>(i % kRate) / kRate);
  }
  const void* planes[] = {samples.data()};
  microphone->PushBackSamples(planes, static_cast<unsigned int>(samples.size()), 1);
  std::this_thread::sleep_for(std::chrono::seconds(2));  // Until somebody presses "Stop".

  mixer.RemoveInput(microphone);
  mixer.Stop();
  pictures.Flush(10000);
  pictures.Stop();
  std::fclose(sound.file);
  if (pclose(pictures.encoder) != 0) return 1;
  const double later_s = (static_cast<double>(sound.first_ns) - static_cast<double>(pictures.first_ns)) / 1e9;
  return std::system(("ffmpeg -v error -y -i record-pictures.mkv -itsoffset " + std::to_string(later_s) +
                      " -f f32le -ar 48000 -ac 1 -i record-sound.raw -c:v copy -shortest record.mp4")
                         .c_str()) == 0
             ? 0
             : 1;
}
