// Tells a process from its forks.
#ifndef QUARN_FOUNDATION_FORK_COUNT_H_
#define QUARN_FOUNDATION_FORK_COUNT_H_

#include <atomic>

namespace os {

// How many forks lie between the process that loaded the library and this one. A forked child has none of its parent's
// other threads, and must not wait for them: what was made at another count belongs to another process.
//
// Thread: any.
unsigned int ForkCount();

}  // namespace os

// For a lock that a thread may hold in the moment of a fork. The child has a copy that nobody will ever give back, and
// makes it anew before it uses it.
class ForkRenewal {
 public:
  // Calls make() in a process that has been forked since the last call, or since construction. Returns whether it did.
  //
  // Thread: any.
  template <class Make>
  bool Check(Make make) {
    const unsigned int now = os::ForkCount();
    unsigned int made = made_at_.load(std::memory_order_acquire);
    while (made != now) {
      if (made == kMaking) {
        made = made_at_.load(std::memory_order_acquire);  // Another thread makes it; that takes no time.
      } else if (made_at_.compare_exchange_weak(made, kMaking, std::memory_order_acquire)) {
        make();
        made_at_.store(now, std::memory_order_release);
        return true;
      }
    }
    return false;
  }
  // Whether a call of Check would call make(). Thread: any.
  bool IsDue() const { return made_at_.load(std::memory_order_acquire) != os::ForkCount(); }

 private:
  static constexpr unsigned int kMaking = ~0u;

  std::atomic<unsigned int> made_at_{os::ForkCount()};
};

#endif  // QUARN_FOUNDATION_FORK_COUNT_H_
