#include "tests/support/cpu_reference.h"

#include <gtest/gtest.h>

namespace test {
namespace {

constexpr Color kWhite = {1, 1, 1, 1};

// A white rectangle whose left and right edges lie on the centres of the columns 1 and 5, and no other on any.
Picture Reference(const Edges& edges) {
  Canvas canvas(7, 6, kOpaqueBlack);
  canvas.Draw(
      {0, 0, 4, 4}, [](float, float) { return kWhite; }, /*blend=*/false, edges);
  return canvas.picture();
}

bool Matches(const Picture& actual) { return bool{PicturesMatchWithEdges(actual, Reference, {2})}; }

void Fill(Picture* picture, int x, int y, unsigned char value) {
  for (int channel = 0; channel < 3; ++channel) picture->at(x, y)[channel] = value;
}

TEST(PicturesMatchWithEdgesTest, AcceptsEachEdgeEitherWay) {
  for (const bool left : {false, true}) {
    for (const bool right : {false, true}) {
      const Picture picture = Reference({left, right, false, false});
      EXPECT_EQ(picture.at(1, 2)[0], left ? 255 : 0);
      EXPECT_EQ(picture.at(5, 2)[0], right ? 255 : 0);
      EXPECT_TRUE(Matches(picture));
    }
  }
}

TEST(PicturesMatchWithEdgesTest, RefusesHalfAnEdge) {
  Picture picture = Reference({});
  Fill(&picture, 1, 3, 0);
  EXPECT_FALSE(Matches(picture));
}

TEST(PicturesMatchWithEdgesTest, RefusesAnotherValueOnAnEdge) {
  Picture picture = Reference({});
  for (int y = 1; y < 5; ++y) Fill(&picture, 1, y, 128);
  EXPECT_FALSE(Matches(picture));
}

TEST(PicturesMatchWithEdgesTest, RefusesAnotherValueBesideAnEdge) {
  for (const int x : {0, 2, 4, 6}) {
    Picture picture = Reference({});
    Fill(&picture, x, 2, picture.at(x, 2)[0] ? 0 : 255);
    EXPECT_FALSE(Matches(picture)) << x;
  }
  // The upper edge lies between two rows.
  Picture picture = Reference({});
  for (int x = 0; x < 7; ++x) Fill(&picture, x, 1, 0);
  EXPECT_FALSE(Matches(picture));
}

}  // namespace
}  // namespace test
