// Works in order, on a thread of their own; see the header for who enters.
#include "graphics/opengl/cgl/work_thread.h"

#include <utility>

#include "foundation/logger.h"
#include "foundation/no_memory.h"
#include "graphics/opengl/cgl/native_context.h"

std::uint64_t WorkThread::Post(std::function<void()> work) {
  if (of_another_process()) return 0;
  const std::lock_guard<std::mutex> lock(mutex_);
  if (stopped_) return 0;
  if (!EvenWithoutMemory("Work for a view", [&] {
        if (!thread_) thread_.reset(Thread::Create());
        queue_.push_back(std::move(work));
      })) {
    return 0;
  }
  if (!thread_->started()) {
    thread_->Start(this);
    if (!thread_->started()) {
      queue_.clear();
      Logger::default_logger()->Error(
          "the thread for windows could not be created: a view is not shown, or not resized");
      return 0;
    }
  }
  posted_.notify_one();
  return ++last_number_;
}

bool WorkThread::WaitFor(std::uint64_t number, std::chrono::milliseconds patience) {
  if (number == 0) return false;
  std::unique_lock<std::mutex> lock(mutex_);
  if (lags_) return false;
  if (done_.wait_for(lock, patience, [&] { return done_number_ >= number; })) return true;
  lags_ = true;
  return false;
}

bool WorkThread::lags() const {
  if (of_another_process()) return true;
  const std::lock_guard<std::mutex> lock(mutex_);
  return lags_;
}

void WorkThread::Stop() {
  if (of_another_process()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopped_ = true;
    if (!thread_ || !thread_->started()) return;
    posted_.notify_one();
  }
  thread_->Join();
}

void WorkThread::StopWithin(std::chrono::milliseconds patience) {
  if (of_another_process()) return;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    if (!thread_ || !thread_->started()) return;
    posted_.notify_one();
    if (!done_.wait_for(lock, patience, [&] { return ended_; })) return;
  }
  thread_->Join();
}

void WorkThread::Run() {
  NameThisThread(name_);
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
      EvenWithoutMemory("Work for a view", work);
      work = nullptr;  // What it holds goes with it.
      lock.lock();
      if (++done_number_ == last_number_) lags_ = false;
      done_.notify_all();
    }
    batch_.clear();
  }
  ended_ = true;
  done_.notify_all();
  lock.unlock();
  NativeContext::ReleaseThread();
}
