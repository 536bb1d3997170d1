#include "graphics/internal_types.h"

#include <gtest/gtest.h>

namespace {

TEST(InternalTypesTest, DefaultsAreZero) {
  const internal_vec3 v3;
  EXPECT_EQ(v3.x, 0.0f);
  EXPECT_EQ(v3.y, 0.0f);
  EXPECT_EQ(v3.z, 0.0f);
  const internal_vec4 v4;
  EXPECT_EQ(v4.x, 0.0f);
  EXPECT_EQ(v4.y, 0.0f);
  EXPECT_EQ(v4.z, 0.0f);
  EXPECT_EQ(v4.w, 0.0f);
}

TEST(InternalTypesTest, DotAddsTheFirstTwoProductsFirst) {
  EXPECT_EQ(internal_vec3(1.0f, 2.0f, 3.0f).dot(internal_vec3(4.0f, 5.0f, 6.0f)), 32.0f);
  // (1e8 - 1e8) + 1 is 1; in any other order the 1 is lost.
  EXPECT_EQ(internal_vec3(1e8f, -1e8f, 1.0f).dot(internal_vec3(1.0f, 1.0f, 1.0f)), 1.0f);
}

TEST(InternalTypesTest, XyzDropsTheFourthComponent) {
  internal_vec4 v;
  v.x = 1.0f;
  v.y = 2.0f;
  v.z = 3.0f;
  v.w = 4.0f;
  const internal_vec3 xyz = v.xyz();
  EXPECT_EQ(xyz.x, 1.0f);
  EXPECT_EQ(xyz.y, 2.0f);
  EXPECT_EQ(xyz.z, 3.0f);
}

TEST(InternalTypesTest, TransformOfASizeFillsThatTarget) {
  const internal_transform transform(internal_vec2(640.0f, 480.0f));
  EXPECT_EQ(transform.pos.x, 0.0f);
  EXPECT_EQ(transform.pos.y, 0.0f);
  EXPECT_EQ(transform.size.x, 640.0f);
  EXPECT_EQ(transform.size.y, 480.0f);
  EXPECT_EQ(transform.rotation, 0.0f);
}

TEST(InternalTypesTest, TransformKeepsItsParts) {
  const internal_transform transform(internal_vec2(1.0f, 2.0f), internal_vec2(3.0f, 4.0f), 5.0f);
  EXPECT_EQ(transform.pos.x, 1.0f);
  EXPECT_EQ(transform.pos.y, 2.0f);
  EXPECT_EQ(transform.size.x, 3.0f);
  EXPECT_EQ(transform.size.y, 4.0f);
  EXPECT_EQ(transform.rotation, 5.0f);
}

}  // namespace
