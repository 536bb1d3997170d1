// Encodes on a thread of its own, so that the host's callback only copies.
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

// A bounded queue of frames between OnFrame and the film: when the encoder, the disk or a receiver cannot keep up, the
// queue fills, and further frames are dropped.
class Encoder {
 public:
  Encoder(std::unique_ptr<FilmWriter> writer, StageTimes* times);
  ~Encoder();
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;

  // Copies a frame into the queue; `index` is its place in the film. When the queue is full, waits for a place if
  // `wait`, else drops the frame and returns false. Thread: one, any.
  bool Submit(const GsFrame& frame, std::int64_t index, bool wait);
  // Encodes what is queued and completes the film. Throws Error.
  void Finish();
  // Whether encoding has ended with an error, which Finish throws. Thread: any.
  bool failed();

  const FilmWriter& writer() const { return *writer_; }

 private:
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
  std::deque<Job> queue_;
  std::vector<AvFrame> free_;
  bool stop_ = false;
  std::string error_;
  std::thread thread_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ENCODER_H_
