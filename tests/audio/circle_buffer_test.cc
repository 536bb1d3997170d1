#include "audio/circle_buffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <vector>

#include "tests/audio/model_ring.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

template <class T>
std::vector<T> Count(int first, std::size_t count) {
  std::vector<T> samples(count);
  for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<T>(first + static_cast<int>(i));
  return samples;
}

// Pushes samples that count up from `first`.
template <class T>
void PushCount(CircleBuffer<T>* buffer, int first, std::size_t count) {
  const std::vector<T> samples = Count<T>(first, count);
  buffer->PushBack(samples.data(), count);
}

template <class T>
std::vector<T> Pop(CircleBuffer<T>* buffer, std::size_t count) {
  std::vector<T> samples(std::min(count, buffer->size()));
  EXPECT_EQ(buffer->PopFront(samples.data(), count), samples.size());
  return samples;
}

// Empty, with its indices at `at`.
template <class T>
void EmptyAt(CircleBuffer<T>* buffer, std::size_t at) {
  buffer->Clear();
  PushCount(buffer, 0, at);
  ASSERT_EQ(buffer->PopFront(nullptr, at), at);
  ASSERT_EQ(buffer->size(), 0u);
}

template <class T>
class CircleBufferTest : public testing::Test {};

using SampleTypes = testing::Types<short, float>;
TYPED_TEST_SUITE(CircleBufferTest, SampleTypes);

TYPED_TEST(CircleBufferTest, StartsEmpty) {
  CircleBuffer<TypeParam> buffer(100);
  EXPECT_TRUE(buffer.valid());
  EXPECT_EQ(buffer.size(), 0u);
  TypeParam sample = 7;
  EXPECT_EQ(buffer.PopFront(&sample, 1), 0u);
  EXPECT_EQ(sample, 7);
}

TYPED_TEST(CircleBufferTest, GivesBackInOrder) {
  CircleBuffer<TypeParam> buffer(100);
  PushCount(&buffer, 1, 3);
  PushCount(&buffer, 4, 2);
  EXPECT_EQ(buffer.size(), 5u);
  EXPECT_THAT(Pop(&buffer, 2), ElementsAre(1, 2));
  EXPECT_EQ(buffer.size(), 3u);
  EXPECT_THAT(Pop(&buffer, 2), ElementsAre(3, 4));
}

TYPED_TEST(CircleBufferTest, PopGivesNoMoreThanThereIs) {
  CircleBuffer<TypeParam> buffer(100);
  PushCount(&buffer, 1, 3);
  std::vector<TypeParam> samples(10, 42);
  EXPECT_EQ(buffer.PopFront(samples.data(), 10), 3u);
  EXPECT_EQ(samples[2], 3);
  EXPECT_EQ(samples[3], 42);
  EXPECT_EQ(buffer.size(), 0u);
}

TYPED_TEST(CircleBufferTest, PopOfNothingTakesNothing) {
  CircleBuffer<TypeParam> buffer(100);
  PushCount(&buffer, 1, 3);
  TypeParam sample = 7;
  EXPECT_EQ(buffer.PopFront(&sample, 0), 0u);
  EXPECT_EQ(sample, 7);
  EXPECT_EQ(buffer.size(), 3u);
}

TYPED_TEST(CircleBufferTest, PopToNullDiscardsAndReturnsTheCount) {
  CircleBuffer<TypeParam> buffer(100);
  PushCount(&buffer, 1, 5);
  EXPECT_EQ(buffer.PopFront(nullptr, 2), 2u);
  EXPECT_EQ(buffer.size(), 3u);
  EXPECT_THAT(Pop(&buffer, 1), ElementsAre(3));
  EXPECT_EQ(buffer.PopFront(nullptr, 10), 2u);
  EXPECT_EQ(buffer.size(), 0u);
}

TYPED_TEST(CircleBufferTest, PopToNullGoesRoundTheEnd) {
  CircleBuffer<TypeParam> buffer(100);
  EmptyAt(&buffer, 95);
  PushCount(&buffer, 1, 10);
  EXPECT_EQ(buffer.PopFront(nullptr, 7), 7u);
  EXPECT_THAT(Pop(&buffer, kAll), ElementsAre(8, 9, 10));
}

TYPED_TEST(CircleBufferTest, PopGoesRoundTheEnd) {
  CircleBuffer<TypeParam> buffer(100);
  EmptyAt(&buffer, 95);
  PushCount(&buffer, 1, 10);
  EXPECT_EQ(Pop(&buffer, 8), Count<TypeParam>(1, 8));
  EXPECT_THAT(Pop(&buffer, kAll), ElementsAre(9, 10));
}

TYPED_TEST(CircleBufferTest, PopThatEndsAtTheEndGoesOnFromTheStart) {
  CircleBuffer<TypeParam> buffer(100);
  EmptyAt(&buffer, 95);
  PushCount(&buffer, 1, 10);
  EXPECT_EQ(Pop(&buffer, 5), Count<TypeParam>(1, 5));
  EXPECT_EQ(buffer.size(), 5u);
  EXPECT_EQ(Pop(&buffer, 5), Count<TypeParam>(6, 5));
}

TYPED_TEST(CircleBufferTest, NullPushDoesNothing) {
  CircleBuffer<TypeParam> buffer(100);
  PushCount(&buffer, 1, 2);
  buffer.PushBack(nullptr, 5);
  buffer.PushBack(nullptr, 1000);
  EXPECT_EQ(buffer.size(), 2u);
}

TYPED_TEST(CircleBufferTest, PushOfNothingDoesNothing) {
  CircleBuffer<TypeParam> buffer(10);
  const TypeParam sample = 1;
  buffer.PushBack(&sample, 0);
  EXPECT_EQ(buffer.size(), 0u);
  PushCount(&buffer, 0, 10);
  buffer.PushBack(&sample, 0);
  EXPECT_EQ(buffer.size(), 10u);
}

TYPED_TEST(CircleBufferTest, ClearForgetsEverything) {
  CircleBuffer<TypeParam> buffer(100);
  EmptyAt(&buffer, 95);
  PushCount(&buffer, 1, 10);
  buffer.Clear();
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_THAT(Pop(&buffer, 10), IsEmpty());
  // The indices are at the start again: nothing of these goes round the end, so none is dropped.
  PushCount(&buffer, 1, 99);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(1, 99));
}

TYPED_TEST(CircleBufferTest, KeepsNewestWhenPushExceedsCapacity) {
  CircleBuffer<TypeParam> buffer(800);
  PushCount(&buffer, 0, 1000);
  // The last 800 fill it to its very end, and coming round costs the reserve of 8.
  EXPECT_EQ(buffer.size(), 792u);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(208, 792));
}

TYPED_TEST(CircleBufferTest, KeepsNewestOfAPushThatComesRound) {
  CircleBuffer<TypeParam> buffer(800);
  PushCount(&buffer, 0, 20);
  PushCount(&buffer, 20, 800);
  EXPECT_EQ(buffer.size(), 792u) << "its last 20 overtake the reader that was raised to 8";
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(28, 792));
}

TYPED_TEST(CircleBufferTest, PushThatMeetsItsOwnStartDropsIt) {
  CircleBuffer<TypeParam> buffer(800);
  EmptyAt(&buffer, 795);
  PushCount(&buffer, 0, 800);
  EXPECT_EQ(buffer.size(), 795u) << "the first five lay at the end, where the rest came round to";
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(5, 795));
}

TYPED_TEST(CircleBufferTest, WriteShortOfTheEndDoesNotWrap) {
  CircleBuffer<TypeParam> buffer(1000);
  PushCount(&buffer, 0, 999);
  EXPECT_EQ(buffer.size(), 999u);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(0, 999));
}

TYPED_TEST(CircleBufferTest, WriteThatEndsAtTheEndWraps) {
  CircleBuffer<TypeParam> buffer(1000);
  PushCount(&buffer, 0, 990);
  PushCount(&buffer, 990, 10);
  EXPECT_EQ(buffer.size(), 990u) << "the reader is raised to the reserve of 10 at once";
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(10, 990));
}

TYPED_TEST(CircleBufferTest, WriterThatComesRoundOvertakesTheReader) {
  CircleBuffer<TypeParam> buffer(1000);
  PushCount(&buffer, 0, 990);
  PushCount(&buffer, 990, 20);
  EXPECT_EQ(buffer.size(), 990u);
  // The reader stands at 20, the writer at 10: nine samples fit in between.
  PushCount(&buffer, 1010, 9);
  EXPECT_EQ(buffer.size(), 999u);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(20, 999));
}

TYPED_TEST(CircleBufferTest, WriterThatReachesTheReaderDropsAsManyAsItWrites) {
  CircleBuffer<TypeParam> buffer(1000);
  PushCount(&buffer, 0, 990);
  PushCount(&buffer, 990, 20);
  // Ten would just reach the reader, which is too many already: ten old ones go, and the gap stays.
  PushCount(&buffer, 1010, 10);
  EXPECT_EQ(buffer.size(), 990u);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(30, 990));
}

TYPED_TEST(CircleBufferTest, ReaderAheadOfTheReserveIsNotRaised) {
  CircleBuffer<TypeParam> buffer(1000);
  PushCount(&buffer, 0, 990);
  EXPECT_EQ(buffer.PopFront(nullptr, 10), 10u);
  PushCount(&buffer, 990, 10);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(10, 990));

  buffer.Clear();
  PushCount(&buffer, 0, 990);
  EXPECT_EQ(buffer.PopFront(nullptr, 9), 9u);
  PushCount(&buffer, 990, 10);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(10, 990)) << "one sample before the reserve went";
}

TYPED_TEST(CircleBufferTest, OvertakingUpToTheEndDropsTheOlderPiece) {
  CircleBuffer<TypeParam> buffer(1000);
  EmptyAt(&buffer, 900);
  PushCount(&buffer, 0, 400);  // The reader stands at 900, the writer at 300, with the older 100 before the end.
  ASSERT_EQ(buffer.size(), 400u);
  PushCount(&buffer, 400, 99);
  ASSERT_EQ(buffer.size(), 499u) << "there was room";
  PushCount(&buffer, 499, 600);
  EXPECT_EQ(buffer.size(), 999u) << "the older 100 went, and then there was room for all";
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(100, 999));
}

TYPED_TEST(CircleBufferTest, WithoutReserveItFillsToItsCapacity) {
  CircleBuffer<TypeParam> buffer(10);
  PushCount(&buffer, 0, 10);
  EXPECT_EQ(buffer.size(), 10u);
  PushCount(&buffer, 10, 3);
  EXPECT_EQ(buffer.size(), 10u) << "never more than the capacity";
  EXPECT_EQ(Pop(&buffer, 4), Count<TypeParam>(3, 4));
  PushCount(&buffer, 13, 2);
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(7, 8));
}

TYPED_TEST(CircleBufferTest, RingOfOneKeepsTheNewest) {
  CircleBuffer<TypeParam> buffer(1);
  for (int i = 1; i < 5; ++i) {
    PushCount(&buffer, i, 1);
    EXPECT_EQ(buffer.size(), 1u);
  }
  PushCount(&buffer, 10, 7);
  EXPECT_THAT(Pop(&buffer, kAll), ElementsAre(16));
}

TYPED_TEST(CircleBufferTest, RingOfNothingIsInert) {
  CircleBuffer<TypeParam> buffer(0);
  EXPECT_FALSE(buffer.valid());
  PushCount(&buffer, 1, 3);
  EXPECT_EQ(buffer.size(), 0u);
  EXPECT_EQ(buffer.PopFront(nullptr, 3), 0u);
}

// Long random runs against the model. Samples count up, so that it also shows that what is kept is always the newest
// of what was pushed, without a hole.
TYPED_TEST(CircleBufferTest, BehavesAsTheModel) {
  for (const std::size_t capacity : {1u, 2u, 3u, 10u, 99u, 100u, 101u, 200u, 800u, 1000u, 1024u, 4096u}) {
    SCOPED_TRACE(capacity);
    std::mt19937 random(static_cast<unsigned int>(capacity));
    CircleBuffer<TypeParam> buffer(capacity);
    ModelRing<TypeParam> model(capacity);
    int next = 0;
    for (int step = 0; step < 6000; ++step) {
      const auto up_to = [&](std::size_t most) { return random() % (most + 1); };
      // Sizes of all orders, those around the capacity and the reserve more often than chance has it.
      std::size_t count = 0;
      switch (random() % 6) {
        case 0: count = up_to(3); break;
        case 1: count = up_to(capacity / 20 + 1); break;
        case 2: count = up_to(capacity); break;
        case 3: count = capacity + up_to(capacity); break;
        case 4: count = capacity / 100 + up_to(2); break;
        default: count = capacity - std::min(capacity, capacity / 100 + up_to(2)); break;
      }
      switch (random() % 9) {
        case 0: {
          EXPECT_EQ(buffer.PopFront(nullptr, count), model.Pop(count).size());
          break;
        }
        case 1:
        case 2: {
          EXPECT_EQ(Pop(&buffer, count), model.Pop(count));
          break;
        }
        case 3: {
          // To the sample: everything, or all but one.
          count = model.size() - std::min<std::size_t>(model.size(), up_to(1));
          EXPECT_EQ(Pop(&buffer, count), model.Pop(count));
          break;
        }
        case 4:
          if (random() % 20 == 0) {
            buffer.Clear();
            model.Clear();
          }
          buffer.PushBack(nullptr, count);
          break;
        default: {
          next %= 100000;  // Exact as a float; as a short it comes round after more than a ring holds.
          PushCount(&buffer, next, count);
          model.Push(Count<TypeParam>(next, count));
          next += static_cast<int>(count);
          if (count > 0) {
            ASSERT_EQ(model.queue().back(), static_cast<TypeParam>(next - 1));
          }
          break;
        }
      }
      ASSERT_EQ(buffer.size(), model.size()) << "step " << step;
      ASSERT_LE(buffer.size(), capacity);
      if (testing::Test::HasFailure()) FAIL() << "step " << step;
    }
    EXPECT_EQ(Pop(&buffer, kAll), model.Pop(kAll));
  }
}

// Whatever the sizes, what is kept ends with the newest sample and has no hole.
TYPED_TEST(CircleBufferTest, KeepsAnUnbrokenRunThatEndsWithTheNewest) {
  constexpr std::size_t kCapacity = 500;
  std::mt19937 random(1);
  CircleBuffer<TypeParam> buffer(kCapacity);
  int next = 0;
  for (int step = 0; step < 5000; ++step) {
    if (next > 30000) {
      buffer.Clear();
      next = 0;
    }
    const std::size_t count = 1 + random() % (random() % 10 == 0 ? 700 : 60);
    PushCount(&buffer, next, count);
    next += static_cast<int>(count);
    EXPECT_LE(buffer.size(), kCapacity);
    if (count < kCapacity / 2) {
      EXPECT_GE(buffer.size(), count) << "a push of less than half of the ring is kept whole";
    }
    if (random() % 3 == 0) {
      const std::size_t left = buffer.size();
      const std::vector<TypeParam> popped = Pop(&buffer, random() % (left + 1));
      EXPECT_EQ(popped, Count<TypeParam>(next - static_cast<int>(left), popped.size()));
    }
  }
  const std::size_t left = buffer.size();
  EXPECT_EQ(Pop(&buffer, kAll), Count<TypeParam>(next - static_cast<int>(left), left));
}

}  // namespace
