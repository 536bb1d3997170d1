// Reads a sound ahead, on a thread of its own.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_FEED_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_FEED_H_

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "studio/sound_reader.h"

namespace studio {

// Whoever takes from it waits for files, which come soon, and not for senders that have stalled: what they bring too
// late is left out.
class SoundFeed {
 public:
  using GoesOn = std::function<bool()>;
  // Opens the sound, on the feed's thread: waits only while `goes_on` says so. Null for silence. Throws Error.
  using Open = std::function<std::unique_ptr<SoundReader>(const GoesOn& goes_on)>;

  explicit SoundFeed(Open open);
  ~SoundFeed();
  SoundFeed(const SoundFeed&) = delete;
  SoundFeed& operator=(const SoundFeed&) = delete;

  // Takes the next `frames` frames. What is not there within `patience`, or after the end, is silence; once something
  // was late, nothing is waited for until it has caught up.
  void Read(float* const* planes, int frames, std::chrono::milliseconds patience);
  // What was wrong with the sound, once; empty when nothing was.
  std::string TakeError();

 private:
  void Run();
  bool ReadAhead(SoundReader* reader);

  const Open open_;
  std::atomic<bool> stop_{false};

  std::mutex mutex_;
  std::condition_variable changed_;
  std::array<std::vector<float>, kSoundChannels> ready_;
  std::size_t missed_ = 0;  // Frames to leave out, whose time is over.
  bool ended_ = false;
  std::string error_;
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_FEED_H_
