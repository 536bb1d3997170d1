// A mixer that its host drives, through the public interface, beside the model of a pass: what it hands out is the
// model's to the bit.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include <quarn/qn_audio_input.h>
#include <quarn/qn_audio_mixer.h>
#include <quarn/ref_count.h>

#include "tests/audio/mix_model.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/quiet_log.h"

namespace {

constexpr std::size_t kInputs = 4;
constexpr unsigned int kRates[] = {20, 40, 47, 210};
constexpr std::size_t kNoiseFloats = 4096;

// What is pushed lies here: quiet samples, and some of any bits.
const std::vector<float>& Noise() {
  static const std::vector<float> noise = [] {
    std::vector<float> samples(kNoiseFloats);
    std::uint32_t state = 1;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      state = state * 1664525u + 1013904223u;
      if (i % 64 == 0) {
        std::memcpy(&samples[i], &state, sizeof(state));
      } else {
        samples[i] = static_cast<float>(state >> 16) / 65536.0f - 0.5f;
      }
    }
    return samples;
  }();
  return noise;
}

struct Input {
  scoped_refptr<QnAudioInput> input;
  std::unique_ptr<mix_model::Source> model;
  unsigned int channels = 0;
  bool added = false;
  float gain = 1;
  bool muted = false;
};

class Mixers : public QnAudioMixer::Callback {
 public:
  Mixers(unsigned int rate, unsigned int channels, InternalSampleType type)
      : rate_(rate), channels_(channels), type_(type), mixer_(rate, channels, Public(type), this) {}
  ~Mixers() override {
    for (Input& input : inputs_) Remove(&input);
  }

  void MakeInput(unsigned int which, unsigned int channels, InternalSampleType type) {
    Input* const input = &inputs_[which % kInputs];
    Remove(input);
    *input = Input();
    input->channels = channels;
    input->input = MakeRefCounted<QnAudioInput>(rate_, channels, Public(type));
    input->model = std::make_unique<mix_model::Source>(rate_, channels, type);
    input->model->enabled = false;
  }
  // Null where it has not been made.
  Input* Get(unsigned int which) { return inputs_[which % kInputs].input ? &inputs_[which % kInputs] : nullptr; }

  void Add(Input* input) {
    mixer_.AddInput(input->input);
    if (input->added) return;
    input->added = true;
    order_.push_back(input);
    if (running_) input->model->enabled = true;
  }
  void Remove(Input* input) {
    if (!input->input) return;
    mixer_.RemoveInput(input->input);
    if (!input->added) return;
    input->added = false;
    order_.erase(std::find(order_.begin(), order_.end(), input));
    input->model->Disable();
  }
  void Push(Input* input, unsigned int frames, unsigned int place, unsigned int missing, std::uint64_t sequence) {
    std::array<const void*, kMaxMixChannels> planes{};
    for (unsigned int c = 0; c < input->channels; ++c) {
      if (c != missing) planes[c] = Noise().data() + (place + 97 * c) % (kNoiseFloats - frames);
    }
    const void** const pushed = missing == 8 ? nullptr : planes.data();
    input->input->PushBackSamples(pushed, frames, sequence);
    input->model->Push(pushed, frames, sequence);
  }
  void SetGain(Input* input, float gain) {
    input->input->SetGain(gain);
    if (gain >= 0 && !std::isinf(gain)) input->gain = gain;
    FUZZ_CHECK(input->input->gain() == input->gain);
  }
  void SetMuted(Input* input, bool muted) {
    input->input->SetMuted(muted);
    input->muted = muted;
  }
  void Start() {
    FUZZ_CHECK(mixer_.StartDriven());
    SetRunning(true);
  }
  void Stop() {
    mixer_.Stop();
    SetRunning(false);
    scratch_.reset();
  }
  void Mix(std::uint64_t timestamp) {
    SetRunning(true);
    const unsigned int frames = rate_ / 20;
    mix_model::Planes mix(frames);
    if (!scratch_) scratch_ = std::make_unique<mix_model::Planes>(frames);
    // The model's sources are the list's, in its order.
    std::vector<std::unique_ptr<mix_model::Source>> sources;
    for (Input* input : order_) {
      input->model->gain = input->muted ? 0 : input->gain;
      sources.push_back(std::move(input->model));
    }
    Pass(sources, type_, channels_, mix, *scratch_, frames);
    for (std::size_t i = 0; i < sources.size(); ++i) order_[i]->model = std::move(sources[i]);
    expected_ = &mix;
    expected_time_ = timestamp;
    FUZZ_CHECK(mixer_.MixBlock(timestamp));
    FUZZ_CHECK(!expected_);
  }
  void AskLevels(unsigned int channel) {
    for (const Input& input : inputs_) {
      if (input.input) CheckLevel(input.input->level(channel));
    }
    CheckLevel(mixer_.level(channel));
  }

  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp) override {
    FUZZ_CHECK(expected_ && frames == rate_ / 20 && timestamp == expected_time_);
    const std::size_t bytes = frames * (type_ == kInternalSampleShort ? sizeof(short) : sizeof(float));
    for (unsigned int c = 0; c < channels_; ++c) {
      FUZZ_CHECK(std::memcmp(planes[c], expected_->data()[c], bytes) == 0);
    }
    expected_ = nullptr;
  }
  void OnMixPeak(float peak) override { FUZZ_CHECK(!expected_ && !(peak < 0) && !(peak > 1)); }

 private:
  static QnMixSampleType Public(InternalSampleType type) {
    return type == kInternalSampleFloat ? kQnMixSampleFloat : kQnMixSampleShort;
  }
  static void CheckLevel(const QnAudioLevel& level) { FUZZ_CHECK(!(level.peak < 0) && !(level.peak > 1)); }
  void SetRunning(bool running) {
    running_ = running;
    for (Input* input : order_) {
      if (running) {
        input->model->enabled = true;
      } else {
        input->model->Disable();
      }
    }
  }

  const unsigned int rate_;
  const unsigned int channels_;
  const InternalSampleType type_;
  QnAudioMixer mixer_;
  std::array<Input, kInputs> inputs_;
  std::vector<Input*> order_;
  bool running_ = false;
  std::unique_ptr<mix_model::Planes> scratch_;
  const mix_model::Planes* expected_ = nullptr;
  std::uint64_t expected_time_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KeepLogQuiet();
  FuzzInput input(data, size);
  const auto type = static_cast<InternalSampleType>(input.UpTo(1));
  const unsigned int channels = 1 + input.UpTo(2);
  const unsigned int rate = kRates[input.UpTo(3)];
  Mixers mixers(rate, channels, type);
  while (!input.empty()) {
    const std::uint8_t what = input.Byte();
    const unsigned int which = what / 64;
    const unsigned int operation = what % 16;
    if (operation == 0) {
      // Another type or other channels than the mix has, now and then.
      const std::uint8_t kind = input.Byte();
      mixers.MakeInput(which, kind < 192 ? channels : kind % 9, kind % 16 != 15 ? type : kInternalSampleFloat);
      continue;
    }
    if (operation >= 11) {
      mixers.Mix(what);
      continue;
    }
    if (operation == 1 && what < 128) mixers.Start();
    if (operation == 1 && what >= 192) mixers.Stop();
    Input* const one = mixers.Get(which);
    if (!one) continue;
    if (operation == 2) mixers.Add(one);
    if (operation == 3 && what % 32 < 16) mixers.Remove(one);
    if (operation == 4) mixers.SetGain(one, input.Float());
    if (operation == 5) mixers.SetMuted(one, what % 32 < 16);
    if (operation == 6) mixers.AskLevels(input.Byte() % 9);
    if (operation >= 7) {
      // A block as a rule; more than the ring of ten seconds at most.
      const std::uint8_t kind = input.Byte();
      unsigned int frames = rate / 20;
      if (kind >= 128) frames = kind - 128u;
      if (kind >= 240) frames = rate * (kind - 239u);
      const std::uint8_t rare = input.Byte();
      mixers.Push(one, frames, rare * 13u, rare < 9 ? rare : 9, rare > 240 ? rare : 1);
    }
  }
  return 0;
}
