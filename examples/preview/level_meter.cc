#include "preview/level_meter.h"

#include <algorithm>
#include <cmath>

#include <QPainter>

namespace preview {
namespace {

constexpr float kLowestDb = -60;
constexpr float kFall = 0.02f;  // Of the scale, each time.
constexpr float kLoud = 0.8f, kTooLoud = 0.95f;
constexpr QRgb kQuietColor = 0xff3fb950, kLoudColor = 0xffd29922, kTooLoudColor = 0xfff85149;

}  // namespace

LevelMeter::LevelMeter(QWidget* parent) : QWidget(parent) {
  setAccessibleName("Level of the film's sound");
  setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize LevelMeter::sizeHint() const { return {90, 8}; }

void LevelMeter::SetLevel(float level) {
  const float place = level > 0 ? std::clamp(1 - 20 * std::log10(level) / kLowestDb, 0.0f, 1.0f) : 0;
  const float next = std::max(place, shown_ - kFall);
  if (next == shown_) return;
  shown_ = std::max(next, 0.0f);
  update();
}

void LevelMeter::paintEvent(QPaintEvent* /*event*/) {
  QPainter painter(this);
  painter.fillRect(rect(), palette().base());
  const auto fill = [&](float from, float to, QRgb color) {
    const int left = static_cast<int>(std::lround(from * width()));
    const int right = static_cast<int>(std::lround(std::min(to, shown_) * width()));
    if (right > left) painter.fillRect(left, 0, right - left, height(), QColor(color));
  };
  fill(0, kLoud, kQuietColor);
  fill(kLoud, kTooLoud, kLoudColor);
  fill(kTooLoud, 1, kTooLoudColor);
}

}  // namespace preview
