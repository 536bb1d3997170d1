// Plays a sound: pushes it into an input of the mixer.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_PLAYER_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_PLAYER_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <quarn/qn_audio_input.h>

#include "studio/sound_reader.h"

namespace studio {

// A thread of its own reads and pushes, some way ahead of the mixer.
//
// The mixer takes what is there, and has no idea of time. So that each sample is heard in its block, it must always
// find a whole block, or, at the end, nothing: BlockTaken sees to it while the mixer takes nothing. Where the sound is
// not read in time, that is silence, and what would have been heard then is left out.
class SoundPlayer {
 public:
  // Begins to read. The sound begins behind kLeadIn frames of silence.
  explicit SoundPlayer(std::unique_ptr<SoundReader> reader);
  ~SoundPlayer();
  SoundPlayer(const SoundPlayer&) = delete;
  SoundPlayer& operator=(const SoundPlayer&) = delete;

  // An input that is not being mixed keeps no more than this: the silence that the mixer begins with.
  static constexpr int kIdle = kSoundRate / 10;
  // With more of it, so that threads that wake up late are in time.
  static constexpr int kLeadIn = kIdle + kSoundRate / 5;

  QnAudioInput* input() const { return input_; }
  const std::string& file() const { return reader_->file(); }

  // Waits until enough was read to start. Returns whether it was within `timeout`.
  bool WaitRead(std::chrono::milliseconds timeout);
  // From now on pushes. Right after the mixer's start.
  void Start();
  // The mixer has taken a block of kSoundBlock frames. Thread: the mixer's.
  void BlockTaken();
  // Blocks that the sound should have been heard in and was not, or not all of it.
  std::uint64_t underruns();

 private:
  void Run();
  void Push(float* const* planes, int frames);

  const std::unique_ptr<SoundReader> reader_;
  const scoped_refptr<QnAudioInput> input_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::int64_t buffered_ = 0;  // Frames in the input.
  std::int64_t missed_ = 0;    // Frames to leave out, whose time is over.
  std::uint64_t underruns_ = 0;
  bool read_ = false;
  bool started_ = false;
  bool ended_ = false;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_PLAYER_H_
