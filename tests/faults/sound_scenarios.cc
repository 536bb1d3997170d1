// Mixers with inputs.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "tests/faults/hosts.h"

namespace faults {
namespace {

constexpr unsigned int kRate = 48000;
constexpr unsigned int kBlock = kRate / 20;

class Mix : public Host, public QnAudioMixer::Callback {
 public:
  explicit Mix(bool driven) : driven_(driven) {}
  ~Mix() override { Clear(); }
  void MakeDevice() override {}
  void MakeObjects() override {
    Clear();
    mixer_ = std::make_unique<QnAudioMixer>(kRate, 2u, kQnMixSampleFloat, this);
    const QnMixSampleType types[] = {kQnMixSampleFloat, kQnMixSampleShort};
    for (const QnMixSampleType type : types) {
      inputs_.push_back(MakeRef<RefCounted<QnAudioInput>>(kRate, 2u, type));
      mixer_->AddInput(inputs_.back());
    }
    if (driven_) {
      mixer_->StartDriven();
    } else {
      mixer_->Start();
    }
  }
  Digest Work() override {
    Push();
    if (driven_) mixer_->MixBlock(time_ += 50000000);
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::milliseconds(driven_ ? 0 : kPatienceMs),
                      [this] { return digest_ != kNothing; });
    return std::exchange(digest_, kNothing);
  }

  void OnMixSamples(void** planes, unsigned int frames, unsigned long long /*timestamp_ns*/) override {
    const auto* const samples = static_cast<const float*>(planes[1]);
    // The mixer's own thread may come before the samples, and in between.
    if (!driven_ && samples[frames - 1] == 0.0f) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    digest_ = driven_ ? DigestOf(samples, frames * sizeof(float)) : DigestOf("sound", 5);
    changed_.notify_all();
  }
  void OnMixPeak(float /*peak*/) override {}

 private:
  // Each sample is the same, so that it does not matter which of them come.
  void Push() {
    const std::vector<float> floats(kBlock, 0.25f);
    const std::vector<short> shorts(kBlock, 8192);
    const void* float_planes[] = {floats.data(), floats.data()};
    const void* short_planes[] = {shorts.data(), shorts.data()};
    inputs_[0]->PushBackSamples(float_planes, kBlock, sequence_);
    inputs_[1]->PushBackSamples(short_planes, kBlock, sequence_);
    sequence_ += kBlock;
  }
  void Clear() {
    if (mixer_) mixer_->Stop();
    for (const auto& input : inputs_) {
      if (mixer_) mixer_->RemoveInput(input);
    }
    mixer_.reset();
    inputs_.clear();
    digest_ = kNothing;
  }

  const bool driven_;
  std::unique_ptr<QnAudioMixer> mixer_;
  std::vector<scoped_refptr<QnAudioInput>> inputs_;
  unsigned long long time_ = 0;
  unsigned long long sequence_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  Digest digest_ = kNothing;
};

}  // namespace

std::vector<Scenario> SoundScenarios() {
  return {MakeScenario<Mix>("sound", "driven-mixer", true), MakeScenario<Mix>("sound", "mixer", false)};
}

}  // namespace faults
