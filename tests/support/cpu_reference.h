// What the GPU should have drawn, computed plainly on the CPU: the judge of every picture test. It shares no code with
// the engine.
//
//   test::Canvas canvas(640, 360, test::kOpaqueBlack);
//   canvas.DrawPicture({0, 0, 320, 180}, photo);                        // Centred.
//   canvas.DrawSolid({-100, 50, 80, 40, 0.5f}, {1, 0, 0, 0.5f});        // Left and below of the centre, turned.
//   EXPECT_TRUE(test::PicturesMatch(delivered, canvas.picture(), {2}));
//
//   const test::YuvPlanes planes = test::ConvertToYuv(canvas.picture(), 640, 360);
#ifndef QUARN_TESTS_SUPPORT_CPU_REFERENCE_H_
#define QUARN_TESTS_SUPPORT_CPU_REFERENCE_H_

#include <functional>

#include "tests/support/image_compare.h"

namespace test {

// 0 to 1 a channel, alpha not multiplied in.
struct Color {
  float r;
  float g;
  float b;
  float a;
};

constexpr Color kOpaqueBlack = {0.0f, 0.0f, 0.0f, 1.0f};
constexpr Color kTransparentBlack = {0.0f, 0.0f, 0.0f, 0.0f};

// As a host places a rectangle: its centre in pixels from the target's centre, y downwards; its size in pixels;
// radians, clockwise as one sees it.
struct Placement {
  float x;
  float y;
  float width;
  float height;
  float rotation = 0.0f;
};

// The colour at a place of the rectangle: (0, 0) is its top left corner, (1, 1) its bottom right one.
using Shading = std::function<Color(float u, float v)>;

// GL_LINEAR with GL_CLAMP_TO_EDGE of an RGBA picture that shows upright; (0, 0) is its top left corner.
Color SampleLinear(const Picture& picture, float u, float v);

// Which edges of a rectangle have the pixels whose centres lie exactly on them. GL leaves it to the driver, and says
// only that of two rectangles which share the edge one does. These are the edges of drivers that count rows from the
// bottom.
struct Edges {
  bool left = true;
  bool right = false;
  bool top = false;
  bool bottom = true;
};

// A target of 8 bits a channel, R G B A. A pixel belongs to a rectangle when its centre does; of centres on an edge,
// those that Edges says.
class Canvas {
 public:
  Canvas(int width, int height, const Color& clear);

  // With `blend`, colours are mixed as scenes mix them: all four channels by the alpha of what is drawn. Else they are
  // stored as they are.
  void Draw(const Placement& placement, const Shading& shading, bool blend = true, const Edges& edges = {});
  void DrawSolid(const Placement& placement, const Color& color, bool blend = true);
  void DrawPicture(const Placement& placement, const Picture& picture, bool blend = true, const Edges& edges = {});

  const Picture& picture() const { return picture_; }

 private:
  Picture picture_;
};

// The largest size of the source's aspect ratio inside the target, as an output and a view fit a scene.
struct FittedSize {
  float width;
  float height;
};
FittedSize FitSize(int source_width, int source_height, int width, int height);

// What an RGBA output of that size delivers of a scene that shows `source`: fitted and centred, the rest opaque black.
Picture FitPicture(const Picture& source, int width, int height, const Edges& edges = {});

// The planes of limited-range BT.709 that an I420 or NV12 output of that size delivers of a scene that shows `source`.
// Each plane is drawn at its own size: chroma samples the source once for each of its pixels. What the source does not
// cover is zero in every plane. Halves of odd sides are truncated.
struct YuvPlanes {
  Picture y;  // One channel.
  Picture u;  // One channel, width / 2 x height / 2.
  Picture v;
  Picture uv;  // The two of them as pairs.
};
YuvPlanes ConvertToYuv(const Picture& source, int width, int height, const Edges& edges = {});

// PicturesMatch with a reference whose edges are those of the driver: the picture must be the reference for one way to
// decide each of them. A pixel that lies on no edge has one value as ever.
::testing::AssertionResult PicturesMatchWithEdges(const Picture& actual,
                                                  const std::function<Picture(const Edges& edges)>& reference,
                                                  const Tolerance& tolerance);

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_CPU_REFERENCE_H_
