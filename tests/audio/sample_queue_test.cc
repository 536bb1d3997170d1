#include "audio/sample_queue.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr std::size_t kCapacity = 100000;

std::vector<float> Count(int first, std::size_t count) {
  std::vector<float> samples(count);
  for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<float>(first + static_cast<int>(i));
  return samples;
}

void PushCount(SampleQueue<float>* queue, int first, std::size_t count) {
  queue->PushBack(Count(first, count).data(), count);
}

std::vector<float> Pop(SampleQueue<float>* queue, std::size_t count) {
  std::vector<float> samples(count);
  queue->PopFront(samples.data(), count);
  return samples;
}

std::vector<float> Read(const LentSamples<float>& lent, std::size_t count) {
  std::vector<float> samples(lent.samples, lent.samples + lent.count);
  samples.insert(samples.end(), lent.rest, lent.rest + (count - lent.count));
  return samples;
}

// The memory of an empty queue, of which nothing is lent.
const float* FrontOf(SampleQueue<float>* queue) {
  PushCount(queue, 0, 1);
  const float* const front = queue->Lend(1).samples;
  queue->TakeBack();
  return front;
}

std::size_t BytesInUse(const float* front) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::vector<unsigned char> in_use((kCapacity * sizeof(float) + page - 1) / page);
  EXPECT_EQ(mincore(const_cast<float*>(front), kCapacity * sizeof(float), in_use.data()), 0);
  return page * static_cast<std::size_t>(std::count_if(in_use.begin(), in_use.end(), [](auto p) { return p & 1; }));
}

TEST(SampleQueueTest, GivesBackInOrder) {
  SampleQueue<float> queue(10);
  ASSERT_TRUE(queue.valid());
  PushCount(&queue, 1, 3);
  PushCount(&queue, 4, 2);
  EXPECT_EQ(queue.size(), 5u);
  EXPECT_THAT(Pop(&queue, 2), ElementsAre(1, 2));
  queue.PopFront(nullptr, 1);
  EXPECT_THAT(Pop(&queue, 2), ElementsAre(4, 5));
  EXPECT_EQ(queue.size(), 0u);
}

TEST(SampleQueueTest, HoldsItsCapacity) {
  SampleQueue<float> queue(kCapacity);
  EXPECT_EQ(queue.capacity(), kCapacity);
  for (int round = 0; round < 3; ++round) {
    PushCount(&queue, 0, 30000);
    queue.PopFront(nullptr, 20000);
    PushCount(&queue, 30000, kCapacity - 10000);
    EXPECT_EQ(queue.size(), kCapacity);
    EXPECT_EQ(Pop(&queue, kCapacity), Count(20000, kCapacity));
  }
}

TEST(SampleQueueTest, LentSamplesStayWhereTheyAre) {
  SampleQueue<float> queue(kCapacity);
  PushCount(&queue, 0, 1000);
  const LentSamples<float> lent = queue.Lend(600);
  EXPECT_EQ(queue.size(), 400u);
  // There is place for 1,024 without a growing window, which would move samples.
  EXPECT_TRUE(queue.HasRoomFor(24));
  EXPECT_FALSE(queue.HasRoomFor(25));
  PushCount(&queue, 1000, 24);
  queue.PopFront(nullptr, 424);
  EXPECT_FALSE(queue.HasRoomFor(1)) << "what was taken out after them is kept as well";
  EXPECT_EQ(Read(lent, 600), Count(0, 600));
  queue.TakeBack();
  EXPECT_TRUE(queue.HasRoomFor(kCapacity));
  PushCount(&queue, 5, 3000);
  EXPECT_EQ(Pop(&queue, 3000), Count(5, 3000));
}

TEST(SampleQueueTest, LendsAcrossTheEndOfItsWindow) {
  SampleQueue<float> queue(kCapacity);
  PushCount(&queue, 0, 1000);
  queue.PopFront(nullptr, 900);
  PushCount(&queue, 1000, 500);
  const LentSamples<float> lent = queue.Lend(550);
  EXPECT_EQ(lent.count, 124u);
  EXPECT_EQ(Read(lent, 550), Count(900, 550));
  EXPECT_TRUE(queue.HasRoomFor(424));
  PushCount(&queue, 1500, 424);
  EXPECT_EQ(Read(lent, 550), Count(900, 550));
  queue.TakeBack();
  EXPECT_EQ(Pop(&queue, 474), Count(1450, 474));
}

TEST(SampleQueueTest, AnEmptyQueueStartsAtItsFrontAgain) {
  SampleQueue<float> queue(kCapacity);
  const float* const front = FrontOf(&queue);
  for (int block = 0; block < 50; ++block) {
    PushCount(&queue, block, 700);
    EXPECT_EQ(queue.Lend(700).samples, front);
    queue.TakeBack();
  }
}

TEST(SampleQueueTest, KeepsWhatIsInItInFewPages) {
  SampleQueue<float> queue(kCapacity);
  const float* const front = FrontOf(&queue);
  PushCount(&queue, 0, 9600);
  for (int block = 0; block < 1000; ++block) {
    PushCount(&queue, 9600, 480);
    queue.Lend(480);
    queue.TakeBack();
  }
  EXPECT_LE(BytesInUse(front), 65536u) << "for 38,400 bytes in the queue";
}

TEST(SampleQueueTest, GivesThePagesOfABacklogBack) {
  SampleQueue<float> queue(kCapacity);
  const float* const front = FrontOf(&queue);
  PushCount(&queue, 0, kCapacity);
  EXPECT_GE(BytesInUse(front), kCapacity * sizeof(float));
  queue.PopFront(nullptr, kCapacity - 4000);
  PushCount(&queue, static_cast<int>(kCapacity), 480);
  EXPECT_LE(BytesInUse(front), 65536u);
  EXPECT_EQ(Pop(&queue, 4480), Count(static_cast<int>(kCapacity) - 4000, 4480));
}

TEST(SampleQueueTest, ShrinksAroundTheEndOfItsWindow) {
  SampleQueue<float> queue(kCapacity);
  PushCount(&queue, 0, 16384);
  queue.PopFront(nullptr, 15000);
  PushCount(&queue, 16384, 3000);  // More than a quarter of the window, at whose front most of it lies.
  queue.PopFront(nullptr, 1000);
  PushCount(&queue, 19384, 10);
  EXPECT_EQ(Pop(&queue, 3394), Count(16000, 3394));
}

// Long random runs against a plain queue, with windows that grow, shrink and wrap, and samples lent now and then.
TEST(SampleQueueTest, BehavesAsAPlainQueue) {
  for (const std::size_t capacity : {1u, 7u, 1000u, 1024u, 5000u, 70001u}) {
    SCOPED_TRACE(capacity);
    std::mt19937 random(static_cast<unsigned int>(capacity));
    SampleQueue<float> queue(capacity);
    std::deque<float> model;
    LentSamples<float> lent{};
    std::vector<float> lent_model;
    int next = 0;
    const auto size = [&](std::size_t most) { return random() % ((most >> random() % 12) + 1); };
    for (int step = 0; step < 2000; ++step) {
      switch (random() % 5) {
        case 0:
        case 1: {
          const std::size_t count = size(capacity - model.size());
          if (!queue.HasRoomFor(count)) {
            ASSERT_FALSE(lent_model.empty());
            break;
          }
          PushCount(&queue, next, count);
          for (const float sample : Count(next, count)) model.push_back(sample);
          next = (next + static_cast<int>(count)) % 1000000;
          break;
        }
        case 2: {
          const std::size_t count = size(model.size());
          ASSERT_EQ(Pop(&queue, count), std::vector<float>(model.begin(), model.begin() + static_cast<long>(count)));
          model.erase(model.begin(), model.begin() + static_cast<long>(count));
          break;
        }
        case 3: {
          const std::size_t count = size(model.size());
          if (count == 0 || !lent_model.empty()) break;
          lent = queue.Lend(count);
          lent_model.assign(model.begin(), model.begin() + static_cast<long>(count));
          model.erase(model.begin(), model.begin() + static_cast<long>(count));
          break;
        }
        default:
          if (lent_model.empty()) break;
          ASSERT_EQ(Read(lent, lent_model.size()), lent_model);
          queue.TakeBack();
          lent_model.clear();
          break;
      }
      ASSERT_EQ(queue.size(), model.size()) << "step " << step;
    }
    EXPECT_EQ(Pop(&queue, model.size()), std::vector<float>(model.begin(), model.end()));
  }
}

}  // namespace
