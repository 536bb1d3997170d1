#include "preview/viewport.h"

#include <algorithm>
#include <cmath>

namespace preview {
namespace {

using studio::Size;
using studio::Vec;

constexpr float kMarginPx = 10;    // What is left free around the canvas, both sides together.
constexpr float kFarthest = 1e6f;  // As far from the canvas' centre as anybody gets.

bool IsNumber(Vec v) { return std::isfinite(v.x) && std::isfinite(v.y); }

}  // namespace

Viewport::Viewport(Size canvas) : canvas_{std::max(1, canvas.width), std::max(1, canvas.height)} { Fit(); }

Vec Viewport::Middle() const {
  return Vec{static_cast<float>(window_.width) / 2, static_cast<float>(window_.height) / 2};
}

void Viewport::Show(Vec center, float scale) {
  center_ = Vec{std::clamp(center.x, -kFarthest, kFarthest), std::clamp(center.y, -kFarthest, kFarthest)};
  scale_ = std::clamp(scale, kMinZoom, kMaxZoom);
}

// At which what has that size fills the window, but for the margin.
float Viewport::ScaleFor(Vec size) const {
  const auto scale = [](int window, float side) {
    return std::max(1.0f, static_cast<float>(window) - kMarginPx) / std::max(1.0f, side);
  };
  return std::min(scale(window_.width, size.x), scale(window_.height, size.y));
}

void Viewport::Resize(Size window) {
  window_ = Size{std::max(1, window.width), std::max(1, window.height)};
  if (fits_) Fit();
}

void Viewport::Fit() {
  Show(Vec(), ScaleFor(Vec{static_cast<float>(canvas_.width), static_cast<float>(canvas_.height)}));
  fits_ = true;
}

void Viewport::FitTo(const Box& part) {
  if (!IsNumber(part.min) || !IsNumber(part.max)) return;
  const Vec size{part.max.x - part.min.x, part.max.y - part.min.y};
  Show(part.Center(), std::min(1.0f, ScaleFor(size)));
  fits_ = false;
}

void Viewport::ZoomAt(Vec pixel, float factor) {
  if (!IsNumber(pixel) || !std::isfinite(factor) || factor <= 0) return;
  const Vec kept = ToCanvas(pixel);
  const float scale = std::clamp(scale_ * factor, kMinZoom, kMaxZoom);
  const Vec middle = Middle();
  Show(Vec{kept.x - (pixel.x - middle.x) / scale, kept.y - (pixel.y - middle.y) / scale}, scale);
  fits_ = false;
}

void Viewport::SetZoom(float scale) {
  if (!std::isfinite(scale) || scale <= 0) return;
  Show(center_, scale);
  fits_ = false;
}

void Viewport::Pan(Vec pixels) {
  if (!IsNumber(pixels)) return;
  Show(Vec{center_.x - pixels.x / scale_, center_.y - pixels.y / scale_}, scale_);
  fits_ = false;
}

Vec Viewport::ToCanvas(Vec pixel) const {
  const Vec middle = Middle();
  return Vec{center_.x + (pixel.x - middle.x) / scale_, center_.y + (pixel.y - middle.y) / scale_};
}

Vec Viewport::ToPixels(Vec canvas) const {
  const Vec middle = Middle();
  return Vec{middle.x + (canvas.x - center_.x) * scale_, middle.y + (canvas.y - center_.y) * scale_};
}

}  // namespace preview
