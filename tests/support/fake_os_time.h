// A clock that stands still until a test moves it: linked in place of the real definitions of namespace os.
//
// Any thread may call os:: and fake_clock:: functions at any time.
#ifndef QUARN_TESTS_SUPPORT_FAKE_OS_TIME_H_
#define QUARN_TESTS_SUPPORT_FAKE_OS_TIME_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace fake_clock {

// The time after Reset.
constexpr std::uint64_t kStartNs = 1000000000;

// One call of os::SleepToNs or os::SleepToNsFast.
struct Sleep {
  std::uint64_t now;     // The time of the call.
  std::uint64_t target;  // The time asked for.
  bool fast;             // Whether it was SleepToNsFast.
};

// Called on every sleep, on the sleeping thread, before the target is compared with the clock: it may call Set or
// Advance to make the sleep late, stop the loop under test, or block until the test lets the sleeper go. No lock is
// held during the call.
using Hook = std::function<void(const Sleep& sleep)>;

// Puts the clock to kStartNs, forgets the recorded sleeps and removes the hook.
void Reset();

std::uint64_t Now();
void Set(std::uint64_t now);
void Advance(std::uint64_t ns);

void SetHook(Hook hook);

// What was slept for since Reset, in the order of the calls.
std::vector<Sleep> Sleeps();
// Their targets alone.
std::vector<std::uint64_t> Targets();

// Waits until `count` sleeps were called since Reset. Returns false after ten seconds without.
bool WaitForSleeps(std::size_t count);

}  // namespace fake_clock

#endif  // QUARN_TESTS_SUPPORT_FAKE_OS_TIME_H_
