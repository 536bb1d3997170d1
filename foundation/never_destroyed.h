// Objects for the whole process.
#ifndef QUARN_FOUNDATION_NEVER_DESTROYED_H_
#define QUARN_FOUNDATION_NEVER_DESTROYED_H_

#include <new>
#include <utility>

// Holds a T in its own storage, without the heap, and never destroys it: as a static it serves threads that run until
// the very end of the process.
template <class T>
class NeverDestroyed {
 public:
  template <class... Args>
  explicit NeverDestroyed(Args&&... args) {
    new (storage_) T(std::forward<Args>(args)...);
  }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& get() { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
};

#endif  // QUARN_FOUNDATION_NEVER_DESTROYED_H_
