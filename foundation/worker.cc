// Works in order, on a thread of their own. Any thread posts, waits and stops; Run is the thread itself.
#include "foundation/worker.h"

#include <utility>

#include "foundation/no_memory.h"

std::uint64_t Worker::Post(std::function<void()> work) {
  if (of_another_process()) return 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (stopped_) return 0;
  if (!EvenWithoutMemory(role_.work, [&] {
        if (!thread_) thread_.reset(Thread::Create());
        queue_.push_back(std::move(work));
      })) {
    return 0;
  }
  if (!thread_->started()) {
    thread_->Start(this);
    if (!thread_->started()) {
      queue_.clear();
      if (role_.log_no_thread) role_.log_no_thread();
      return 0;
    }
  }
  posted_.notify_one();
  return ++last_number_;
}

bool Worker::WaitFor(std::uint64_t number, std::chrono::milliseconds patience) {
  if (number == 0) return false;
  std::unique_lock<std::mutex> lock(mutex_);
  if (lags_) return false;
  if (done_.wait_for(lock, patience, [&] { return done_number_ >= number; })) return true;
  lags_ = true;
  return false;
}

bool Worker::lags() const {
  if (of_another_process()) return true;
  const std::lock_guard<std::mutex> lock(mutex_);
  return lags_;
}

void Worker::Stop() {
  if (of_another_process()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    if (!thread_ || !thread_->started()) return;
    posted_.notify_one();
  }
  thread_->Join();
}

void Worker::StopWithin(std::chrono::milliseconds patience) {
  if (of_another_process()) return;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    if (!thread_ || !thread_->started()) return;
    posted_.notify_one();
    if (!done_.wait_for(lock, patience, [&] { return ended_; })) {
      left_ = true;
      return;
    }
  }
  thread_->Join();
}

void Worker::Run() {
  NameThisThread(role_.thread_name);
  std::unique_lock<std::mutex> lock(mutex_);
  while (!stopped_) {
    if (queue_.empty()) {
      posted_.wait(lock);
      continue;
    }
    batch_.swap(queue_);
    for (std::function<void()>& work : batch_) {
      if (stopped_) break;
      lock.unlock();
      EvenWithoutMemory(role_.work, work);
      work = nullptr;  // What it holds goes with it.
      lock.lock();
      if (++done_number_ == last_number_) lags_ = false;
      done_.notify_all();
    }
    batch_.clear();
  }
  if (left_) {
    lock.unlock();
    // The libraries that the hook would call may have ended with the process, as may those that note a thread's end.
    HaltThisThread();
  }
  ended_ = true;
  done_.notify_all();
  lock.unlock();
  if (role_.at_thread_end) role_.at_thread_end();
}
