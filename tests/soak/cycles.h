// Things that are made, used and destroyed, over and over.
#ifndef QUARN_TESTS_SOAK_CYCLES_H_
#define QUARN_TESTS_SOAK_CYCLES_H_

#include <functional>
#include <string>
#include <vector>

namespace soak {

struct CycleKind {
  const char* name;
  // Makes what all cycles share and answers one cycle, which returns false when something did not work.
  std::function<bool()> (*prepare)();
};

const std::vector<CycleKind>& CycleKinds();

// Runs so many cycles of a kind after a warm-up, prints what they cost, and returns whether all of it is flat.
bool RunCycles(const CycleKind& kind, int cycles);

}  // namespace soak

#endif  // QUARN_TESTS_SOAK_CYCLES_H_
