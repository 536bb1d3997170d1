// Which time of the scene was shown when.
#ifndef QUARN_EXAMPLES_STUDIO_TIMELINE_H_
#define QUARN_EXAMPLES_STUDIO_TIMELINE_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <iterator>
#include <limits>
#include <mutex>

namespace studio {

// The scene's time passes with the clock's or stands still, and jumps where it is told to. The last of its changes are
// remembered, for whoever looks back: sound is mixed a little behind the pictures. Thread: any.
class Timeline {
 public:
  // What holds from some time of the clock on.
  struct Span {
    std::int64_t film_ns = 0;                                          // The scene's time then,
    bool runs = false;                                                 // and whether it passes,
    std::int64_t until_ns = std::numeric_limits<std::int64_t>::max();  // up to this time of the clock.
  };

  explicit Timeline(std::int64_t film_ns) {
    changes_.push_back({std::numeric_limits<std::int64_t>::min(), film_ns, false});
  }
  Timeline(const Timeline&) = delete;
  Timeline& operator=(const Timeline&) = delete;

  Span At(std::int64_t clock_ns) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return Find(clock_ns);
  }

  // From `clock_ns` on time passes, or stands still, from where it stands then. What was to come later is forgotten.
  void SetRuns(std::int64_t clock_ns, bool runs) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Add({clock_ns, Find(clock_ns).film_ns, runs});
  }
  // At `clock_ns` it is `film_ns`, and passes or stands as it did.
  void Jump(std::int64_t clock_ns, std::int64_t film_ns) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Add({clock_ns, film_ns, Find(clock_ns).runs});
  }

 private:
  struct Step {
    std::int64_t clock_ns;
    std::int64_t film_ns;
    bool runs;
  };
  static constexpr std::size_t kRemembered = 64;

  Span Find(std::int64_t clock_ns) const {
    Span span;
    auto step = changes_.rbegin();
    for (; std::next(step) != changes_.rend() && step->clock_ns > clock_ns; ++step) span.until_ns = step->clock_ns;
    span.runs = step->runs;
    span.film_ns = step->film_ns;
    if (step->runs && clock_ns > step->clock_ns) span.film_ns += clock_ns - step->clock_ns;
    return span;
  }

  void Add(Step step) {
    while (changes_.size() > 1 && changes_.back().clock_ns >= step.clock_ns) changes_.pop_back();
    changes_.push_back(step);
    if (changes_.size() > kRemembered) changes_.pop_front();
  }

  mutable std::mutex mutex_;
  std::deque<Step> changes_;  // The oldest first; it stands for all that was before, too.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_TIMELINE_H_
