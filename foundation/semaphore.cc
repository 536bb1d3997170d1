// The counting semaphore: a count, and a queue of those who wait for it. Any thread enters.
#include "foundation/semaphore.h"

#include <pthread.h>

#include <new>

#include "foundation/fork_count.h"

class SemaphoreImpl {
 public:
  explicit SemaphoreImpl(int initial)
      : valid_(initial >= 0 && pthread_mutex_init(&mutex_, nullptr) == 0), count_(static_cast<unsigned>(initial)) {}
  ~SemaphoreImpl() {
    if (valid_) pthread_mutex_destroy(&mutex_);
  }
  SemaphoreImpl(const SemaphoreImpl&) = delete;
  SemaphoreImpl& operator=(const SemaphoreImpl&) = delete;

  bool valid() const { return valid_; }

  void Post() {
    Lock();
    if (first_) {
      // The unit goes to the one who has waited longest: nobody who comes later can take it first.
      Waiter* const waiter = first_;
      Remove(waiter);
      waiter->granted = true;
      pthread_cond_signal(&waiter->condition);
    } else {
      ++count_;
    }
    pthread_mutex_unlock(&mutex_);
  }

  bool Wait() {
    Lock();
    bool taken = count_ > 0;
    if (taken) {
      --count_;
    } else {
      taken = WaitInQueue();
    }
    pthread_mutex_unlock(&mutex_);
    return taken;
  }

 private:
  // One waiting thread; lives on its stack.
  struct Waiter {
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
    bool granted = false;
    Waiter* next = nullptr;
  };

  void Lock() {
    // A fork has none of the threads that waited.
    renewal_.Check([this] {
      mutex_ = pthread_mutex_t PTHREAD_MUTEX_INITIALIZER;  // The function may fail, and there is nobody to tell.
      first_ = nullptr;
      end_ = &first_;
    });
    pthread_mutex_lock(&mutex_);
  }

  bool WaitInQueue() {
    Waiter self;
    *end_ = &self;
    end_ = &self.next;
    while (!self.granted && pthread_cond_wait(&self.condition, &mutex_) == 0) {
    }
    if (!self.granted) Remove(&self);
    pthread_cond_destroy(&self.condition);
    return self.granted;
  }

  void Remove(Waiter* waiter) {
    Waiter** link = &first_;
    while (*link != waiter) link = &(*link)->next;
    *link = waiter->next;
    if (end_ == &waiter->next) end_ = link;
  }

  pthread_mutex_t mutex_;
  ForkRenewal renewal_;
  const bool valid_;          // Whether creation succeeded. What follows is guarded by mutex_.
  unsigned long long count_;  // Above zero only while nobody waits.
  Waiter* first_ = nullptr;
  Waiter** end_ = &first_;
};

Semaphore::Semaphore(int initial) : impl_(new (std::nothrow) SemaphoreImpl(initial)) {}

Semaphore::~Semaphore() = default;

void Semaphore::Post() {
  if (valid()) impl_->Post();
}

bool Semaphore::Wait() { return valid() && impl_->Wait(); }

bool Semaphore::valid() const { return impl_ && impl_->valid(); }
