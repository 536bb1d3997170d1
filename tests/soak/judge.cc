#include "tests/soak/judge.h"

#include <cstdio>
#include <iterator>
#include <string>

#include "tests/soak/gl_count.h"

namespace soak {
namespace {

bool Judge(const std::string& what, const char* of, double slope, double length, double allowed, const char* unit) {
  const bool flat = slope * length <= allowed;
  std::printf("  %-22s %+12.4f %s a %s, %+.1f in all%s\n", what.c_str(), slope, of, unit, slope * length,
              flat ? "" : ": GROWS");
  return flat;
}

}  // namespace

bool IsFlat(const std::vector<Figures>& figures, const Allowance& allowance, const char* unit) {
  const double length = figures.back().at - figures.front().at;
  const auto slope = [&](auto value) { return Slope(figures, value); };
  bool flat = true;
  flat &= Judge("resident memory", "kB", slope([](const Figures& f) { return f.resident; }), length,
                allowance.kilobytes, unit);
  flat &= Judge("allocated memory", "B", slope([](const Figures& f) { return f.allocated; }), length, allowance.bytes,
                unit);
  flat &=
      Judge("descriptors", "", slope([](const Figures& f) { return f.descriptors; }), length, allowance.objects, unit);
  flat &= Judge("threads", "", slope([](const Figures& f) { return f.threads; }), length, allowance.objects, unit);
  for (std::size_t i = 0; i < std::size(kGLNames); ++i) {
    flat &= Judge(std::string("GL ") + kGLNames[i], "", slope([i](const Figures& f) { return f.gl[i]; }), length,
                  allowance.objects, unit);
  }
  return flat;
}

}  // namespace soak
