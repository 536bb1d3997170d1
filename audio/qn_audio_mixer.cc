// The public side of the mixer: checks and forwarding. The host's calls take turns; the callbacks come on the mixer
// thread, or in the host's MixBlock.
#include <quarn/qn_audio_mixer.h>

#include <algorithm>
#include <list>
#include <new>

#include "audio/audio_mixer.h"
#include "audio/mix_format.h"
#include "foundation/logger.h"

// Leads the mixer's blocks to the host.
class QnAudioMixerPri : private AudioMixer::Callback {
 public:
  QnAudioMixerPri(unsigned int sample_rate, unsigned int channels, InternalSampleType type,
                  QnAudioMixer::Callback* callback)
      : mixer_(new AudioMixer(sample_rate, channels, type, this)), callback_(callback) {}
  // Before anything that the mixer thread uses goes.
  ~QnAudioMixerPri() override { mixer_.reset(); }

  AudioMixer& mixer() { return *mixer_; }

  void AddInput(QnAudioInput* input) {
    if (std::find(inputs_.begin(), inputs_.end(), input) != inputs_.end()) return;
    scoped_refptr<QnAudioInput> reference(input);
    // Where one of the two finds no memory, neither stays.
    std::list<QnAudioInput*> added{input};
    mixer_->AddSource(input->soruce());
    inputs_.splice(inputs_.end(), added);
    reference.release();
  }

  void RemoveInput(QnAudioInput* input) {
    const auto found = std::find(inputs_.begin(), inputs_.end(), input);
    if (found == inputs_.end()) return;
    mixer_->RemoveSource(input->soruce());
    inputs_.erase(found);
    // It may delete the input.
    input->Release();
  }

  // On the mixer thread: no further call reaches the host, and the mixing ends.
  void Abandon() {
    callback_ = nullptr;
    mixer_->RequestStop();
  }

 private:
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    if (callback_) callback_->OnMixSamples(planes, frames, timestamp_ns);
  }
  void OnMixPeak(float peak) override {
    if (callback_) callback_->OnMixPeak(peak);
  }

  std::unique_ptr<AudioMixer> mixer_;
  std::list<QnAudioInput*> inputs_;  // Each holds one reference, which the end of the mixer does not drop. Kept: C39.
  QnAudioMixer::Callback* callback_;
};

namespace {

bool RefusedWithoutMemory(const QnAudioMixerPri* pri, const char* operation) {
  if (pri) return false;
  Logger::default_logger()->Error("[QnAudioMixer] %s was called on a mixer that found no memory", operation);
  return true;
}

}  // namespace

QnAudioMixer::Callback::~Callback() = default;

QnAudioMixer::QnAudioMixer(unsigned int sample_rate, unsigned int channels, QnMixSampleType type, Callback* callback) {
  try {
    pri_ = std::make_unique<QnAudioMixerPri>(sample_rate, channels, ToInternalType(type), callback);
  } catch (const std::bad_alloc&) {
    Logger::default_logger()->Error("[QnAudioMixer] no memory");
  }
}

QnAudioMixer::~QnAudioMixer() {
  if (!pri_ || !pri_->mixer().OnOwnThread()) return;
  Logger::default_logger()->Error("[QnAudioMixer] destroyed in its own callback: it is left behind");
  // The thread is still in there.
  pri_.release()->Abandon();
}

bool QnAudioMixer::valid() const { return pri_ && pri_->mixer().valid(); }

bool QnAudioMixer::Start() {
  if (!pri_) return false;
  try {
    return pri_->mixer().Start();
  } catch (const std::bad_alloc&) {
    Logger::default_logger()->Error("[QnAudioMixer] no memory for a thread");
    return false;
  }
}

bool QnAudioMixer::StartDriven() {
  return !RefusedWithoutMemory(pri_.get(), "StartDriven") && pri_->mixer().StartDriven();
}

bool QnAudioMixer::MixBlock(unsigned long long timestamp_ns) {
  return !RefusedWithoutMemory(pri_.get(), "MixBlock") && pri_->mixer().MixBlock(timestamp_ns);
}

void QnAudioMixer::Stop() {
  if (pri_) pri_->mixer().Stop();
}

void QnAudioMixer::AddInput(QnAudioInput* input) {
  if (!input || !pri_ || RefusedInCallback("AddInput")) return;
  try {
    pri_->AddInput(input);
  } catch (const std::bad_alloc&) {
    Logger::default_logger()->Error("[QnAudioMixer] no memory for an input: it is not added");
  }
}

void QnAudioMixer::RemoveInput(QnAudioInput* input) {
  if (input && pri_ && !RefusedInCallback("RemoveInput")) pri_->RemoveInput(input);
}

QnAudioLevel QnAudioMixer::level(unsigned int channel) const {
  return pri_ ? pri_->mixer().levels().Ask(channel) : QnAudioLevel{};
}

bool QnAudioMixer::RefusedInCallback(const char* what) const {
  if (!pri_->mixer().OnOwnThread()) return false;
  Logger::default_logger()->Error("[QnAudioMixer] %s was called in a callback of its own mixer: it is ignored", what);
  return true;
}
