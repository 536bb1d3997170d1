// A queue of samples with a fixed capacity, which keeps those that are in it in few pages.
#ifndef QUARN_AUDIO_SAMPLE_QUEUE_H_
#define QUARN_AUDIO_SAMPLE_QUEUE_H_

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "foundation/page_memory.h"

// Samples where they lie in a queue: `count` at `samples`, and what follows them at `rest`.
template <class T>
struct LentSamples {
  const T* samples;
  std::size_t count;
  const T* rest;
};

// The samples lie in a window at the front of the memory, as in a ring of the window's size. The window grows and
// shrinks with what is in the queue, and an empty queue starts at its front again: so the same few pages are written
// and read over and over, which are likely to be in the processor's caches, and the others cost nothing.
//
// It does not lock: whoever owns it makes its calls take turns. What has been lent may be read at the same time.
template <class T>
class SampleQueue {
  static_assert(std::is_trivially_copyable_v<T>, "samples are copied as bytes");

 public:
  // In samples. Where the memory is missing it is not valid, and nothing else may be asked of it.
  explicit SampleQueue(std::size_t capacity) : capacity_(capacity), memory_(capacity * sizeof(T)) {}
  SampleQueue(const SampleQueue&) = delete;
  SampleQueue& operator=(const SampleQueue&) = delete;

  bool valid() const { return memory_.data() != nullptr; }
  std::size_t capacity() const { return capacity_; }
  std::size_t size() const { return size_; }

  // Whether `count` samples can be appended now: while some are lent, the window stays as it is.
  bool HasRoomFor(std::size_t count) const { return kept_ == 0 || kept_ + size_ + count <= window_; }

  // There must be room, and no more than the capacity in the queue afterwards.
  void PushBack(const T* src, std::size_t count) {
    if (count == 0) return;
    if (kept_ == 0) FitWindow(size_ + count);
    const std::size_t at = After(first_, size_);
    const std::size_t until_end = std::min(count, window_ - at);
    std::memcpy(data() + at, src, until_end * sizeof(T));
    std::memcpy(data(), src + until_end, (count - until_end) * sizeof(T));
    size_ += count;
  }

  // Takes the oldest `count` samples out, copied to `dst` unless that is null. There must be as many.
  void PopFront(T* dst, std::size_t count) {
    if (dst && count > 0) {
      const LentSamples<T> front = Front(count);
      std::memcpy(dst, front.samples, front.count * sizeof(T));
      std::memcpy(dst + front.count, front.rest, (count - front.count) * sizeof(T));
    }
    first_ = After(first_, count);
    size_ -= count;
    if (kept_ > 0) kept_ += count;
  }

  // Takes the oldest `count` samples out, of which there must be as many, at least one, and leaves them where they lie
  // until TakeBack. Nothing else may be lent yet.
  LentSamples<T> Lend(std::size_t count) {
    const LentSamples<T> lent = Front(count);
    PopFront(nullptr, count);
    kept_ = count;
    return lent;
  }
  void TakeBack() { kept_ = 0; }

 private:
  static constexpr std::size_t kSmallestWindow = 4096 / sizeof(T);

  T* data() const { return static_cast<T*>(memory_.data()); }

  std::size_t After(std::size_t place, std::size_t count) const {
    place += count;
    return place < window_ ? place : place - window_;
  }

  LentSamples<T> Front(std::size_t count) const { return {data() + first_, std::min(count, window_ - first_), data()}; }

  std::size_t WindowFor(std::size_t count) const {
    std::size_t window = kSmallestWindow;
    while (window < count) window *= 2;
    return std::min(window, capacity_);
  }

  void FitWindow(std::size_t count) {
    if (size_ == 0) first_ = 0;
    if (count > window_) {
      Grow(WindowFor(count));
    } else if (count <= window_ / 4 && window_ > kSmallestWindow) {
      Shrink(2 * WindowFor(count));  // So that it does not grow again at once.
    }
  }

  void Grow(std::size_t window) {
    if (first_ + size_ > window_) {
      // What lies at the window's end goes to the end of the new one.
      const std::size_t place = first_ + (window - window_);
      std::memmove(data() + place, data() + first_, (window_ - first_) * sizeof(T));
      first_ = place;
    }
    window_ = window;
  }

  // What is in the queue fills no more than a quarter of the present window.
  void Shrink(std::size_t window) {
    if (window >= window_) return;
    const std::size_t until_end = std::min(size_, window_ - first_);
    std::memmove(data() + until_end, data(), (size_ - until_end) * sizeof(T));
    std::memmove(data(), data() + first_, until_end * sizeof(T));
    first_ = 0;
    memory_.GiveBack(window * sizeof(T), window_ * sizeof(T));
    window_ = window;
  }

  const std::size_t capacity_;
  PageMemory memory_;
  std::size_t window_ = 0;  // The samples that the ring at the front of the memory has place for.
  std::size_t first_ = 0;   // Where the oldest lies.
  std::size_t size_ = 0;
  std::size_t kept_ = 0;  // Right before the oldest: those that are lent, and what was taken out after them.
};

#endif  // QUARN_AUDIO_SAMPLE_QUEUE_H_
