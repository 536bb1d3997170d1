// Sources, rings and a pass of the mixer, said plainly: the judge of the test and of the fuzz target.
#ifndef QUARN_TESTS_AUDIO_MIX_MODEL_H_
#define QUARN_TESTS_AUDIO_MIX_MODEL_H_

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "audio/mix_format.h"
#include "audio/mix_samples.h"

namespace mix_model {

// A ring in one piece of memory, by its read and write indices.
class Ring {
 public:
  Ring(std::size_t capacity, std::size_t sample_bytes) : capacity_(capacity), bytes_(sample_bytes) {
    data_.resize(capacity * sample_bytes);
  }

  void Push(const unsigned char* src, std::size_t count) {
    if (!src) return;
    if (count > capacity_) {
      src += (count - capacity_) * bytes_;
      count = capacity_;
    }
    const bool wraps = read_ > write_ || (read_ == write_ && size_ > 0);
    if (wraps) {
      if (write_ + count < read_) {
        Write(src, count);
        size_ += count;
      } else if (read_ + count < capacity_) {
        read_ += count;
        Write(src, count);
      } else {
        size_ -= capacity_ - read_;
        read_ = 0;
        Push(src, count);
      }
      return;
    }
    if (write_ + count < capacity_) {
      Write(src, count);
      size_ += count;
      return;
    }
    const std::size_t head = capacity_ - write_;
    Write(src, head);
    write_ = 0;
    size_ += head;
    const std::size_t reserve = capacity_ / 100;
    if (read_ < reserve) {
      size_ -= reserve - read_;
      read_ = reserve;
    }
    Push(src + head * bytes_, count - head);
  }

  std::size_t Pop(unsigned char* dst, std::size_t count) {
    count = std::min(count, size_);
    for (std::size_t i = 0; i < count; ++i) {
      if (dst) std::memcpy(dst + i * bytes_, &data_[read_ * bytes_], bytes_);
      read_ = read_ + 1 == capacity_ ? 0 : read_ + 1;
      --size_;
    }
    return count;
  }

  void Clear() { read_ = write_ = size_ = 0; }
  std::size_t size() const { return size_; }

 private:
  void Write(const unsigned char* src, std::size_t count) {
    if (count > 0) std::memcpy(&data_[write_ * bytes_], src, count * bytes_);
    write_ += count;
  }

  const std::size_t capacity_;
  const std::size_t bytes_;
  std::vector<unsigned char> data_;
  std::size_t read_ = 0;
  std::size_t write_ = 0;
  std::size_t size_ = 0;
};

class Source {
 public:
  Source(unsigned int rate, unsigned int channels, InternalSampleType type)
      : limit_(rate / 10),
        type_(type),
        rings_(channels, Ring(rate * std::size_t{10}, type == kInternalSampleShort ? 2 : 4)) {}

  void Push(const void** planes, unsigned int frames, std::uint64_t sequence) {
    if (sequence != sequence_) {
      ready_ = false;
      for (Ring& ring : rings_) ring.Clear();
      sequence_ = sequence;
    }
    if (!planes) return;
    for (std::size_t c = 0; c < rings_.size(); ++c) {
      rings_[c].Push(static_cast<const unsigned char*>(planes[c]), frames);
      if (!enabled && rings_[c].size() > limit_) rings_[c].Pop(nullptr, frames);
    }
    if (!rings_.empty() && rings_[0].size() + frames >= limit_) ready_ = true;
  }

  // How many samples came of each channel.
  std::vector<std::size_t> Pop(unsigned char* const* planes, unsigned int frames) {
    std::vector<std::size_t> popped;
    for (std::size_t c = 0; c < rings_.size(); ++c) popped.push_back(ready_ ? rings_[c].Pop(planes[c], frames) : 0);
    const bool heard = std::any_of(popped.begin(), popped.end(), [](std::size_t count) { return count > 0; });
    const float from = heard_ ? last_ : gain;
    heard_ = heard;
    last_ = gain;
    const auto count = static_cast<float>(frames);
    gain_is_one = from == 1 && gain == 1;
    for (std::size_t c = 0; c < popped.size() && !gain_is_one; ++c) {
      for (std::size_t i = 0; i < popped[c]; ++i) {
        const float at = gain + (from - gain) / count * static_cast<float>(frames - 1 - i);
        if (type_ == kInternalSampleFloat) ScaleAt<float>(planes[c], i, at);
        if (type_ == kInternalSampleShort) ScaleAt<short>(planes[c], i, at);
      }
    }
    return popped;
  }

  void Disable() {
    enabled = false;
    heard_ = false;
  }

  bool enabled = true;
  float gain = 1;  // 0 while muted.
  bool gain_is_one = true;

 private:
  template <class T>
  static void ScaleAt(unsigned char* plane, std::size_t i, float gain) {
    T sample;
    std::memcpy(&sample, plane + i * sizeof(T), sizeof(T));
    sample = Scale<T>(sample, gain);
    std::memcpy(plane + i * sizeof(T), &sample, sizeof(T));
  }

  const std::size_t limit_;
  const InternalSampleType type_;
  bool heard_ = false;
  float last_ = 1;
  std::vector<Ring> rings_;
  bool ready_ = false;
  std::uint64_t sequence_ = ~std::uint64_t{0};
};

// Eight planes of so many floats.
class Planes {
 public:
  explicit Planes(unsigned int frames) : samples_(kMaxMixChannels, std::vector<unsigned char>(frames * sizeof(float))) {
    for (std::size_t c = 0; c < samples_.size(); ++c) pointers_[c] = samples_[c].data();
  }
  unsigned char* const* data() const { return pointers_.data(); }
  void Clear(unsigned int channels) {
    for (unsigned int c = 0; c < channels; ++c) std::fill(samples_[c].begin(), samples_[c].end(), 0);
  }
  const std::vector<unsigned char>& operator[](std::size_t c) const { return samples_[c]; }

 private:
  std::vector<std::vector<unsigned char>> samples_;
  std::array<unsigned char*, kMaxMixChannels> pointers_{};
};

template <class T>
void AddPlane(unsigned char* mix, const unsigned char* scratch, unsigned int frames) {
  for (unsigned int i = 0; i < frames; ++i) {
    T a;
    T b;
    std::memcpy(&a, mix + i * sizeof(T), sizeof(T));
    std::memcpy(&b, scratch + i * sizeof(T), sizeof(T));
    a = AddAndNormaliz<T>(a, b);
    std::memcpy(mix + i * sizeof(T), &a, sizeof(T));
  }
}

inline void Pass(const std::vector<std::unique_ptr<Source>>& sources, InternalSampleType type, unsigned int channels,
                 const Planes& mix, const Planes& scratch, unsigned int frames) {
  for (const auto& source : sources) {
    if (!source->enabled) continue;
    std::memset(scratch.data()[0], 0, frames * (type == kInternalSampleShort ? sizeof(short) : sizeof(float)));
    std::vector<std::size_t> popped = source->Pop(scratch.data(), frames);
    if (popped.empty() || popped.back() == 0) continue;
    popped.resize(kMaxMixChannels);
    for (unsigned int c = 0; c < channels; ++c) {
      const auto added = static_cast<unsigned int>(source->gain_is_one ? frames : popped[c]);
      if (type == kInternalSampleFloat) AddPlane<float>(mix.data()[c], scratch.data()[c], added);
      if (type == kInternalSampleShort) AddPlane<short>(mix.data()[c], scratch.data()[c], added);
    }
  }
}

}  // namespace mix_model

#endif  // QUARN_TESTS_AUDIO_MIX_MODEL_H_
