// The monotonic clock. Any thread enters.
#include "foundation/os_time.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>

namespace os {

namespace {

constexpr std::uint64_t kNsPerSecond = 1000000000;
constexpr std::uint64_t kLongestStepUs = 999999;  // usleep may refuse a whole second.

}  // namespace

std::uint64_t GetTimeNs() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<std::uint64_t>(ts.tv_sec) * kNsPerSecond + static_cast<std::uint64_t>(ts.tv_nsec);
}

bool SleepToNs(unsigned long long target) {
  const std::uint64_t now = GetTimeNs();
  if (target < now) return false;
  timespec left{};
  left.tv_sec = static_cast<time_t>((target - now) / kNsPerSecond);
  left.tv_nsec = static_cast<long>((target - now) % kNsPerSecond);
  timespec remaining{};
  while (nanosleep(&left, &remaining) != 0 && errno == EINTR) left = remaining;
  return true;
}

bool SleepToNsFast(unsigned long long target) {
  std::uint64_t now = GetTimeNs();
  if (target < now) return false;
  do {
    const std::uint64_t left_us = (target - now + 999) / 1000;
    usleep(static_cast<useconds_t>(std::min(left_us, kLongestStepUs)));
    now = GetTimeNs();
  } while (target > now);
  return true;
}

}  // namespace os
