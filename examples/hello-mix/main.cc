// hello-mix IN.wav OUT.wav: mixes two tones into a sound, as fast as that goes.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include <sndfile.hh>

#include <quarn/quarn.h>

struct Mix : QnAudioMixer::Callback {
  Mix(SndfileHandle* from, SndfileHandle* to)
      : in(from), out(to), channels(from->channels()), block(from->samplerate() / 20) {
    for (auto& input : inputs) input = MakeRefCounted<QnAudioInput>(in->samplerate(), channels, kQnMixSampleFloat);
    inputs[0]->SetGain(0.5f), inputs[1]->SetGain(0.2f), inputs[2]->SetGain(0.2f);
  }
  // A whole block for each input: where one comes short, the mixer adds what it had before.
  void Push() {
    std::vector<float> read(block * channels), samples(block * channels);
    length += in->readf(read.data(), block);
    std::vector<const void*> planes;
    for (unsigned int c = 0; c < channels; ++c) planes.push_back(&samples[c * block]);
    for (int input = 0; input < 3; ++input) {
      for (unsigned int i = 0; i < samples.size(); ++i) {
        const double tone = std::sin(6.283185307 * (input * 220 + 220) * (pushed + i % block) / in->samplerate());
        samples[i] = input == 0 ? read[i % block * channels + i / block] : tone;
      }
      inputs[input]->PushBackSamples(planes.data(), block, 1);
    }
    pushed += block;
  }
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long /*timestamp_ns*/) override {
    std::vector<float> mixed(frames * channels);
    for (unsigned int i = 0; i < mixed.size(); ++i) mixed[i] = static_cast<float*>(planes[i % channels])[i / channels];
    written += out->writef(mixed.data(), std::min<sf_count_t>(frames, length - written));
  }
  void OnMixPeak(float block_peak) override { peak = std::max(peak, block_peak); }

  SndfileHandle *const in, *const out;
  const unsigned int channels, block;
  scoped_refptr<QnAudioInput> inputs[3];
  sf_count_t length = 0, pushed = 0, written = 0;
  float peak = 0;
};
int main(int argc, char** argv) {
  SndfileHandle in(argc == 3 ? argv[1] : "");
  if (in.error() || in.samplerate() < 20 || in.channels() > 8) return std::puts("hello-mix IN.wav OUT.wav"), 2;
  SndfileHandle out(argv[2], SFM_WRITE, SF_FORMAT_WAV | SF_FORMAT_FLOAT, in.channels(), in.samplerate());
  Mix mix(&in, &out);
  QnAudioMixer mixer(in.samplerate(), mix.channels, kQnMixSampleFloat, &mix);
  for (const auto& input : mix.inputs) mixer.AddInput(input);
  mix.Push();  // With the next one 100 ms, which an input must have before it is mixed.
  do mix.Push();
  while (!out.error() && mixer.MixBlock(0) && mix.written < mix.length);
  for (const auto& input : mix.inputs) mixer.RemoveInput(input);
  std::printf("%.2f s, peak %.2f\n", 1.0 * mix.written / in.samplerate(), mix.peak);
  return mix.written == 0 || out.error() ? 1 : 0;
}
