// What a target demands. A demand that is not met ends the process, so that the fuzzer keeps the input.
#ifndef QUARN_TESTS_FUZZ_FUZZ_CHECK_H_
#define QUARN_TESTS_FUZZ_FUZZ_CHECK_H_

#include <cstdio>
#include <cstdlib>

#define FUZZ_CHECK(condition)                                                                  \
  do {                                                                                         \
    if (!(condition)) {                                                                        \
      std::fprintf(stderr, "%s:%d: this does not hold: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                            \
    }                                                                                          \
  } while (false)

#endif  // QUARN_TESTS_FUZZ_FUZZ_CHECK_H_
