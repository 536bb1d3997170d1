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

// How loud a channel was in a block: linear, 0 to 1, where 1 is full scale, as for OnMixPeak.
struct alignas(8) QnAudioLevel {
  float peak = 0;  // The largest magnitude.
  float rms = 0;   // The root of the mean square, over the whole block.
};

// What has become of the frames that were pushed into an input, counted from its construction. What a new sequence
// drops is not counted.
struct QnAudioInputStats {
  unsigned long long buffered_frames = 0;  // Those that wait to be mixed, in every channel.
  // What blocks wanted of the input and it did not have, once its first 100 ms were there. A stream that has ended
  // counts on as long as its input stays added.
  unsigned long long underrun_frames = 0;
  unsigned long long overflow_frames = 0;  // Dropped because the ten seconds were full.
  unsigned long long trimmed_frames = 0;   // Dropped because the input was not being mixed.
};

// A stream of planar PCM, up to ten seconds of it buffered. Counted by reference: see RefCounted.
//
//   auto input = MakeRefCounted<QnAudioInput>(48000u, 2u, kQnMixSampleFloat);
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
// mixer. An input with another gain than 1 plays its own samples only, and is silent where it has none.
//
// Thread: any for pushing; the rest is caller-serialised.
class QUARN_EXPORT QnAudioInput : public RefCountInterface {
 public:
  // An empty input. The three should be the mixer's: this is not checked, and where they are not it does no harm but to
  // the sound. A rate of 0, more than eight channels and missing memory make the input inert, with an error line in the
  // log: pushes are ignored.
  //
  // `sample_rate`: frames a second, 1 to 2^32-1 as far as memory goes.
  // `channels`: how many, 1 to 8; with 0 there is nothing to be heard.
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
  // `frames`: how many samples each plane has, any value: of more than ten seconds the first are cut off.
  // `sequence`: names the continuous stream that the samples belong to, by any value. One that differs from the last
  // push drops everything buffered and starts over, with a warning in the log, null `planes` or not; so does the first
  // push (without the warning where its value is 2^64-1, which stands for no stream yet).
  //
  // Thread: any.
  // Blocks: while the mixer or another push copies, or the log writes the warning of a new sequence; never for a
  // callback of the mixer.
  // Ownership: the samples are copied.
  void PushBackSamples(const void** planes, unsigned int frames, unsigned long long sequence);

  // Sets a factor for all samples of the input, 1 until then. It is reached evenly over the next block that is mixed,
  // so nothing clicks; an input that was not heard in the block before has it at once. 16-bit samples are rounded, and
  // saturated. At a gain of 0 every sample is silence, one that is not finite too.
  //
  // `gain`: linear, 0 and up. A negative one, infinity and a NaN are refused, with a warning in the log.
  //
  // Thread: any.
  void SetGain(float gain);
  // Mutes the input, or has it heard again, in the same way: as if its gain were 0. The gain stays what it is.
  //
  // `muted`: false at first.
  //
  // Thread: any.
  void SetMuted(bool muted);
  // Returns the gain that was set last, linear, or 1; 0 for an input that found no memory.
  //
  // Thread: any.
  float gain() const;
  // Returns whether the input is muted.
  //
  // Thread: any.
  bool muted() const;

  // Tells how loud the input was in the last block, with its gain, before it was added to others. The first call has
  // the blocks after it measured, which costs the mixer more than mixing the input does, and answers silence.
  //
  // `channel`: the number of the channel, 0 is the first.
  // Returns silence when the input had nothing for that block or is not being mixed, and for a channel that it or its
  // mixer does not have. In OnMixSamples and OnMixPeak, that block's level.
  //
  // Thread: any.
  QnAudioLevel level(unsigned int channel) const;
  // Counts what is buffered, and what was missing and dropped.
  //
  // Returns the counts of this moment, in frames; those of an inert input are 0.
  //
  // Thread: any.
  // Blocks: as PushBackSamples.
  QnAudioInputStats stats() const;

  // For the library's own use. The spelling is part of the interface and stays.
  AudioMixSource* soruce();

 private:
  std::unique_ptr<QnAudioInputPri> pri_;
};

#endif  // QUARN_QN_AUDIO_INPUT_H_
