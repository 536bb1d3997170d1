// A ring of samples of fixed capacity: the newest push out the oldest.
//
// It does not lock: whoever owns it makes pushes and pops take turns.
#ifndef QUARN_AUDIO_CIRCLE_BUFFER_H_
#define QUARN_AUDIO_CIRCLE_BUFFER_H_

#include <algorithm>
#include <cstddef>

#include "audio/sample_queue.h"

// Counts are in samples. Which samples a full ring drops, and when: Kept: C32. That depends on how far the writer is
// from the ring's end, so the writer goes round the whole capacity; where the samples lie in memory is the queue's.
template <class T>
class CircleBuffer {
 public:
  // A ring that gets no memory stays empty.
  explicit CircleBuffer(std::size_t capacity) : queue_(capacity) {}
  CircleBuffer(const CircleBuffer&) = delete;
  CircleBuffer& operator=(const CircleBuffer&) = delete;

  // Appends `count` samples over the oldest ones. A null `src` does nothing. While samples are lent, there must be
  // room.
  void PushBack(const T* src, std::size_t count) {
    if (!src || !valid()) return;
    if (count > capacity()) {
      src += count - capacity();
      count = capacity();
    }
    for (;;) {
      if (wraps()) {
        if (write_ + count < read()) return Write(src, count);
        if (read() + count < capacity()) {
          // The writer overtakes the reader: as many old samples go as new ones come.
          queue_.PopFront(nullptr, count);
          return Write(src, count);
        }
        queue_.PopFront(nullptr, capacity() - read());
        continue;
      }
      if (write_ + count < capacity()) return Write(src, count);
      // A write that ends at the very end wraps too.
      const std::size_t head = capacity() - write_;
      Write(src, head);
      write_ = 0;
      // The writer comes round with the reader a hundredth of the ring ahead at least.
      if (read() < reserve()) queue_.PopFront(nullptr, reserve() - read());
      src += head;
      count -= head;
    }
  }

  // Takes up to `count` of the oldest samples out, copied to `dst` unless that is null. Returns how many.
  std::size_t PopFront(T* dst, std::size_t count) {
    count = std::min(count, size());
    queue_.PopFront(dst, count);
    return count;
  }

  void Clear() {
    queue_.PopFront(nullptr, size());
    write_ = 0;
  }

  // Takes the `count` oldest samples out, of which there must be as many, at least one, and leaves them where they lie
  // until TakeBack. Nothing else may be lent yet.
  LentSamples<T> Lend(std::size_t count) { return queue_.Lend(count); }
  void TakeBack() { queue_.TakeBack(); }
  // Whether a push of `count` samples finds room now. While none are lent, each does.
  bool HasRoomFor(std::size_t count) const { return queue_.HasRoomFor(std::min(count, capacity())); }

  std::size_t size() const { return queue_.size(); }

  // Whether there is memory.
  bool valid() const { return queue_.valid(); }

 private:
  std::size_t capacity() const { return queue_.capacity(); }
  std::size_t reserve() const { return capacity() / 100; }
  // Whether what is stored goes on from the end of the ring to its start.
  bool wraps() const { return size() > write_; }
  // Where the oldest sample stands.
  std::size_t read() const { return wraps() ? write_ + capacity() - size() : write_ - size(); }

  void Write(const T* src, std::size_t count) {
    queue_.PushBack(src, count);
    write_ += count;
  }

  SampleQueue<T> queue_;
  std::size_t write_ = 0;  // Where the next sample goes.
};

#endif  // QUARN_AUDIO_CIRCLE_BUFFER_H_
