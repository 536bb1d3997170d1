// The pool of an output, said plainly: the judge of its test and of its fuzz target.
#ifndef QUARN_TESTS_GRAPHICS_OUTPUT_POOL_MODEL_H_
#define QUARN_TESTS_GRAPHICS_OUTPUT_POOL_MODEL_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <ostream>
#include <vector>

// What the pool does, said plainly: a queue of at most six, each due a number of deliveries.
class PoolModel {
 public:
  static constexpr std::size_t kCapacity = 6;
  static constexpr std::uint64_t kInterval = 33333333;  // At 30 frames a second.
  struct Delivery {
    std::uint32_t id;
    std::uint64_t timestamp;

    bool operator==(const Delivery& other) const { return id == other.id && timestamp == other.timestamp; }
  };
  enum class Receiving { kNobody, kRaw, kOther };
  struct Entry {
    std::uint32_t id;
    std::uint64_t timestamp;
    std::int64_t repeat;
    std::int64_t overflow;
    bool heard;
  };

  void Attach(Receiving receiving) {
    receiving_ = receiving;
    pooled_ = receiving == Receiving::kRaw;
    queue_.clear();
    ++attaches_;
  }
  void Detach() { receiving_ = Receiving::kNobody; }
  // Whether there is room; if not, the newest frame takes the periods over.
  bool Lock(int count) {
    if (!pooled_) return false;
    if (queue_.size() < kCapacity) return true;
    Entry& newest = queue_.back();
    newest.repeat = Clamp(newest.repeat + count);
    newest.overflow = Clamp(newest.overflow + count);
    return false;
  }
  void Commit(std::uint32_t id, std::uint64_t timestamp, int count) {
    queue_.push_back({id, timestamp, count, 0, false});
  }
  // Whether the frame is finished. What the receiver does in its call, in_call() does to the model.
  template <class InCall>
  bool Deliver(std::vector<Delivery>* deliveries, InCall in_call) {
    if (queue_.empty()) return true;
    Entry& oldest = queue_.front();
    if (receiving_ == Receiving::kRaw) {
      deliveries->push_back({oldest.id, oldest.timestamp});
      oldest.heard = true;
      const int attaches = attaches_;
      in_call();
      if (attaches != attaches_) return true;  // It has discarded the frame.
    }
    oldest.timestamp += kInterval;
    oldest.repeat = Clamp(oldest.repeat - 1);
    if (oldest.repeat <= 0) {
      queue_.pop_front();
      return true;
    }
    if (oldest.overflow >= 1) {
      --oldest.overflow;
      ++repeat_count_;
    }
    return false;
  }
  bool Deliver(std::vector<Delivery>* deliveries) {
    return Deliver(deliveries, [] {});
  }
  Receiving receiving() const { return receiving_; }
  std::uint64_t free_count() const { return pooled_ ? kCapacity - queue_.size() : 0; }
  std::size_t queued() const { return queue_.size(); }
  // Of those that are queued, the ones that nobody has been called with.
  std::size_t unheard() const {
    return static_cast<std::size_t>(
        std::count_if(queue_.begin(), queue_.end(), [](const Entry& entry) { return !entry.heard; }));
  }
  std::uint32_t repeat_count() const { return repeat_count_; }

 private:
  static std::int64_t Clamp(std::int64_t value) {
    return std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::max());
  }

  std::deque<Entry> queue_;
  Receiving receiving_ = Receiving::kNobody;
  bool pooled_ = false;
  int attaches_ = 0;
  std::uint32_t repeat_count_ = 0;
};

// Prints a delivery when an expectation fails.
inline void PrintTo(const PoolModel::Delivery& delivery, std::ostream* out) {
  *out << delivery.id << " at " << delivery.timestamp;
}

#endif  // QUARN_TESTS_GRAPHICS_OUTPUT_POOL_MODEL_H_
