// A signal between threads, with manual or automatic reset.
#ifndef QUARN_FOUNDATION_EVENT_H_
#define QUARN_FOUNDATION_EVENT_H_

#include <ctime>
#include <memory>

class EventImpl;

// See QNEvent for what the operations mean.
class Event {
 public:
  // Without memory it is inert: every operation returns false.
  explicit Event(bool manual_reset);
  ~Event();
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;

  bool Signal();
  bool Reset();
  bool Wait();
  // Returns true when the time ran out or the wait failed, false when the event was signalled: the opposite sense to
  // Wait.
  bool TimedWait(unsigned long ms);
  bool Try();

  // Whether there was memory.
  bool valid() const { return impl_ != nullptr; }

 private:
  std::unique_ptr<EventImpl> impl_;
};

// Adds `ms` milliseconds to a time. Carries only a nanosecond sum strictly greater than 1,000,000,000: a sum of exactly
// that stays as it is.
void add_ms_to_ts(timespec* ts, unsigned long ms);

#endif  // QUARN_FOUNDATION_EVENT_H_
