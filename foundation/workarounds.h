// What is done only because a driver needs it, by name. docs/compatibility.md tells of each: which driver, what goes
// wrong without it, and which test shows that.
#ifndef QUARN_FOUNDATION_WORKAROUNDS_H_
#define QUARN_FOUNDATION_WORKAROUNDS_H_

#include <cstdint>

enum class Workaround : std::uint8_t {
  kSteadyWindow,    // "steady-window"
  kLookBeforeSwap,  // "look-before-swap"
  kGlxAside,        // "glx-aside"
  kDrawToBack,      // "draw-to-back"
  kNoReleaseFlush,  // "no-release-flush"
  kExitHandlers,    // "exit-handlers"
  kRequestLength,   // "request-length"
  kFinishToRead,    // "finish-to-read"
};

// Whether the workaround is in use. All are, but those that the environment variable QUARN_WORKAROUNDS turns off:
// "-steady-window,-glx-aside". That is for finding out whether a driver still needs it; a name that is not known is
// told of in a warning. The variable is read once, when the first device is made.
//
// Thread: any.
bool IsUsed(Workaround workaround);
// Reads the variable, unless that has been done.
void ReadWorkarounds();

// The workarounds as bits, 1 << static_cast<int>(Workaround), that a value of QUARN_WORKAROUNDS leaves in use; null
// leaves all.
std::uint32_t UsedWorkarounds(const char* setting);

#endif  // QUARN_FOUNDATION_WORKAROUNDS_H_
