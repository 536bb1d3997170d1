// What the canvas of quarn-preview should show, drawn on the processor.
#ifndef QUARN_TESTS_EXAMPLES_PREVIEW_SIGHT_H_
#define QUARN_TESTS_EXAMPLES_PREVIEW_SIGHT_H_

#include <vector>

#include "tests/examples/example_program.h"
#include "tests/support/image_compare.h"

// A layer as it lies on the canvas.
struct Box {
  double x, y, width, height, rotation_deg;
  int r, g, b;
};

// What the window should show: the layers in the order of drawing, and what is drawn over them.
struct Sight {
  std::vector<Box> boxes;
  int hovered = -1;  // Which of the boxes; -1 for none.
  int selected = -1;
  bool vertical_guide = false;
  bool horizontal_guide = false;
};

inline constexpr int kCanvasWidth = 200, kCanvasHeight = 120;
inline constexpr int kMargin = 5;  // Around it, in a window that is as large as it wants.

// Two layers, of which the second lies on top where they meet.
inline constexpr Box kOrange{-50, -20, 60, 40, 0, 192, 128, 64};
inline constexpr Box kBlue{-10, 10, 50, 50, 0, 64, 160, 192};
inline constexpr char kScene[] = R"({"canvas": [200, 120], "layers": [
  {"color": "#c08040", "size": [60, 40], "pos": [-50, -20]},
  {"color": "#40a0c0", "size": [50, 50], "pos": [-10, 10]}]})";

inline constexpr char kOneScene[] = R"({"canvas": [200, 120], "layers": [
  {"color": "#c08040", "size": [60, 40], "pos": [-50, -20]}]})";

Box At(Box box, double x, double y);
Box Sized(Box box, double width, double height);
Box Turned(Box box, double degrees);

// The judge of a sight: every pixel of it, but for those round the edges of layers when layers are turned or scaled,
// which smooths them.
class SightJudge {
 public:
  // `scale`: pixels for each of the canvas. `width`, `height`: of what is seen.
  SightJudge(const Sight& sight, double scale, int width, int height);

  // The first is silent. A picture of another size does not match.
  bool Likes(const test::Picture& seen) const;
  testing::AssertionResult Judge(const test::Picture& seen) const;

 private:
  // The seen picture with what is known of it in its place.
  test::Picture Wanted(const test::Picture& seen) const;

  const ReferenceFrame expected_;
  const test::Tolerance tolerance_;
};

#endif  // QUARN_TESTS_EXAMPLES_PREVIEW_SIGHT_H_
