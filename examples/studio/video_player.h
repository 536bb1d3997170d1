// Plays a video: hands out the picture that is due.
#ifndef QUARN_EXAMPLES_STUDIO_VIDEO_PLAYER_H_
#define QUARN_EXAMPLES_STUDIO_VIDEO_PLAYER_H_

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "studio/media_reader.h"

namespace studio {

// A thread of its own decodes a few pictures ahead, and converts those that will be shown as far as the times that were
// asked for tell.
//
// In real time Take never waits for the decoder. Where decoding is too slow, the thread leaves out pictures, so that
// what is shown is never far from what is due. Offline, Take waits, so that a time always gives the same picture.
//
// The constructor decodes up to the film's start in either case. Take belongs to one thread.
class VideoPlayer {
 public:
  VideoPlayer(std::unique_ptr<MediaReader> reader, bool loop, bool offline, std::int64_t start_ns);
  // Does not wait for a sender.
  ~VideoPlayer();
  VideoPlayer(const VideoPlayer&) = delete;
  VideoPlayer& operator=(const VideoPlayer&) = delete;

  // As what pictures come that are converted from now on: both at first, for nobody knows yet what will draw them. Any
  // thread.
  void SetForm(PictureForm form) { form_ = form; }

  // Offline, Take asks this now and then while it waits, and waits no longer when it says no. On Take's thread.
  void SetGoesOn(std::function<bool()> goes_on) { goes_on_ = std::move(goes_on); }

  // The newest picture due at `film_ns`; null when there is none that was not taken before. Valid until the next call.
  const Picture* Take(std::int64_t film_ns);

  // Waits until the thread has made ready all that it makes before the next call of Take. Take's thread.
  void WaitAhead();

  // As MediaReader has it, and what could not be converted, or found no memory. Any thread.
  std::uint64_t damaged() const { return reader_->damaged() + lost_; }

 private:
  enum class Stage { kDecoded, kConverting, kConverted };
  struct Entry {
    DecodedPicture decoded;
    Picture picture;
    Stage stage = Stage::kDecoded;
    bool good = true;  // It could be converted.
  };
  using Entries = std::deque<std::shared_ptr<Entry>>;

  void Run();
  std::shared_ptr<Entry> DecodeEntry(std::int64_t due_ns);
  bool Add(const std::shared_ptr<Entry>& entry);
  void Hurry(std::int64_t behind_ns, std::int64_t due_ns);
  void DropPassed();
  void GiveBack(Picture picture);
  std::shared_ptr<Entry> NextToConvert();
  bool WillBeTaken(std::int64_t begin_ns, std::int64_t end_ns) const;
  void Convert(const std::shared_ptr<Entry>& entry, PictureConverter* converter, std::unique_lock<std::mutex>* lock);
  Entries::iterator Choose();

  const std::unique_ptr<MediaReader> reader_;
  const bool loop_;
  const bool offline_;
  std::atomic<PictureForm> form_{PictureForm::kBoth};
  std::atomic<std::uint64_t> lost_{0};
  PictureConverter ahead_;    // The thread's.
  PictureConverter in_time_;  // Take's.
  Picture current_;
  std::function<bool()> goes_on_;

  std::mutex mutex_;
  std::condition_variable wanted_;   // For the thread.
  std::condition_variable changed_;  // For Take and WaitAhead.
  Entries entries_;                  // Not yet taken, the oldest first.
  std::vector<Picture> free_;
  std::int64_t due_ns_;
  std::int64_t period_ns_ = 0;  // Between the last two times that were asked for; 0: unknown.
  bool ended_ = false;
  bool rests_ = false;  // The thread has nothing to do before the next call of Take.
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_VIDEO_PLAYER_H_
