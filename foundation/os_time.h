// The monotonic clock and sleeping until a time on it. All values are nanoseconds.
//
// The definitions are a link unit of their own, so that a test may stand a clock of its own in their place.
#ifndef QUARN_FOUNDATION_OS_TIME_H_
#define QUARN_FOUNDATION_OS_TIME_H_

#include <cstdint>

namespace os {

std::uint64_t GetTimeNs();

// Sleeps until `target`, precisely. Returns false at once when `target` has passed.
bool SleepToNs(unsigned long long target);

// Sleeps until `target` in steps of whole microseconds, up to 999,999 each. Returns false at once when `target` has
// passed.
bool SleepToNsFast(unsigned long long target);

}  // namespace os

#endif  // QUARN_FOUNDATION_OS_TIME_H_
