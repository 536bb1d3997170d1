// Replaces the global operators new and delete, in every object and library of the process. One source of a binary
// includes it, and defines where the memory comes from: null makes new fail. It is freed with free.
#ifndef QUARN_TESTS_SUPPORT_GLOBAL_NEW_H_
#define QUARN_TESTS_SUPPORT_GLOBAL_NEW_H_

#include <cstddef>
#include <cstdlib>
#include <new>

namespace global_new {

// `size` is not 0, and a multiple of `alignment`, which is 0 for the usual one. `caller` is an address in the code that
// called the operator.
void* Allocate(std::size_t size, std::size_t alignment, const void* caller) noexcept;

inline void* AllocateAny(std::size_t size, const void* caller) noexcept {
  return Allocate(size > 0 ? size : 1, 0, caller);
}

inline void* AllocateAligned(std::size_t size, std::align_val_t alignment, const void* caller) noexcept {
  const auto unit = static_cast<std::size_t>(alignment);
  const std::size_t rounded = (size + unit - 1) / unit * unit;
  return Allocate(rounded > 0 ? rounded : unit, unit, caller);
}

inline void* OrThrow(void* memory) {
  if (!memory) throw std::bad_alloc();
  return memory;
}

}  // namespace global_new

// Hidden, they would not stand in the place of others'.
#pragma GCC visibility push(default)

void* operator new(std::size_t size) {
  return global_new::OrThrow(global_new::AllocateAny(size, __builtin_return_address(0)));
}
void* operator new[](std::size_t size) {
  return global_new::OrThrow(global_new::AllocateAny(size, __builtin_return_address(0)));
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return global_new::AllocateAny(size, __builtin_return_address(0));
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return global_new::AllocateAny(size, __builtin_return_address(0));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
  return global_new::OrThrow(global_new::AllocateAligned(size, alignment, __builtin_return_address(0)));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
  return global_new::OrThrow(global_new::AllocateAligned(size, alignment, __builtin_return_address(0)));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return global_new::AllocateAligned(size, alignment, __builtin_return_address(0));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return global_new::AllocateAligned(size, alignment, __builtin_return_address(0));
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept { std::free(memory); }

#pragma GCC visibility pop

#endif  // QUARN_TESTS_SUPPORT_GLOBAL_NEW_H_
