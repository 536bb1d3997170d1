// When to look again for what should come soon.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_SEARCH_SCHEDULE_H_
#define QUARN_GRAPHICS_OPENGL_CGL_SEARCH_SCHEDULE_H_

#include <algorithm>
#include <cstdint>

// At once, then at intervals that grow from a hundredth of a second to half of one, and after a dozen seconds no more.
class SearchSchedule {
 public:
  static constexpr int kTries = 30;

  // Begins anew.
  void Restart() { tries_ = 0; }
  // Whether it is time for the next try, at `now` on the monotonic clock; if so, it counts as made.
  bool Due(std::uint64_t now_ns) {
    if (tries_ == kTries || (tries_ > 0 && now_ns < next_ns_)) return false;
    next_ns_ = now_ns + std::min(kFirstNs << std::min(tries_, 16), std::uint64_t{kLongestNs});
    ++tries_;
    return true;
  }

 private:
  static constexpr std::uint64_t kFirstNs = 10'000'000;
  static constexpr std::uint64_t kLongestNs = 500'000'000;

  int tries_ = 0;
  std::uint64_t next_ns_ = 0;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_SEARCH_SCHEDULE_H_
