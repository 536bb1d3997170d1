#include "studio/encoder.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "studio/error.h"

namespace studio {
namespace {

constexpr std::int64_t kQueueBytes = 128 << 20;
constexpr std::int64_t kMinDepth = 4;
constexpr std::int64_t kMaxDepth = 32;
constexpr std::size_t kMaxBlocks = 200;  // Blocks of sound, ten seconds of it, which take 4 MB.
constexpr double kFinishSeconds = 5;     // What a receiver that lags gets to take the rest.

// Row by row: the pitches differ.
void CopyFrame(const GsFrame& from, AVFrame* to) {
  const auto format = static_cast<AVPixelFormat>(to->format);
  for (int plane = 0; plane < 4 && from.data[plane] && to->data[plane]; ++plane) {
    const auto bytes = static_cast<std::size_t>(av_image_get_linesize(format, to->width, plane));
    const int rows = plane == 0 ? to->height : to->height / 2;
    for (int y = 0; y < rows; ++y) {
      std::memcpy(to->data[plane] + static_cast<std::ptrdiff_t>(to->linesize[plane]) * y,
                  from.data[plane] + static_cast<std::size_t>(from.linesize[plane]) * y, bytes);
    }
  }
}

}  // namespace

Encoder::Encoder(std::unique_ptr<FilmWriter> writer, StageTimes* times) : writer_(std::move(writer)), times_(times) {
  if (writer_->has_picture()) {
    AvFrame first = writer_->NewFrame();
    const std::int64_t bytes =
        av_image_get_buffer_size(static_cast<AVPixelFormat>(first->format), first->width, first->height, 1);
    free_.push_back(std::move(first));
    const std::int64_t depth = std::clamp(kQueueBytes / bytes, kMinDepth, kMaxDepth);
    while (static_cast<std::int64_t>(free_.size()) < depth) free_.push_back(writer_->NewFrame());
  }
  thread_ = std::thread(&Encoder::Run, this);
}

// The writer keeps what it has.
Encoder::~Encoder() {
  writer_->GiveUp(0);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pictures_.clear();
    sound_.clear();
  }
  Stop();
}

bool Encoder::Submit(const GsFrame& frame, std::int64_t index, bool wait) {
  Job job;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (wait) changed_.wait(lock, [this] { return !free_.empty() || !error_.empty(); });
    if (free_.empty() || !error_.empty()) return false;
    job.frame = std::move(free_.back());
    free_.pop_back();
  }
  av_frame_make_writable(job.frame.get());  // An encoder may still look at it.
  CopyFrame(frame, job.frame.get());
  job.index = index;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    pictures_.push_back(std::move(job));
  }
  changed_.notify_all();
  return true;
}

void Encoder::SubmitSound(AvFrame block, std::int64_t index, bool wait) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (wait) changed_.wait(lock, [this] { return sound_.size() < kMaxBlocks || !error_.empty(); });
    if (!error_.empty()) return;
    if (sound_.size() == kMaxBlocks) {
      ++dropped_blocks_;
      return;
    }
    sound_.push_back(Job{std::move(block), index});
  }
  changed_.notify_all();
}

void Encoder::Finish() {
  writer_->GiveUp(kFinishSeconds);
  Stop();
  if (!error_.empty()) throw Error(error_);
  writer_->Finish();
}

bool Encoder::failed() {
  std::lock_guard<std::mutex> lock(mutex_);
  return !error_.empty();
}

std::uint64_t Encoder::dropped_blocks() {
  std::lock_guard<std::mutex> lock(mutex_);
  return dropped_blocks_;
}

void Encoder::Stop() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  if (thread_.joinable()) thread_.join();
}

void Encoder::Run() {
  std::unique_lock<std::mutex> lock(mutex_);
  while (error_.empty()) {
    changed_.wait(lock, [this] { return stop_ || !pictures_.empty() || !sound_.empty(); });
    const bool is_sound = !sound_.empty();
    std::deque<Job>& queue = is_sound ? sound_ : pictures_;
    if (queue.empty()) return;
    Job job = std::move(queue.front());
    queue.pop_front();
    lock.unlock();
    std::string error;
    try {
      const StageTimer timer(&times_->encode);
      is_sound ? writer_->WriteSound(job.frame.get(), job.index) : writer_->Write(job.frame.get(), job.index);
    } catch (const std::exception& failure) {
      error = ErrorText(failure);
    }
    lock.lock();
    error_ = error;
    if (!is_sound) free_.push_back(std::move(job.frame));
    changed_.notify_all();
  }
}

}  // namespace studio
