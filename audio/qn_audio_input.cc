// The public side of a source: checks and forwarding. Any thread pushes.
#include <quarn/qn_audio_input.h>

#include <cmath>
#include <new>

#include "audio/audio_mix_source.h"
#include "audio/mix_format.h"
#include "foundation/logger.h"

class QnAudioInputPri {
 public:
  QnAudioInputPri(unsigned int sample_rate, unsigned int channels, InternalSampleType type)
      : source_(sample_rate, channels, type) {}

  AudioMixSource* source() { return &source_; }
  bool valid() const { return source_.valid(); }

 private:
  AudioMixSource source_;
};

QnAudioInput::QnAudioInput(unsigned int sample_rate, unsigned int channels, QnMixSampleType type) {
  try {
    pri_ = std::make_unique<QnAudioInputPri>(sample_rate, channels, ToInternalType(type));
  } catch (const std::bad_alloc&) {
    Logger::default_logger()->Error("[QnAudioInput] no memory");
  }
}

QnAudioInput::~QnAudioInput() = default;

bool QnAudioInput::valid() const { return pri_ && pri_->valid(); }

void QnAudioInput::PushBackSamples(const void** planes, unsigned int frames, unsigned long long sequence) {
  if (AudioMixSource* source = soruce()) source->PushBackSamples(planes, frames, sequence);
}

void QnAudioInput::SetGain(float gain) {
  if (!(gain >= 0.0f) || std::isinf(gain)) {
    Logger::default_logger()->Warn("[QnAudioInput] a gain of %g is refused: it must be 0 or more, and finite",
                                   static_cast<double>(gain));
    return;
  }
  if (pri_) pri_->source()->gain().Set(gain);
}

void QnAudioInput::SetMuted(bool muted) {
  if (pri_) pri_->source()->gain().SetMuted(muted);
}

float QnAudioInput::gain() const { return pri_ ? pri_->source()->gain().gain() : 0.0f; }

bool QnAudioInput::muted() const { return pri_ && pri_->source()->gain().muted(); }

QnAudioLevel QnAudioInput::level(unsigned int channel) const {
  return pri_ ? pri_->source()->levels().Ask(channel) : QnAudioLevel{};
}

QnAudioInputStats QnAudioInput::stats() const { return pri_ ? pri_->source()->Stats() : QnAudioInputStats{}; }

// Kept: C1.
AudioMixSource* QnAudioInput::soruce() { return pri_ ? pri_->source() : nullptr; }
