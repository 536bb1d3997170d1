// An input of the audio mixer. Words and tags: quarn.h.
#ifndef QUARN_QN_AUDIO_INPUT_H_
#define QUARN_QN_AUDIO_INPUT_H_

#include <memory>

#include <quarn/export.h>
#include <quarn/ref_count.h>

class AudioMixSource;
class QnAudioInputPri;

// The samples of inputs and mixers. Every value but kQnMixSampleFloat means signed 16-bit.
enum QnMixSampleType : int {
  kQnMixSampleFloat = 0,  // 32-bit float, planar; full scale is -1 to 1.
  kQnMixSampleShort = 1,  // Signed 16-bit, planar.
};

// A stream of planar PCM, up to ten seconds of it buffered. Counted by reference: see RefCounted.
//
//   auto input = MakeRef<RefCounted<QnAudioInput>>(48000u, 2u, kQnMixSampleFloat);
//   mixer.AddInput(input);
//   input->PushBackSamples(planes, 480, 1);
//
// The mixer takes samples from an input once about 100 ms are buffered (what is missing of them is no more than the
// latest push). An input that is not being mixed keeps its latest 100 ms or so, of pushes that are no longer than that;
// one that was mixed before keeps as much as it had, so push with a new sequence to start afresh. When it overflows,
// the oldest samples go.
//
// An input that has run dry is silent. Where it runs dry within a block, the rest of its first channel is silence, and
// its other channels play what the input mixed before it left there: samples of that other input, or older ones of its
// own where it is alone. A channel that the mixer has and the input lacks does so in every block: it plays another
// input's samples a second time, and is silent only as long as no input with that channel has been mixed. That is part
// of the interface: a host that cannot keep up pads its pushes itself, and gives an input all the channels of its
// mixer.
//
// Thread: any for pushing; the rest is caller-serialised.
class QUARN_EXPORT QnAudioInput : public RefCountInterface {
 public:
  // An empty input. The three should be the mixer's: this is not checked, and where they are not it does no harm but to
  // the sound. A rate of 0, more than eight channels and missing memory make the input inert, with an error line in the
  // log: pushes are ignored.
  //
  // `sample_rate`: frames a second, 1 to 2^32-1 as far as memory goes.
  // `channels`: 1 to 8.
  // `type`: of the samples that are pushed.
  QnAudioInput(unsigned int sample_rate, unsigned int channels, QnMixSampleType type);
  // Drops what is buffered. A mixer holds a reference on each input that is added to it, so none is destroyed while it
  // is.
  ~QnAudioInput() override;
  QnAudioInput(const QnAudioInput&) = delete;
  QnAudioInput& operator=(const QnAudioInput&) = delete;

  // Returns whether the input is valid: it takes what is pushed.
  //
  // Thread: any.
  bool valid() const;
  // Appends samples to each channel.
  //
  // `planes`: planes[c] points to the samples of channel c, of the input's type. A null plane adds nothing to its
  // channel, and null `planes` add nothing at all.
  // `frames`: how many samples each plane has.
  // `sequence`: names the continuous stream that the samples belong to, by any value. One that differs from the last
  // push drops everything buffered and starts over, with a warning in the log, null `planes` or not; so does the first
  // push (without the warning where its value is 2^64-1, which stands for no stream yet).
  //
  // Thread: any.
  // Blocks: while the mixer or another push copies, or the log writes the warning of a new sequence; never for a
  // callback of the mixer.
  // Ownership: the samples are copied.
  void PushBackSamples(const void** planes, unsigned int frames, unsigned long long sequence);

  // For the library's own use. The spelling is part of the interface and stays.
  AudioMixSource* soruce();

 private:
  std::unique_ptr<QnAudioInputPri> pri_;
};

#endif  // QUARN_QN_AUDIO_INPUT_H_
