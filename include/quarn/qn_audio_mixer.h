// The audio mixer. Words and tags: quarn.h.
#ifndef QUARN_QN_AUDIO_MIXER_H_
#define QUARN_QN_AUDIO_MIXER_H_

#include <memory>

#include <quarn/export.h>
#include <quarn/qn_audio_input.h>

class QnAudioMixerPri;

// Mixes inputs, sample by sample with saturation, into blocks of 50 ms that it hands to the host at their time. A
// thread of its own does so from Start to Stop; it has no output device.
//
// A host that wants blocks at a pace of its own, to write a file for instance, drives the mixer instead. The same
// pushes give the same bytes then, and every sample is in a block, from the first to the last:
//
//   mixer.AddInput(input);
//   mixer.StartDriven();  // From here on nothing is dropped.
//   input->PushBackSamples(planes, rate / 10, 1);  // 100 ms, so that the first block has them already.
//   for (unsigned long long k = 0; k < blocks; ++k) {
//     mixer.MixBlock(k * 50000000);  // OnMixSamples and OnMixPeak come in here.
//     input->PushBackSamples(...);  // A block more, or as much as there is; the last one filled up with silence.
//   }
//
// Thread: caller-serialised, callbacks excepted. PushBackSamples of an input may run on any thread meanwhile.
class QUARN_EXPORT QnAudioMixer {
 public:
  // Receives what is mixed.
  //
  // A late return delays the blocks that follow, and loses none: they come without a pause until the mixer has caught
  // up, each with the time that it would have had. Inputs buffer ten seconds meanwhile.
  //
  // Thread: the mixer's own, or the one that calls MixBlock.
  // Callback safety: runs with the mixer's lock held. It must not call AddInput or RemoveInput of its mixer (they are
  // ignored then, with an error line in the log), nor Start, StartDriven or MixBlock, nor destroy it (the mixer is then
  // left behind, with an error line, and never freed), nor wait for a thread that does one of these or Stop; it may
  // push into inputs. Stop called here ends the mixing after this block without waiting for it, and logs an error: call
  // it again from another thread.
  class QUARN_EXPORT Callback {
   public:
    // Does nothing. Destroy a callback only when no mixer calls it any more.
    //
    // Thread: caller-serialised.
    virtual ~Callback();
    // Receives a block, a twentieth of a second. Each block begins where the one before it ended.
    //
    // `planes`: one for each of the mixer's channels, of its sample type.
    // `frames`: how many samples each plane has: a twentieth of the rate, rounded down.
    // `timestamp_ns`: the time of the block's first sample, in nanoseconds of the monotonic clock (qn_os_gettime_ns),
    // which is 50 ms ago or, where the mixer is late, more. What MixBlock was given, in a block of its.
    //
    // Ownership: the planes are the mixer's and hold the block during the call only: copy them.
    virtual void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) = 0;
    // Receives the largest magnitude in a block. Called after each OnMixSamples.
    //
    // `peak`: linear, 0 to 1.
    virtual void OnMixPeak(float peak) = 0;
  };

  // A mixer that does not run yet. A rate of 0, more than eight channels and missing memory make it inert, with an
  // error line in the log: it does not start.
  //
  // `sample_rate`: frames a second, 1 to 2^32-1 as far as memory goes. A twentieth of it, rounded down, is a block, so
  // below 20 a started mixer calls back with empty blocks without a pause.
  // `channels`: how many, 1 to 8; with 0 there is nothing in the blocks.
  // `type`: of the samples of its inputs and of its blocks.
  // `callback`: may be null: then the blocks are discarded.
  //
  // Ownership: the host keeps the callback, which must outlive the mixing.
  QnAudioMixer(unsigned int sample_rate, unsigned int channels, QnMixSampleType type, Callback* callback);
  // Ends the mixing, where it runs. Stop, and remove every input, first: inputs that are still added keep the reference
  // that the mixer took.
  //
  // Blocks: as Stop, where it runs.
  ~QnAudioMixer();
  QnAudioMixer(const QnAudioMixer&) = delete;
  QnAudioMixer& operator=(const QnAudioMixer&) = delete;

  // Returns whether the mixer is valid: it can be started.
  //
  // Thread: any.
  bool valid() const;
  // Starts the mixing, at the pace of the clock. A thread that finds no memory for its blocks ends with an error line.
  //
  // Returns true also when it runs already; false, with an error line in the log, when its thread cannot be created, in
  // a callback after Stop or of MixBlock, and on an inert mixer.
  //
  // Blocks: for the last block and its callbacks, after a Stop in a callback.
  bool Start();
  // Starts the mixing without a thread and a clock: the host calls MixBlock for each block. What is pushed into the
  // mixer's inputs from now on is kept until it is mixed, up to ten seconds of it; before, they keep their latest 100
  // ms, and nothing of a push that is longer. Start ends this, and goes on with what is there.
  //
  // Returns true also when the host drives it already; false, with an error line in the log, while the mixer's thread
  // runs, in a callback, and on an inert mixer.
  //
  // Blocks: for the last block and its callbacks, after a Stop in a callback.
  bool StartDriven();
  // Mixes one block of all inputs now, and returns after the callbacks, which have it. Calls StartDriven where the host
  // has not, which is late for what was pushed before. It takes what is due from an input that is ready and waits for
  // none: push first what the block should have, 100 ms before the first, a block before each other one.
  //
  // `timestamp_ns`: for the callback, any value. The library does not look at it.
  // Returns false, with an error line in the log, while the mixer's thread runs, in a callback, without memory for the
  // block, and on an inert mixer. No callback has come then, and the inputs are as they were.
  //
  // Blocks: for the callbacks; and as StartDriven.
  bool MixBlock(unsigned long long timestamp_ns);
  // Ends the mixing. Start and StartDriven may be called again.
  //
  // Blocks: until the block under way is done, at most about 50 ms and the callbacks.
  void Stop();

  // Adds an input, which belongs to one mixer at a time. Blocks to come have its samples. Where memory is missing it is
  // not added, with an error line in the log.
  //
  // `input`: null and one that is already added are ignored.
  //
  // Blocks: for a running block and its callbacks.
  // Ownership: takes a reference on the input.
  void AddInput(QnAudioInput* input);
  // Takes an input out. When it returns, the mixer does not touch the input any more.
  //
  // `input`: null and one that was not added are ignored.
  //
  // Blocks: for a running block and its callbacks.
  // Ownership: drops the reference that AddInput took, which may delete the input.
  void RemoveInput(QnAudioInput* input);

  // Tells how loud a channel of the last block was. The first call has the blocks after it measured, which costs a
  // little more than adding an input to them does, and answers silence.
  //
  // `channel`: the number of the channel, 0 is the first.
  // Returns silence also when the mixer does not run, and for a channel that it does not have. In OnMixSamples and
  // OnMixPeak, that block's level.
  //
  // Thread: any.
  QnAudioLevel level(unsigned int channel) const;

 private:
  bool RefusedInCallback(const char* what) const;

  std::unique_ptr<QnAudioMixerPri> pri_;
};

#endif  // QUARN_QN_AUDIO_MIXER_H_
