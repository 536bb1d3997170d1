// A thread that does one work after the other.
#ifndef QUARN_FOUNDATION_WORKER_H_
#define QUARN_FOUNDATION_WORKER_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "foundation/fork_count.h"
#include "foundation/thread.h"

// Does works in the order of their posting, on a thread of its own that starts with the first. Any thread may call; a
// work may post another.
class Worker : public Runable {
 public:
  // What a worker is to whoever made it. The texts stay the owner's and must outlive the worker.
  struct Role {
    const char* thread_name;            // What the system calls the thread; at most 15 characters.
    const char* work;                   // What a work is called in the log, where memory is missing for it.
    void (*log_no_thread)() = nullptr;  // Says in the log what does not happen because the thread cannot be created.
    void (*at_thread_end)() = nullptr;  // Called on the thread, when it has done its last work.
  };

  explicit Worker(const Role& role) : role_(role) {}
  // Queues `work` behind what is queued already. Returns its number, counted from 1; 0 where it is dropped: with a line
  // in the log when there is no thread or no memory for it, and without one after a Stop and in a forked child.
  std::uint64_t Post(std::function<void()> work);
  // Waits for a work, and for no longer than `patience`. Returns whether it is done. When it is not, nobody is waited
  // for any more, until all that is queued is done.
  bool WaitFor(std::uint64_t number, std::chrono::milliseconds patience);
  // Whether somebody has waited in vain and not everything is done yet.
  bool lags() const;
  // Drops what is queued, waits for the work in hand and ends the thread, for good.
  void Stop();
  // The same, but leaves a work in hand that takes longer than `patience`, and its thread, to the end of the process:
  // the thread does nothing more once the work returns, and Stop would wait for it for ever.
  void StopWithin(std::chrono::milliseconds patience);

  void Run() override;

 private:
  // Whether the thread, and perhaps the mutex that it held, are those of the process that this one was forked from.
  // Then nothing is done any more, nor waited for.
  bool of_another_process() const { return fork_count_ != os::ForkCount(); }

  const Role role_;
  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::condition_variable done_;
  // Two vectors take turns, so that a steady load takes nothing from the heap.
  std::vector<std::function<void()>> queue_;
  std::vector<std::function<void()>> batch_;
  std::uint64_t last_number_ = 0;
  std::uint64_t done_number_ = 0;
  bool lags_ = false;
  bool stopped_ = false;
  bool ended_ = false;  // Run is about to return.
  bool left_ = false;   // Nobody has waited for that.
  const unsigned int fork_count_ = os::ForkCount();
  std::unique_ptr<Thread> thread_;
};

#endif  // QUARN_FOUNDATION_WORKER_H_
