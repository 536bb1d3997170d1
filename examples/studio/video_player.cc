#include "studio/video_player.h"

#include <utility>

namespace studio {
namespace {

constexpr int kPicturesAhead = 4;
constexpr std::int64_t kRoundingNs = 1000000;  // Containers round times to milliseconds.

}  // namespace

VideoPlayer::VideoPlayer(std::unique_ptr<MediaReader> reader, bool loop, bool offline, std::int64_t start_ns)
    : reader_(std::move(reader)), loop_(loop), free_(kPicturesAhead) {
  DecodeUntil(start_ns + kRoundingNs);
  if (!offline) thread_ = std::thread(&VideoPlayer::Run, this);
}

VideoPlayer::~VideoPlayer() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  wanted_.notify_one();
  if (thread_.joinable()) thread_.join();
}

const Picture* VideoPlayer::Take(std::int64_t film_ns) {
  film_ns += kRoundingNs;
  if (!thread_.joinable()) DecodeUntil(film_ns);
  bool taken = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    while (!ready_.empty() && ready_.front().time_ns <= film_ns) {
      std::swap(current_, ready_.front());
      free_.push_back(std::move(ready_.front()));
      ready_.pop_front();
      taken = true;
    }
  }
  if (taken) wanted_.notify_one();
  return taken ? &current_ : nullptr;
}

// Decodes until a picture that is not yet due is ready; of those that are, the newest is kept.
void VideoPlayer::DecodeUntil(std::int64_t film_ns) {
  while (!ended_ && (ready_.empty() || ready_.back().time_ns <= film_ns)) {
    Picture picture;
    if (!free_.empty()) {
      picture = std::move(free_.back());
      free_.pop_back();
    }
    if (!Decode(&picture)) {
      ended_ = true;
      free_.push_back(std::move(picture));
      return;
    }
    if (!ready_.empty() && picture.time_ns <= film_ns) {
      free_.push_back(std::move(ready_.back()));
      ready_.pop_back();
    }
    ready_.push_back(std::move(picture));
  }
}

bool VideoPlayer::Decode(Picture* picture) {
  if (reader_->Next(picture)) return true;
  return loop_ && reader_->Rewind() && reader_->Next(picture);
}

void VideoPlayer::Run() {
  while (!ended_) {
    Picture picture;
    {
      std::unique_lock<std::mutex> lock(mutex_);
      wanted_.wait(lock, [this] { return stop_ || !free_.empty(); });
      if (stop_) return;
      picture = std::move(free_.back());
      free_.pop_back();
    }
    ended_ = !Decode(&picture);
    std::lock_guard<std::mutex> lock(mutex_);
    if (!ended_) ready_.push_back(std::move(picture));
  }
}

}  // namespace studio
