#include "tests/support/comes_true.h"

#include <chrono>
#include <thread>

namespace test {
namespace {

// Far beyond what a slow machine needs.
constexpr std::chrono::seconds kPatience(60);
// Between two looks: long enough to leave the processor to those that draw.
constexpr std::chrono::milliseconds kPause(2);

}  // namespace

bool ComesTrue(const std::function<bool()>& condition) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace test
