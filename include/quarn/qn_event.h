// A signal between threads. Words and tags: quarn.h.
#ifndef QUARN_QN_EVENT_H_
#define QUARN_QN_EVENT_H_

#include <quarn/export.h>

class QNEventPri;

// A flag that threads wait for. An automatic event is cleared by the wait that it satisfies; a manual one stays
// signalled until Reset. One that finds no memory says so in the log: then every operation returns false at once.
//
// Thread: any. Signal wakes one waiter; with several waiters on a manual event the others see the flag when
// they next test it.
class QUARN_EXPORT QNEvent {
 public:
  // An event that is not signalled.
  //
  // `manual_reset`: true for a manual event, false for an automatic one.
  explicit QNEvent(bool manual_reset);
  // Destroys the event, which nobody may wait for any more.
  //
  // Thread: caller-serialised.
  ~QNEvent();
  QNEvent(const QNEvent&) = delete;
  QNEvent& operator=(const QNEvent&) = delete;

  // Returns whether there was memory for it.
  bool valid() const;
  // Sets the flag and wakes one waiter.
  //
  // Returns true, but for an event without memory.
  bool Signal();
  // Clears the flag.
  //
  // Returns true, but for an event without memory.
  bool Reset();
  // Waits until the event is signalled.
  //
  // Returns true when the event was signalled, false on a failed wait.
  //
  // Blocks: until signalled.
  bool Wait();
  // Waits until the event is signalled, for a time at most. The deadline is on the wall clock: a change of that clock
  // shortens or lengthens the wait.
  //
  // `ms`: the longest wait in milliseconds, any value; 0 only looks.
  // Returns true when the time ran out (or the wait failed) and false when the event was signalled: the opposite sense
  // to Wait, which is part of the interface.
  //
  // Blocks: up to `ms` milliseconds.
  bool TimedWait(unsigned long ms);
  // Returns whether the event is signalled, and clears an automatic one. Never waits for a signal.
  bool Try();

 private:
  QNEventPri* impl_;
};

#endif  // QUARN_QN_EVENT_H_
