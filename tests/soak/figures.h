// What a process has of the system at one moment, and how that goes on in time.
#ifndef QUARN_TESTS_SOAK_FIGURES_H_
#define QUARN_TESTS_SOAK_FIGURES_H_

#include <cstddef>
#include <string>
#include <vector>

#include "tests/soak/gl_count.h"

namespace soak {

struct Figures {
  double at = 0;        // Seconds, or cycles, since the beginning.
  long resident = 0;    // Kilobytes of memory that the process has.
  long allocated = 0;   // Bytes that malloc has given out and not got back: the driver's as well.
  int descriptors = 0;  // Open files.
  int threads = 0;
  GLCounts gl{};  // Live objects.
};

// Reads all of them; `at` is the caller's.
Figures ReadFigures(double at);

// How fast a figure grows, per unit of `at`: the slope of the straight line that lies nearest.
template <class Value>
double Slope(const std::vector<Figures>& figures, Value value) {
  double sum_x = 0;
  double sum_y = 0;
  for (const Figures& f : figures) {
    sum_x += f.at;
    sum_y += static_cast<double>(value(f));
  }
  const double count = static_cast<double>(figures.size());
  double above = 0;
  double below = 0;
  for (const Figures& f : figures) {
    const double x = f.at - sum_x / count;
    above += x * (static_cast<double>(value(f)) - sum_y / count);
    below += x * x;
  }
  return below > 0 ? above / below : 0;
}

// One line: the figures of a moment.
std::string Line(const Figures& figures);

}  // namespace soak

#endif  // QUARN_TESTS_SOAK_FIGURES_H_
