// Rings of samples beside their model: pushes, pops and loans of any size.
#include "audio/circle_buffer.h"

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/audio/model_ring.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

constexpr std::size_t kMostSamples = 6000;

// Samples that count up, so that a wrong place shows.
template <class T>
class Counting {
 public:
  Counting() : samples_(2 * kMostSamples) {
    for (std::size_t i = 0; i < samples_.size(); ++i) samples_[i] = static_cast<T>(i);
  }
  const T* Next(std::size_t count) {
    if (next_ + count > samples_.size()) next_ = 0;
    const T* const first = samples_.data() + next_;
    next_ += count;
    return first;
  }

 private:
  std::vector<T> samples_;
  std::size_t next_ = 0;
};

template <class T>
class Rings {
 public:
  explicit Rings(std::size_t capacity) : ring_(capacity), model_(capacity), capacity_(capacity) {}

  void Push(std::size_t count) {
    if (lent_ && !ring_.HasRoomFor(count)) return;
    const T* const samples = source_.Next(count);
    ring_.PushBack(samples, count);
    if (capacity_ > 0) model_.Push(std::vector<T>(samples, samples + count));
  }
  void Pop(std::size_t count) {
    const std::vector<T> expected = model_.Pop(count);
    std::vector<T> popped(expected.size());
    FUZZ_CHECK(ring_.PopFront(popped.data(), count) == expected.size());
    FUZZ_CHECK(popped == expected);
  }
  void Drop(std::size_t count) { FUZZ_CHECK(ring_.PopFront(nullptr, count) == model_.Pop(count).size()); }
  void Lend(std::size_t count) {
    if (lent_ || count == 0 || count > ring_.size()) return;
    loan_ = ring_.Lend(count);
    lent_samples_ = model_.Pop(count);
    lent_ = true;
  }
  // What is lent has stayed as it was, whatever came meanwhile.
  void TakeBack() {
    if (!lent_) return;
    for (std::size_t i = 0; i < lent_samples_.size(); ++i) {
      const T sample = i < loan_.count ? loan_.samples[i] : loan_.rest[i - loan_.count];
      FUZZ_CHECK(sample == lent_samples_[i]);
    }
    ring_.TakeBack();
    lent_ = false;
  }
  void Clear() {
    TakeBack();
    ring_.Clear();
    model_.Clear();
  }
  void Compare() const {
    FUZZ_CHECK(ring_.size() == model_.size());
    FUZZ_CHECK(ring_.size() <= capacity_);
  }

 private:
  static Counting<T> source_;

  CircleBuffer<T> ring_;
  ModelRing<T> model_;
  const std::size_t capacity_;
  bool lent_ = false;
  LentSamples<T> loan_{};
  std::vector<T> lent_samples_;
};

template <class T>
Counting<T> Rings<T>::source_;

// About the capacity, about a hundredth of it, or a few.
std::size_t CountFrom(FuzzInput* input, std::size_t capacity) {
  const std::uint8_t kind = input->Byte();
  const std::size_t about = kind % 8;
  switch (kind / 64) {
    case 0: return kind;
    case 1: return capacity + about > 4 ? capacity + about - 4 : 0;
    case 2: return capacity / 100 + about;
    default: return capacity * (kind % 64) / 32;
  }
}

template <class T>
void Run(FuzzInput* input, std::size_t capacity) {
  Rings<T> rings(capacity);
  while (!input->empty()) {
    const std::uint8_t what = input->Byte();
    const std::size_t count = CountFrom(input, capacity);
    switch (what % 10) {
      case 0: rings.Drop(count); break;
      case 1:
      case 2:
      case 3: rings.Pop(count); break;
      case 4: rings.Lend(count); break;
      case 5: rings.TakeBack(); break;
      case 6:
        if (what > 200) rings.Clear();
        break;
      default: rings.Push(count); break;
    }
    rings.Compare();
  }
  rings.TakeBack();
  rings.Pop(kMostSamples);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t kind = input.Byte();
  std::size_t capacity = input.Byte();
  if (kind >= 250) capacity = kMostSamples / 2 - capacity;  // Whose window in memory grows and shrinks.
  if (kind % 2 != 0) {
    Run<float>(&input, capacity);
  } else {
    Run<short>(&input, capacity);
  }
  return 0;
}
