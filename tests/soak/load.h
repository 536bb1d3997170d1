// A load like that of a program with a preview.
#ifndef QUARN_TESTS_SOAK_LOAD_H_
#define QUARN_TESTS_SOAK_LOAD_H_

namespace soak {

// Runs it for so long, prints its figures, and returns whether they are flat and add up.
bool RunLoad(int seconds);

}  // namespace soak

#endif  // QUARN_TESTS_SOAK_LOAD_H_
