// A counting semaphore that wakes its waiters in the order of their coming.
#ifndef QUARN_FOUNDATION_SEMAPHORE_H_
#define QUARN_FOUNDATION_SEMAPHORE_H_

#include <memory>

class SemaphoreImpl;

class Semaphore {
 public:
  // A negative count cannot be made, nor anything without memory: the object is then inert.
  explicit Semaphore(int initial);
  ~Semaphore();
  Semaphore(const Semaphore&) = delete;
  Semaphore& operator=(const Semaphore&) = delete;

  // Adds one to the count.
  void Post();
  // Takes one from the count. Returns false when the semaphore could not be made or the wait failed.
  //
  // Blocks: until the count is above zero.
  bool Wait();

  // Whether it could be made.
  bool valid() const;

 private:
  std::unique_ptr<SemaphoreImpl> impl_;
};

#endif  // QUARN_FOUNDATION_SEMAPHORE_H_
