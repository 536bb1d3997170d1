// Counts what a thread takes from operator new. A binary that links allocation_counter.cc has the global operators
// replaced, in every object and library of the process; what malloc hands out directly is not seen.
//
//   AllocationCounter counter;
//   DoWork();
//   EXPECT_EQ(counter.count(), 0u);
#ifndef QUARN_TESTS_SUPPORT_ALLOCATION_COUNTER_H_
#define QUARN_TESTS_SUPPORT_ALLOCATION_COUNTER_H_

#include <cstddef>

// Counts the allocations of the thread that makes it, from then on. It must be destroyed on that thread too. Counters
// on one thread may nest.
class AllocationCounter {
 public:
  AllocationCounter();
  ~AllocationCounter();
  AllocationCounter(const AllocationCounter&) = delete;
  AllocationCounter& operator=(const AllocationCounter&) = delete;

  // To be asked on the thread that made the counter.
  std::size_t count() const;

 private:
  std::size_t before_;
};

#endif  // QUARN_TESTS_SUPPORT_ALLOCATION_COUNTER_H_
