// Reference counting of the objects that a host shares with the library. Words and tags: quarn.h.
//
// The library counts scenes, items and audio inputs but never deletes them: a host's subclass owns the count. Most
// hosts take the ready-made one:
//
//   class Logo : public GsItem { ... };
//   scoped_refptr<Logo> logo = MakeRefCounted<Logo>(device);
#ifndef QUARN_REF_COUNT_H_
#define QUARN_REF_COUNT_H_

#include <atomic>
#include <cstddef>
#include <utility>

#include <quarn/export.h>

// What the library calls to take and to drop a reference.
//
// Thread: any; an implementation must make both operations atomic.
class QUARN_EXPORT RefCountInterface {
 public:
  // Takes one reference.
  virtual void AddRef() = 0;
  // Drops one reference; the object may delete itself when the last one goes.
  virtual void Release() = 0;
  virtual ~RefCountInterface() = default;
};

// A holder of one reference to a T, or of nothing.
//
// Thread: caller-serialised, like a plain pointer; the counts themselves are atomic.
template <class T>
class scoped_refptr {
 public:
  scoped_refptr() = default;
  // Holds nothing.
  scoped_refptr(std::nullptr_t) {}
  // Takes a reference of its own.
  //
  // `ptr`: null for nothing.
  scoped_refptr(T* ptr) : ptr_(ptr) {
    if (ptr_) ptr_->AddRef();
  }
  // Takes a reference of its own on what another holds.
  scoped_refptr(const scoped_refptr& other) : scoped_refptr(other.ptr_) {}
  // Takes a reference of its own on what a holder of a derived type holds.
  template <class U>
  scoped_refptr(const scoped_refptr<U>& other) : scoped_refptr(static_cast<U*>(other)) {}
  // Takes over the reference of another holder without counting.
  scoped_refptr(scoped_refptr&& other) noexcept : ptr_(other.release()) {}
  template <class U>
  scoped_refptr(scoped_refptr<U>&& other) noexcept : ptr_(other.release()) {}
  // Drops the reference.
  ~scoped_refptr() {
    if (ptr_) ptr_->Release();
  }

  // Holds what `other` held, and drops the reference held before.
  scoped_refptr& operator=(scoped_refptr other) noexcept {
    std::swap(ptr_, other.ptr_);
    return *this;
  }

  // Makes a holder that takes over a reference which the caller already has, without counting.
  //
  // `ptr`: may be null.
  // Returns the holder.
  static scoped_refptr Adopt(T* ptr) {
    scoped_refptr holder;
    holder.ptr_ = ptr;
    return holder;
  }

  // Hands the pointer out, with its reference, and leaves the holder empty.
  //
  // Returns the pointer, or null; the reference is the caller's to drop.
  T* release() noexcept { return std::exchange(ptr_, nullptr); }

  // Returns the pointer, or null.
  T* get() const noexcept { return ptr_; }
  // Converts into the pointer, or null.
  operator T*() const noexcept { return ptr_; }
  // Reaches into what is held, which must be something.
  T* operator->() const noexcept { return ptr_; }
  // Returns what is held, which must be something.
  T& operator*() const noexcept { return *ptr_; }

 private:
  T* ptr_ = nullptr;
};

// An atomic count over any class that leaves AddRef and Release abstract. It starts at one, held by whoever
// creates the object; the object deletes itself when the count reaches zero.
//
// Thread: any.
template <class Base>
class RefCounted : public Base {
 public:
  // Makes the object.
  //
  // `args`: those of a constructor of its base.
  template <class... Args>
  explicit RefCounted(Args&&... args) : Base(std::forward<Args>(args)...) {}

  void AddRef() override { count_.fetch_add(1, std::memory_order_relaxed); }
  void Release() override {
    if (count_.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }

 protected:
  ~RefCounted() override = default;

 private:
  std::atomic<long> count_{1};
};

// Makes a T counted from one (usually a RefCounted<...>) and adopts that reference.
//
// `args`: those of a constructor of T. A number is written as what that takes: 640u for an unsigned one.
// Returns its holder, never without: memory that is missing is thrown, as new does.
//
// Thread: any.
template <class T, class... Args>
scoped_refptr<T> MakeRef(Args&&... args) {
  return scoped_refptr<T>::Adopt(new T(std::forward<Args>(args)...));
}

// Makes a RefCounted<T> and adopts its first reference: what most hosts make their scenes, items and inputs with.
//
// `args`: as MakeRef takes them.
// Returns as MakeRef does.
//
// Thread: any.
template <class T, class... Args>
scoped_refptr<T> MakeRefCounted(Args&&... args) {
  return MakeRef<RefCounted<T>>(std::forward<Args>(args)...);
}

#endif  // QUARN_REF_COUNT_H_
