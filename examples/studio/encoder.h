// Encodes on a thread of its own, so that the host's callbacks only copy.
#ifndef QUARN_EXAMPLES_STUDIO_ENCODER_H_
#define QUARN_EXAMPLES_STUDIO_ENCODER_H_

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <quarn/gs_frame.h>

#include "studio/film_writer.h"
#include "studio/stage_times.h"

namespace studio {

// Bounded queues between the library's callbacks and the film: when the encoder, the disk or a receiver cannot keep up,
// they fill, and what comes then is dropped. Sound has a queue of its own, which comes first: pictures that take long,
// or are many, cost none of it.
class Encoder {
 public:
  Encoder(std::unique_ptr<FilmWriter> writer, StageTimes* times);
  // What is queued is forgotten, what was encoded is kept.
  ~Encoder();
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  // Copies a frame into the queue; `index` is its place in the film. When the queue is full, waits for a place if
  // `wait`, else drops the frame and returns false. Thread: one, any.
  bool Submit(const GsFrame& frame, std::int64_t index, bool wait);
  // Queues a block of sound, as NewSoundBlock makes it, for a film that has sound; `index` is its place in the film, in
  // sound frames. A block that finds ten seconds queued waits for a place if `wait`, else it is dropped: the film is
  // silent there. Thread: one, any.
  void SubmitSound(AvFrame block, std::int64_t index, bool wait = false);
  // Encodes what is queued and completes the film. Throws Error.
  void Finish();
  // Whether encoding has ended with an error, which Finish throws. Thread: any.
  bool failed();
  // Blocks of sound that were dropped. Thread: any.
  std::uint64_t dropped_blocks();

  const FilmWriter& writer() const { return *writer_; }

 private:
  // A picture or a block of sound.
  struct Job {
    AvFrame frame;
    std::int64_t index = 0;
  };

  void Run();
  void Stop();

  const std::unique_ptr<FilmWriter> writer_;
  StageTimes* const times_;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Job> pictures_;
  std::deque<Job> sound_;
  std::vector<AvFrame> free_;
  std::uint64_t dropped_blocks_ = 0;
  bool stop_ = false;
  std::string error_;
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ENCODER_H_
