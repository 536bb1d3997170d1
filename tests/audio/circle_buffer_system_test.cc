// The memory of a ring, with a system that counts and refuses.
#include "audio/circle_buffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "tests/audio/audio_system.h"

namespace {

using audio_system::mapping_sizes;
using audio_system::mappings_until_failure;
using testing::ElementsAre;

using CircleBufferSystemTest = audio_system::Test;

TEST_F(CircleBufferSystemTest, TakesItsMemoryOnce) {
  std::vector<std::size_t> sizes;
  mapping_sizes = &sizes;
  CircleBuffer<float> buffer(1000);
  const std::vector<float> samples(1000);
  std::vector<float> popped(1000);
  for (int i = 0; i < 10; ++i) {
    buffer.PushBack(samples.data(), 700);
    buffer.PopFront(popped.data(), 300);
  }
  mapping_sizes = nullptr;
  EXPECT_THAT(sizes, ElementsAre(4000));
}

TEST_F(CircleBufferSystemTest, IsInertWithoutMemory) {
  mappings_until_failure = 0;
  CircleBuffer<float> buffer(1000);
  EXPECT_FALSE(buffer.valid());
  const std::vector<float> samples(3000);
  buffer.PushBack(samples.data(), 3000);
  buffer.PushBack(samples.data(), 3);
  EXPECT_EQ(buffer.size(), 0u);
  float sample = 7;
  EXPECT_EQ(buffer.PopFront(&sample, 1), 0u);
  EXPECT_EQ(buffer.PopFront(nullptr, 1), 0u);
  EXPECT_EQ(sample, 7);
  buffer.Clear();
}

}  // namespace
