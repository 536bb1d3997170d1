#include "studio/frame_rate.h"

#include <cmath>

#include "studio/av.h"
#include "studio/error.h"
#include "studio/layer_text.h"

namespace studio {
namespace {

constexpr std::int64_t kSecondNs = 1000000000;
constexpr int kMaxFps = 1000;
constexpr int kMaxTerm = 1001 * kMaxFps;

// Television's rates are whole ones, slowed down by 1001/1000, and written with two or three digits.
constexpr double kSlowed = 1.001;
constexpr double kWritten = 0.005;

AVRational ToFraction(double fps) {
  const double whole = std::round(fps);
  const double slowed = std::round(fps * kSlowed);
  if (fps != whole && std::fabs(slowed / kSlowed - fps) < kWritten) return {static_cast<int>(slowed) * 1000, 1001};
  return av_d2q(fps, kMaxTerm);
}

}  // namespace

std::int64_t FrameRate::TimeNs(std::int64_t index) const { return av_rescale(index, kSecondNs * den, num); }

std::int64_t FrameRate::IndexAt(std::int64_t time_ns) const { return av_rescale(time_ns, num, kSecondNs * den); }

std::string FrameRate::Text() const {
  return std::to_string(num) + (den == 1 ? std::string() : "/" + std::to_string(den));
}

FrameRate ParseFrameRate(const std::string& text) {
  const std::string bad = "\"" + text + "\" is not a frame rate: must be 1 to " + std::to_string(kMaxFps) +
                          " frames a second, or a fraction such as 30000/1001";
  const std::size_t slash = text.find('/');
  const double num = ParseNumber(text.substr(0, slash));
  const double den = slash == std::string::npos ? 1 : ParseNumber(text.substr(slash + 1));
  if (!(den > 0 && num >= den && num <= kMaxFps * den)) throw UsageError(bad);
  if (slash == std::string::npos) {
    const AVRational fraction = ToFraction(num);
    return {fraction.num, fraction.den};
  }
  const bool whole = num == std::floor(num) && den == std::floor(den) && num <= kMaxTerm && den <= kMaxTerm;
  if (!whole) throw UsageError(bad);
  FrameRate rate;
  av_reduce(&rate.num, &rate.den, static_cast<std::int64_t>(num), static_cast<std::int64_t>(den), kMaxTerm);
  return rate;
}

}  // namespace studio
