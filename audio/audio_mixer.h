// Mixes sources into blocks of 50 ms: at their time, on a thread of its own, or when its host says.
#ifndef QUARN_AUDIO_AUDIO_MIXER_H_
#define QUARN_AUDIO_AUDIO_MIXER_H_

#include <atomic>
#include <deque>
#include <memory>

#include "audio/audio_mix_source.h"
#include "audio/mix_format.h"
#include "audio/mix_levels.h"
#include "foundation/fair_mutex.h"
#include "foundation/mutex.h"
#include "foundation/thread.h"

class BlockPlanes;

// Any thread calls Start, StartDriven, MixBlock, Stop, AddSource and RemoveSource. Order of the locks: the one of
// starting and stopping, the mixer's, a source's.
class AudioMixer : public Runable {
 public:
  // Called on the mixer thread, or in MixBlock, with the mixer's lock held: it must not call AddSource, RemoveSource or
  // Start of its mixer, nor destroy it.
  class Callback {
   public:
    virtual ~Callback() = default;
    // The planes are the mixer's, and another block's after the call.
    virtual void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) = 0;
    // The peak of the same block, 0 to 1.
    virtual void OnMixPeak(float peak) = 0;
  };

  // A null callback discards the blocks. At a rate of 0 and with more than eight channels it logs an error and stays
  // inert: it does not start.
  AudioMixer(unsigned int sample_rate, unsigned int channels, InternalSampleType type, Callback* callback);
  // Stops a running mixer.
  ~AudioMixer() override;
  AudioMixer(const AudioMixer&) = delete;
  AudioMixer& operator=(const AudioMixer&) = delete;

  // Whether it is not inert. Any thread.
  bool valid() const { return IsMixable(sample_rate_, channels_); }

  // Returns true also when it runs already; false, with an error line, when there is no thread, and on the mixer thread
  // after Stop; false when inert. A mixer that is driven has a thread from then on.
  bool Start();
  // Has the sources enabled as Start does, but no thread: MixBlock mixes. Returns true also when it is driven already;
  // false, with an error line, while it has a thread, in a callback and when inert.
  bool StartDriven();
  // Mixes one block now, on the calling thread, callbacks included; starts what StartDriven starts before. Returns
  // false, with an error line, where that does, and without memory for its planes.
  bool MixBlock(unsigned long long timestamp_ns);
  // Waits for the block under way. On the mixer thread itself, which cannot wait for itself, it ends the mixing after
  // this block and logs an error; a later call from another thread, Start included, then does the waiting.
  void Stop();
  // Ends the mixing after the block under way, without waiting for it.
  void RequestStop();
  // Null and a source that is there already are ignored.
  void AddSource(AudioMixSource* source);
  // Null and an unknown source are ignored. The source is not touched any more once this has returned.
  void RemoveSource(AudioMixSource* source);

  // Whether the caller is in one of the mixer's callbacks, or else on its own thread.
  bool OnOwnThread() const;

  // Of the mix. Any thread.
  MixLevels& levels() { return levels_; }

  void Run() override;
  // One block: adds every enabled source to the first planes of `mix_planes`, measures, and calls back. Both arguments
  // have eight planes of `frames` floats; Run alone calls it.
  void Mix(unsigned char** mix_planes, unsigned char** scratch_planes, unsigned long frames,
           unsigned long long timestamp_ns);

 private:
  void StopThread() QUARN_REQUIRES(thread_lock_);
  // As StartDriven, for the operation of that name.
  bool BeginDriven(const char* operation) QUARN_REQUIRES(thread_lock_);
  // Whether `operation` may not be called here and now, which is said then.
  bool RefusedInCallback(const char* operation) const;
  bool RefusedWhenInert(const char* operation) const;
  void MixInto(BlockPlanes* planes, unsigned long long timestamp_ns);
  template <class T>
  void MeasureLevels(void* const* mix, unsigned int frames);
  // The blocks, as long as nobody asks for the end. Without memory it asks for it itself.
  void MixUntilStopped();
  void SetRunning(bool running) QUARN_REQUIRES(lock_);

  const unsigned int sample_rate_;
  const unsigned int channels_;
  const InternalSampleType type_;
  Callback* const callback_;
  std::atomic<bool> stop_{false};
  Mutex thread_lock_;  // Held through Start, MixBlock and Stop; the mixer thread never takes it.
  std::unique_ptr<Thread> thread_ QUARN_GUARDED_BY(thread_lock_);
  bool driven_ QUARN_GUARDED_BY(thread_lock_) = false;
  std::unique_ptr<BlockPlanes> driven_planes_
      QUARN_GUARDED_BY(thread_lock_);             // From the first block of a driven mixer.
  bool running_ QUARN_GUARDED_BY(lock_) = false;  // As long as it has a thread or is driven: the sources are enabled.
  MixLevels levels_;
  std::deque<AudioMixSource*> sources_ QUARN_GUARDED_BY(lock_);
  FairMutex lock_;  // Held for a whole pass: a mixer that is late does not sleep between them.
};

#endif  // QUARN_AUDIO_AUDIO_MIXER_H_
