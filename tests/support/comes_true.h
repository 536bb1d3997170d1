// Looks again and again: for tests of what other programs do in their own time.
#ifndef QUARN_TESTS_SUPPORT_COMES_TRUE_H_
#define QUARN_TESTS_SUPPORT_COMES_TRUE_H_

#include <functional>

namespace test {

// Looks again and again until `condition` holds. Returns false when the patience ran out.
bool ComesTrue(const std::function<bool()>& condition);

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_COMES_TRUE_H_
