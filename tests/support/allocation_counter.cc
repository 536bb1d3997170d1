// The global operators new and delete, counting per thread while a counter lives there.
#include "tests/support/allocation_counter.h"

#include <cstdlib>
#include <new>

namespace {

thread_local int counters = 0;
thread_local std::size_t allocations = 0;

void* Allocate(std::size_t size) noexcept {
  if (counters > 0) ++allocations;
  return std::malloc(size > 0 ? size : 1);
}

void* AllocateAligned(std::size_t size, std::align_val_t alignment) noexcept {
  if (counters > 0) ++allocations;
  // aligned_alloc wants a whole number of alignments.
  const auto unit = static_cast<std::size_t>(alignment);
  const std::size_t rounded = (size + unit - 1) / unit * unit;
  return std::aligned_alloc(unit, rounded > 0 ? rounded : unit);
}

void* OrThrow(void* memory) {
  if (!memory) throw std::bad_alloc();
  return memory;
}

}  // namespace

AllocationCounter::AllocationCounter() : before_(allocations) { ++counters; }

AllocationCounter::~AllocationCounter() { --counters; }

std::size_t AllocationCounter::count() const { return allocations - before_; }

void* operator new(std::size_t size) { return OrThrow(Allocate(size)); }
void* operator new[](std::size_t size) { return OrThrow(Allocate(size)); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) { return OrThrow(AllocateAligned(size, alignment)); }
void* operator new[](std::size_t size, std::align_val_t alignment) { return OrThrow(AllocateAligned(size, alignment)); }
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return AllocateAligned(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return AllocateAligned(size, alignment);
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
