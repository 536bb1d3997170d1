// Plays a video: hands out the picture that is due.
#ifndef QUARN_EXAMPLES_STUDIO_VIDEO_PLAYER_H_
#define QUARN_EXAMPLES_STUDIO_VIDEO_PLAYER_H_

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "studio/media_reader.h"

namespace studio {

// In real time a thread of its own decodes a few pictures ahead, and Take never waits for it. Offline, Take itself
// decodes up to the time asked for, so that a time always gives the same picture.
//
// The constructor decodes up to the film's start in either case. Take belongs to one thread.
class VideoPlayer {
 public:
  VideoPlayer(std::unique_ptr<MediaReader> reader, bool loop, bool offline, std::int64_t start_ns);
  ~VideoPlayer();
  VideoPlayer(const VideoPlayer&) = delete;
  VideoPlayer& operator=(const VideoPlayer&) = delete;

  // As what pictures come that are decoded from now on.
  void SetForm(PictureForm form) { reader_->SetForm(form); }

  // The newest picture due at `film_ns`; null when there is none that was not taken before. Valid until the next call.
  const Picture* Take(std::int64_t film_ns);

 private:
  void DecodeUntil(std::int64_t film_ns);
  bool Decode(Picture* picture);
  void Run();

  const std::unique_ptr<MediaReader> reader_;
  const bool loop_;
  bool ended_ = false;  // Used by the thread that decodes.

  std::mutex mutex_;
  std::condition_variable wanted_;
  std::deque<Picture> ready_;  // Decoded and not yet due, the oldest first.
  std::vector<Picture> free_;
  Picture current_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_VIDEO_PLAYER_H_
