// What a CircleBuffer does, said plainly: the judge of its test and of its fuzz target.
#ifndef QUARN_TESTS_AUDIO_MODEL_RING_H_
#define QUARN_TESTS_AUDIO_MODEL_RING_H_

#include <algorithm>
#include <cstddef>
#include <deque>
#include <vector>

// The rules of the ring told otherwise: a queue of samples, and how far the writer is from the start. Where the reader
// is follows from both.
template <class T>
class ModelRing {
 public:
  explicit ModelRing(std::size_t capacity) : capacity_(capacity) {}

  void Push(std::vector<T> samples) {
    if (samples.size() > capacity_) samples.erase(samples.begin(), samples.end() - static_cast<long>(capacity_));
    // Either what is stored stands in one piece that ends at the writer, or in a piece up to the end of the ring and
    // one of `writer_` samples from the start.
    if (!InTwoPieces()) {
      const std::size_t room = capacity_ - writer_;
      if (samples.size() < room) return Append(samples);
      Append({samples.begin(), samples.begin() + static_cast<long>(room)});
      samples.erase(samples.begin(), samples.begin() + static_cast<long>(room));
      writer_ = 0;
      // A hundredth of the ring from its start on holds nothing that is still kept.
      Drop(capacity_ / 100 - std::min(capacity_ / 100, capacity_ - queue_.size()));
      return Push(samples);
    }
    const std::size_t gap = capacity_ - queue_.size();
    const std::size_t older_piece = queue_.size() - writer_;
    if (samples.size() < gap) return Append(samples);
    if (samples.size() < older_piece) {
      Drop(samples.size());
      return Append(samples);
    }
    Drop(older_piece);
    Push(samples);
  }

  std::vector<T> Pop(std::size_t count) {
    count = std::min(count, queue_.size());
    std::vector<T> popped(queue_.begin(), queue_.begin() + static_cast<long>(count));
    Drop(count);
    return popped;
  }

  void Clear() {
    queue_.clear();
    writer_ = 0;
  }

  std::size_t size() const { return queue_.size(); }
  const std::deque<T>& queue() const { return queue_; }

 private:
  bool InTwoPieces() const { return queue_.size() > writer_; }
  void Append(const std::vector<T>& samples) {
    for (const T sample : samples) {
      queue_.push_back(sample);
      ++writer_;
    }
  }
  void Drop(std::size_t count) {
    for (; count > 0; --count) queue_.pop_front();
  }

  const std::size_t capacity_;
  std::deque<T> queue_;
  std::size_t writer_ = 0;
};

#endif  // QUARN_TESTS_AUDIO_MODEL_RING_H_
