// A ring of samples of fixed capacity: the newest push out the oldest.
//
// It does not lock: whoever owns it makes pushes and pops take turns.
#ifndef QUARN_AUDIO_CIRCLE_BUFFER_H_
#define QUARN_AUDIO_CIRCLE_BUFFER_H_

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

// Counts are in samples. Which samples a full ring drops, and when: Kept: C32.
template <class T>
class CircleBuffer {
  static_assert(std::is_trivially_copyable_v<T>, "samples are copied as bytes");

 public:
  // The memory comes zeroed from the system, which costs nothing until it is written: most rings never fill. A ring
  // that gets none stays empty.
  explicit CircleBuffer(std::size_t capacity)
      : capacity_(capacity),
        reserve_(capacity / 100),
        data_(capacity > 0 ? static_cast<T*>(std::calloc(capacity, sizeof(T))) : nullptr) {}
  ~CircleBuffer() { std::free(data_); }
  CircleBuffer(const CircleBuffer&) = delete;
  CircleBuffer& operator=(const CircleBuffer&) = delete;

  // Appends `count` samples over the oldest ones. A null `src` does nothing.
  void PushBack(const T* src, std::size_t count) {
    if (!src || !data_) return;
    if (count > capacity_) {
      src += count - capacity_;
      count = capacity_;
    }
    for (;;) {
      if (wraps()) {
        if (write_ + count < read_) {
          Write(src, count);
          size_ += count;
          return;
        }
        if (read_ + count < capacity_) {
          // The writer overtakes the reader: as many old samples go as new ones come.
          read_ += count;
          Write(src, count);
          return;
        }
        size_ -= capacity_ - read_;
        read_ = 0;
        continue;
      }
      if (write_ + count < capacity_) {
        Write(src, count);
        size_ += count;
        return;
      }
      // A write that ends at the very end wraps too.
      const std::size_t head = capacity_ - write_;
      Write(src, head);
      write_ = 0;
      size_ += head;
      if (read_ < reserve_) {
        // The writer comes round with the reader a hundredth of the ring ahead at least.
        size_ -= reserve_ - read_;
        read_ = reserve_;
      }
      src += head;
      count -= head;
    }
  }

  // Takes up to `count` of the oldest samples out, copied to `dst` unless that is null. Returns how many.
  std::size_t PopFront(T* dst, std::size_t count) {
    count = std::min(count, size_);
    std::size_t left = count;
    if (wraps()) {
      const std::size_t tail = capacity_ - read_;
      if (tail <= left) {
        dst = Read(dst, tail);
        read_ = 0;
        left -= tail;
      }
    }
    Read(dst, left);
    return count;
  }

  // The data is not wiped.
  void Clear() {
    read_ = 0;
    write_ = 0;
    size_ = 0;
  }

  std::size_t size() const { return size_; }

  // Whether there is memory.
  bool valid() const { return data_ != nullptr; }

 private:
  // Whether what is stored goes on from the end to the start. Equal indices mean an empty ring, or a full one where
  // there is no reserve.
  bool wraps() const { return read_ > write_ || (read_ == write_ && size_ > 0); }

  // Write and Read copy without passing the end.
  void Write(const T* src, std::size_t count) {
    std::memcpy(data_ + write_, src, count * sizeof(T));
    write_ += count;
  }

  // Returns where the next samples go.
  T* Read(T* dst, std::size_t count) {
    if (dst && count > 0) {
      std::memcpy(dst, data_ + read_, count * sizeof(T));
      dst += count;
    }
    read_ += count;
    size_ -= count;
    return dst;
  }

  const std::size_t capacity_;
  const std::size_t reserve_;
  T* const data_;
  std::size_t read_ = 0;   // Where the oldest sample stands.
  std::size_t write_ = 0;  // Where the next one goes.
  std::size_t size_ = 0;
};

#endif  // QUARN_AUDIO_CIRCLE_BUFFER_H_
