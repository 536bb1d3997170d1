#include "tests/support/cpu_reference.h"

#include <algorithm>
#include <cmath>

namespace test {
namespace {

unsigned char ToByte(float value) {
  return static_cast<unsigned char>(std::lround(std::clamp(value, 0.0f, 1.0f) * 255.0f));
}

Color ColorAt(const Picture& picture, int x, int y) {
  const unsigned char* const pixel =
      picture.at(std::clamp(x, 0, picture.width - 1), std::clamp(y, 0, picture.height - 1));
  return {static_cast<float>(pixel[0]) / 255.0f, static_cast<float>(pixel[1]) / 255.0f,
          static_cast<float>(pixel[2]) / 255.0f, static_cast<float>(pixel[3]) / 255.0f};
}

Color Mix(const Color& a, const Color& b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t, a.a + (b.a - a.a) * t};
}

// Calls visit(x, y, u, v) for every pixel of a target whose centre lies in the rectangle.
template <class Visit>
void ForEachCovered(int width, int height, const Placement& placement, const Edges& edges, const Visit& visit) {
  const double cosine = std::cos(static_cast<double>(placement.rotation));
  const double sine = std::sin(static_cast<double>(placement.rotation));
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double dx = x + 0.5 - width / 2.0 - placement.x;
      const double dy = y + 0.5 - height / 2.0 - placement.y;
      // Turned back into the rectangle's own frame.
      const double u = (dx * cosine + dy * sine) / placement.width + 0.5;
      const double v = (dy * cosine - dx * sine) / placement.height + 0.5;
      const bool across = (u > 0.0 && u < 1.0) || (edges.left && u == 0.0) || (edges.right && u == 1.0);
      const bool down = (v > 0.0 && v < 1.0) || (edges.top && v == 0.0) || (edges.bottom && v == 1.0);
      if (across && down) visit(x, y, static_cast<float>(u), static_cast<float>(v));
    }
  }
}

// One channel of limited-range BT.709, 0 to 1 for the code values 0 to 255.
struct Weights {
  double r;
  double g;
  double b;
  double offset;
};

constexpr double kRed = 0.2126;
constexpr double kBlue = 0.0722;
constexpr double kGreen = 1.0 - kRed - kBlue;

constexpr Weights kY = {219.0 * kRed / 255.0, 219.0 * kGreen / 255.0, 219.0 * kBlue / 255.0, 16.0 / 255.0};
constexpr Weights kU = {-112.0 / 255.0 * kRed / (1.0 - kBlue), -112.0 / 255.0 * kGreen / (1.0 - kBlue), 112.0 / 255.0,
                        128.0 / 255.0};
constexpr Weights kV = {112.0 / 255.0, -112.0 / 255.0 * kGreen / (1.0 - kRed), -112.0 / 255.0 * kBlue / (1.0 - kRed),
                        128.0 / 255.0};

Picture ConvertPlane(const Picture& source, int width, int height, const FittedSize& size, const Weights& weights,
                     const Edges& edges) {
  Picture plane(width, height, 1);
  ForEachCovered(width, height, {0.0f, 0.0f, size.width, size.height}, edges, [&](int x, int y, float u, float v) {
    const Color color = SampleLinear(source, u, v);
    *plane.at(x, y) =
        ToByte(static_cast<float>(weights.r * color.r + weights.g * color.g + weights.b * color.b + weights.offset));
  });
  return plane;
}

}  // namespace

Color SampleLinear(const Picture& picture, float u, float v) {
  const float x = u * static_cast<float>(picture.width) - 0.5f;
  const float y = v * static_cast<float>(picture.height) - 0.5f;
  const int left = static_cast<int>(std::floor(x));
  const int top = static_cast<int>(std::floor(y));
  const float right_share = x - static_cast<float>(left);
  const float bottom_share = y - static_cast<float>(top);
  return Mix(Mix(ColorAt(picture, left, top), ColorAt(picture, left + 1, top), right_share),
             Mix(ColorAt(picture, left, top + 1), ColorAt(picture, left + 1, top + 1), right_share), bottom_share);
}

Canvas::Canvas(int width, int height, const Color& clear) : picture_(width, height, 4) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      unsigned char* const pixel = picture_.at(x, y);
      pixel[0] = ToByte(clear.r);
      pixel[1] = ToByte(clear.g);
      pixel[2] = ToByte(clear.b);
      pixel[3] = ToByte(clear.a);
    }
  }
}

void Canvas::Draw(const Placement& placement, const Shading& shading, bool blend, const Edges& edges) {
  ForEachCovered(picture_.width, picture_.height, placement, edges, [&](int x, int y, float u, float v) {
    const Color source = shading(u, v);
    const Color color = blend ? Mix(ColorAt(picture_, x, y), source, source.a) : source;
    unsigned char* const pixel = picture_.at(x, y);
    pixel[0] = ToByte(color.r);
    pixel[1] = ToByte(color.g);
    pixel[2] = ToByte(color.b);
    pixel[3] = ToByte(color.a);
  });
}

void Canvas::DrawSolid(const Placement& placement, const Color& color, bool blend) {
  Draw(
      placement, [&color](float, float) { return color; }, blend);
}

void Canvas::DrawPicture(const Placement& placement, const Picture& picture, bool blend, const Edges& edges) {
  Draw(
      placement, [&picture](float u, float v) { return SampleLinear(picture, u, v); }, blend, edges);
}

FittedSize FitSize(int source_width, int source_height, int width, int height) {
  const float w = static_cast<float>(width);
  const float h = static_cast<float>(height);
  if (source_width == width && source_height == height) return {w, h};
  const float source_aspect = static_cast<float>(source_width) / static_cast<float>(source_height);
  if (source_aspect > w / h) return {w, w / source_aspect};
  return {h * source_aspect, h};
}

Picture FitPicture(const Picture& source, int width, int height, const Edges& edges) {
  const FittedSize size = FitSize(source.width, source.height, width, height);
  Canvas canvas(width, height, kOpaqueBlack);
  canvas.DrawPicture({0.0f, 0.0f, size.width, size.height}, source, /*blend=*/false, edges);
  return canvas.picture();
}

YuvPlanes ConvertToYuv(const Picture& source, int width, int height, const Edges& edges) {
  const FittedSize size = FitSize(source.width, source.height, width, height);
  const FittedSize half = {size.width / 2.0f, size.height / 2.0f};
  YuvPlanes planes;
  planes.y = ConvertPlane(source, width, height, size, kY, edges);
  planes.u = ConvertPlane(source, width / 2, height / 2, half, kU, edges);
  planes.v = ConvertPlane(source, width / 2, height / 2, half, kV, edges);
  planes.uv = Picture(width / 2, height / 2, 2);
  for (int y = 0; y < height / 2; ++y) {
    for (int x = 0; x < width / 2; ++x) {
      planes.uv.at(x, y)[0] = *planes.u.at(x, y);
      planes.uv.at(x, y)[1] = *planes.v.at(x, y);
    }
  }
  return planes;
}

::testing::AssertionResult PicturesMatchWithEdges(const Picture& actual,
                                                  const std::function<Picture(const Edges& edges)>& reference,
                                                  const Tolerance& tolerance) {
  for (const bool left : {true, false}) {
    for (const bool right : {false, true}) {
      for (const bool top : {false, true}) {
        for (const bool bottom : {true, false}) {
          const Picture expected = reference({left, right, top, bottom});
          if (AreAlike(actual, expected, tolerance)) return PicturesMatch(actual, expected, tolerance);
        }
      }
    }
  }
  return PicturesMatch(actual, reference(Edges()), tolerance);
}

}  // namespace test
