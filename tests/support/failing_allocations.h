// Lets a library run out of memory, at each place where it asks for some. For tests of the public interface: what
// libquarn.so asks for may fail, be it through new, malloc, calloc or realloc. What the test, its framework, drivers
// and the C library ask for never does, nor does what other threads ask for.
//
//   FailingAllocations::Run([] {
//     QNBuffer buffer(100);
//     EXPECT_EQ(buffer.data() == nullptr, FailingAllocations::failed());
//   });
//
// A binary that links failing_allocations.cc has malloc and the global operator new replaced.
#ifndef QUARN_TESTS_SUPPORT_FAILING_ALLOCATIONS_H_
#define QUARN_TESTS_SUPPORT_FAILING_ALLOCATIONS_H_

#include <functional>

class FailingAllocations {
 public:
  // Calls `work` with the library's first allocation failing, then with its second, and so on, until a call makes fewer
  // than that. Each time it calls it twice: that one fails alone, then that one and all after it. An exception that
  // leaves `work` fails the test. Returns how many allocations were made to fail.
  static int Run(const std::function<void()>& work);

  // Whether an allocation has failed in this call of `work`.
  static bool failed();

  // While one lives, everything that this thread asks for is granted, and not counted: for what `work` prepares, and
  // for what it clears away.
  class Pause {
   public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
  };
};

#endif  // QUARN_TESTS_SUPPORT_FAILING_ALLOCATIONS_H_
