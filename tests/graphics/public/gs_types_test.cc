// Value types: arithmetic, and conversions to the engine's.
#include <quarn/gs_types.h>

#include <gtest/gtest.h>

#include <type_traits>

#include "graphics/internal_types.h"

namespace {

static_assert(std::is_trivially_copyable_v<gs_vec2> && std::is_trivially_copyable_v<gs_vec3> &&
                  std::is_trivially_copyable_v<gs_transform>,
              "plain values");
static_assert(!std::is_default_constructible_v<gs_vec3> && !std::is_default_constructible_v<gs_transform> &&
                  !std::is_default_constructible_v<internal_vec2> &&
                  !std::is_default_constructible_v<internal_transform>,
              "these have no neutral value");
static_assert(sizeof(gs_vec2) == 8 && sizeof(gs_vec3) == 12 && sizeof(gs_transform) == 20, "floats and nothing else");

TEST(GsTypesTest, Vec2StartsAtZero) {
  const gs_vec2 v;
  EXPECT_EQ(v.x, 0.0f);
  EXPECT_EQ(v.y, 0.0f);
}

TEST(GsTypesTest, Vec2ScalesAndAdds) {
  const gs_vec2 scaled = gs_vec2(3, 4) * -0.5f;
  EXPECT_EQ(scaled.x, -1.5f);
  EXPECT_EQ(scaled.y, -2.0f);
  const gs_vec2 sum = gs_vec2(1, 2) + gs_vec2(3, 4);
  EXPECT_EQ(sum.x, 4.0f);
  EXPECT_EQ(sum.y, 6.0f);
}

TEST(GsTypesTest, Vec2Assigns) {
  gs_vec2 a(1, 2);
  const gs_vec2 b(3, 4);
  EXPECT_EQ(&(a = b), &a);
  EXPECT_EQ(a.x, 3.0f);
  EXPECT_EQ(a.y, 4.0f);
  gs_vec2& itself = a;
  EXPECT_EQ(&(a = itself), &a);
  EXPECT_EQ(a.x, 3.0f);
  EXPECT_EQ(a.y, 4.0f);
  const gs_vec2 copy(a);
  EXPECT_EQ(copy.y, 4.0f);
}

TEST(GsTypesTest, VectorsConvertToTheEngines) {
  const internal_vec2 v2 = gs_vec2(5, -6);
  EXPECT_EQ(v2.x, 5.0f);
  EXPECT_EQ(v2.y, -6.0f);
  const internal_vec3 v3 = gs_vec3(7, 8, 9);
  EXPECT_EQ(v3.x, 7.0f);
  EXPECT_EQ(v3.y, 8.0f);
  EXPECT_EQ(v3.z, 9.0f);
}

TEST(GsTypesTest, TransformConvertsToTheEngines) {
  const internal_transform t = gs_transform(gs_vec2(1, 2), gs_vec2(3, 4), 0.25f);
  EXPECT_EQ(t.pos.x, 1.0f);
  EXPECT_EQ(t.pos.y, 2.0f);
  EXPECT_EQ(t.size.x, 3.0f);
  EXPECT_EQ(t.size.y, 4.0f);
  EXPECT_EQ(t.rotation, 0.25f);
}

TEST(GsTypesTest, TransformWithoutRotationConvertsToZero) {
  const internal_transform t = gs_transform(gs_vec2(1, 2), gs_vec2(3, 4));
  EXPECT_EQ(t.rotation, 0.0f);
}

}  // namespace
