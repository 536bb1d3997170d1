// Whether figures stay where they are.
#ifndef QUARN_TESTS_SOAK_JUDGE_H_
#define QUARN_TESTS_SOAK_JUDGE_H_

#include <vector>

#include "tests/soak/figures.h"

namespace soak {

// What figures may grow by from the beginning of a run to its end, along their slopes, however long the run is.
struct Allowance {
  double kilobytes;  // Of resident memory.
  double bytes;      // Of what malloc gave out.
  double objects;    // Of what there is a whole number of.
};

// Judges the figures of a run after its warm-up, and prints how each goes on. `unit`: of Figures::at.
bool IsFlat(const std::vector<Figures>& figures, const Allowance& allowance, const char* unit);

}  // namespace soak

#endif  // QUARN_TESTS_SOAK_JUDGE_H_
