// Counts, per thread, what the global operator new is asked for while a counter lives there.
#include "tests/support/allocation_counter.h"

#include "tests/support/global_new.h"

namespace {

thread_local int counters = 0;
thread_local std::size_t allocations = 0;

}  // namespace

void* global_new::Allocate(std::size_t size, std::size_t alignment, const void*) noexcept {
  if (counters > 0) ++allocations;
  return alignment > 0 ? std::aligned_alloc(alignment, size) : std::malloc(size);
}

AllocationCounter::AllocationCounter() : before_(allocations) { ++counters; }

AllocationCounter::~AllocationCounter() { --counters; }

std::size_t AllocationCounter::count() const { return allocations - before_; }
