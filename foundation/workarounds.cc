// The names of the workarounds, and what the environment says of them. Any thread enters.
#include "foundation/workarounds.h"

#include <cstdlib>
#include <cstring>

#include "foundation/logger.h"

namespace {

// In the order of the enumeration.
constexpr const char* kNames[] = {
    "steady-window",    "look-before-swap", "glx-aside",      "draw-to-back",
    "no-release-flush", "exit-handlers",    "request-length", "finish-to-read",
};
constexpr int kCount = sizeof(kNames) / sizeof(kNames[0]);
static_assert(kCount == static_cast<int>(Workaround::kFinishToRead) + 1, "a name for each workaround");

// The workaround of that name, as its number; kCount for none.
int Find(const char* name, std::size_t length) {
  int i = 0;
  while (i < kCount && (std::strlen(kNames[i]) != length || std::strncmp(kNames[i], name, length) != 0)) ++i;
  return i;
}

// As bits.
std::uint32_t Used() {
  static const std::uint32_t used = UsedWorkarounds(std::getenv("QUARN_WORKAROUNDS"));
  return used;
}

}  // namespace

bool IsUsed(Workaround workaround) { return (Used() >> static_cast<int>(workaround) & 1) != 0; }

void ReadWorkarounds() { Used(); }

std::uint32_t UsedWorkarounds(const char* setting) {
  std::uint32_t used = (1u << kCount) - 1;
  while (setting && *setting) {
    const std::size_t length = std::strcspn(setting, ",");
    const int found = *setting == '-' ? Find(setting + 1, length - 1) : kCount;
    if (found < kCount) {
      used &= ~(1u << found);
      Logger::default_logger()->Info("The workaround \"%s\" is turned off", kNames[found]);
    } else if (length > 0) {
      Logger::default_logger()->Warn("QUARN_WORKAROUNDS names no workaround by \"%.*s\": it takes -name,-name,...",
                                     static_cast<int>(length), setting);
    }
    setting += length;
    if (*setting == ',') ++setting;
  }
  return used;
}
