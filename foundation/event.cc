// The event on POSIX: a flag behind a mutex and a condition variable. Any thread enters.
#include "foundation/event.h"

#include <pthread.h>
#include <sys/time.h>

#include <new>

#include "foundation/fork_count.h"

class EventImpl {
 public:
  explicit EventImpl(bool manual_reset) : manual_reset_(manual_reset) {}
  ~EventImpl() {
    Renew();  // A condition is destroyed once nobody waits any more, and a fork has none of those who did.
    pthread_cond_destroy(&condition_);
    pthread_mutex_destroy(&mutex_);
  }
  EventImpl(const EventImpl&) = delete;
  EventImpl& operator=(const EventImpl&) = delete;

  void Signal() {
    Lock();
    // Kept: C9.
    pthread_cond_signal(&condition_);
    signalled_ = true;
    pthread_mutex_unlock(&mutex_);
  }

  void Reset() {
    Lock();
    signalled_ = false;
    pthread_mutex_unlock(&mutex_);
  }

  // Each of the three returns whether the event was found signalled. A wait that failed or ran out of time leaves the
  // flag as it is, for the next to find.

  bool Wait() {
    Lock();
    int result = 0;
    while (!signalled_ && result == 0) result = pthread_cond_wait(&condition_, &mutex_);
    const bool found = result == 0 && Consume();
    pthread_mutex_unlock(&mutex_);
    return found;
  }

  bool TimedWait(unsigned long ms) {
    Lock();
    int result = 0;
    while (!signalled_ && result == 0) {
      // Kept: C8.
      timeval now{};
      gettimeofday(&now, nullptr);
      timespec deadline{};
      deadline.tv_sec = now.tv_sec;
      deadline.tv_nsec = static_cast<long>(now.tv_usec) * 1000;
      add_ms_to_ts(&deadline, ms);
      result = pthread_cond_timedwait(&condition_, &mutex_, &deadline);
    }
    const bool found = result == 0 && Consume();
    pthread_mutex_unlock(&mutex_);
    return found;
  }

  bool Try() {
    Lock();
    const bool found = Consume();
    pthread_mutex_unlock(&mutex_);
    return found;
  }

 private:
  void Renew() {
    renewal_.Check([this] {
      mutex_ = pthread_mutex_t PTHREAD_MUTEX_INITIALIZER;
      condition_ = pthread_cond_t PTHREAD_COND_INITIALIZER;
    });
  }
  void Lock() {
    Renew();
    pthread_mutex_lock(&mutex_);
  }

  // Reads the flag, with mutex_ held, and clears it when the event resets itself.
  bool Consume() {
    const bool found = signalled_;
    if (!manual_reset_) signalled_ = false;
    return found;
  }

  // Made by these values, for the functions that make them may fail.
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t condition_ = PTHREAD_COND_INITIALIZER;
  ForkRenewal renewal_;
  bool signalled_ = false;
  const bool manual_reset_;
};

Event::Event(bool manual_reset) : impl_(new (std::nothrow) EventImpl(manual_reset)) {}

Event::~Event() = default;

bool Event::Signal() {
  if (!impl_) return false;
  impl_->Signal();
  return true;
}

bool Event::Reset() {
  if (!impl_) return false;
  impl_->Reset();
  return true;
}

bool Event::Wait() { return impl_ && impl_->Wait(); }

// Kept: C7.
bool Event::TimedWait(unsigned long ms) { return impl_ && !impl_->TimedWait(ms); }

bool Event::Try() { return impl_ && impl_->Try(); }

void add_ms_to_ts(timespec* ts, unsigned long ms) {
  constexpr long kNsPerSecond = 1000000000;
  ts->tv_sec += static_cast<time_t>(ms / 1000);
  ts->tv_nsec += static_cast<long>(ms % 1000) * 1000000;
  // Kept: C10.
  if (ts->tv_nsec > kNsPerSecond) {
    ts->tv_sec += 1;
    ts->tv_nsec -= kNsPerSecond;
  }
}
