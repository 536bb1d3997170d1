// The output thread and its pool: the bookkeeping step by step, against a plain model, and with the thread running.
#include "graphics/output/graphics_output_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "graphics/frame_clock.h"
#include "tests/graphics/output/pool_model.h"
#include "tests/support/allocation_counter.h"
#include "tests/support/log_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using Delivery = PoolModel::Delivery;
using OutputFormat = GraphicsOutput::OutputFormat;

constexpr std::uint64_t kInterval = PoolModel::kInterval;
constexpr int kIntMax = std::numeric_limits<int>::max();
constexpr int kIntMin = std::numeric_limits<int>::min();
constexpr unsigned int kForeverMs = std::numeric_limits<unsigned int>::max();

// Frames carry a number in their first bytes.
void Stamp(GraphicsFrame* frame, std::uint32_t id) { std::memcpy(frame->data[0], &id, sizeof(id)); }

std::uint32_t IdOf(const unsigned char* pixels) {
  std::uint32_t id = 0;
  std::memcpy(&id, pixels, sizeof(id));
  return id;
}

// Keeps what it gets.
class Receiver : public GraphicsOutput::OutputCallback {
 public:
  explicit Receiver(OutputFormat format = GraphicsOutput::kOutputRGBA) : OutputCallback(format) {}

  void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
    deliveries.push_back({frame.data[0] ? IdOf(frame.data[0]) : 0, timestamp});
    frames.push_back(&frame);
  }

  std::vector<Delivery> deliveries;
  std::vector<const GraphicsFrame*> frames;
};

// Keeps what the output thread delivers. Closed, it holds every call until it is opened.
class GatedReceiver : public GraphicsOutput::OutputCallback {
 public:
  explicit GatedReceiver(bool open) : OutputCallback(GraphicsOutput::kOutputRGBA), open_(open) {}

  void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
    std::unique_lock<std::mutex> lock(mutex_);
    deliveries_.push_back({IdOf(frame.data[0]), timestamp});
    changed_.notify_all();
    changed_.wait(lock, [&] { return open_; });
  }

  void Open() {
    std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }

  // Waits until that many deliveries have begun, and returns them.
  std::vector<Delivery> WaitForDeliveries(std::size_t count) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [&] { return deliveries_.size() >= count; });
    return deliveries_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_;
  std::vector<Delivery> deliveries_;
};

// Shows the protected state. Reads it without the locks: for moments when no other thread is at work.
class TestOutput : public GraphicsOutputImpl {
 public:
  explicit TestOutput(unsigned int width = 4, unsigned int height = 4, unsigned int fps = 30)
      : GraphicsOutputImpl(nullptr, width, height, fps) {}
  ~TestOutput() override { StopThread(); }

  // A whole picture: returns what LockFrame does.
  bool Produce(std::uint32_t id, std::uint64_t timestamp, int count) {
    GraphicsFrame* frame = nullptr;
    if (!LockFrame(&frame, timestamp, count)) return false;
    Stamp(frame, id);
    UnlockFrame();
    return true;
  }

  using GraphicsOutputImpl::attached_format;
  using GraphicsOutputImpl::cache_;
  using GraphicsOutputImpl::cache_mutex_;
  using GraphicsOutputImpl::callback_mutex_;
  using GraphicsOutputImpl::frame_interval_;
  using GraphicsOutputImpl::kCacheSlots;
  using GraphicsOutputImpl::kNotAttached;
  using GraphicsOutputImpl::output_count_;
  using GraphicsOutputImpl::repeat_count_;
  using GraphicsOutputImpl::semaphore_;
  using GraphicsOutputImpl::stop_;
  using GraphicsOutputImpl::StopThread;
  using GraphicsOutputImpl::SuspendOutput;
  using GraphicsOutputImpl::thread_;

  std::uint64_t capacity() QUARN_NO_THREAD_SAFETY_ANALYSIS { return capacity_; }
  std::uint64_t free_count() QUARN_NO_THREAD_SAFETY_ANALYSIS { return free_count_; }
  std::uint64_t read_index() QUARN_NO_THREAD_SAFETY_ANALYSIS { return read_index_; }
  std::uint64_t write_index() QUARN_NO_THREAD_SAFETY_ANALYSIS { return write_index_; }
};

class GraphicsOutputImplTest : public testing::Test {
 protected:
  LogCapture log_;
};

using GraphicsOutputImplDeathTest = GraphicsOutputImplTest;

TEST_F(GraphicsOutputImplTest, ComputesTheFrameInterval) {
  EXPECT_EQ(TestOutput(4, 4, 30).frame_interval_, 33333333u);
  EXPECT_EQ(TestOutput(4, 4, 60).frame_interval_, 16666666u);
  EXPECT_EQ(TestOutput(4, 4, 1).frame_interval_, 1000000000u);
}

TEST_F(GraphicsOutputImplDeathTest, FaultsOnARateOfZero) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  volatile unsigned int fps = 0;
  EXPECT_DEATH(TestOutput(4, 4, fps), "");
}

TEST_F(GraphicsOutputImplTest, BeginsWithAnEmptyPool) {
  TestOutput output;
  EXPECT_EQ(output.capacity(), 6u);
  EXPECT_EQ(output.free_count(), 0u);
  EXPECT_EQ(output.read_index(), 0u);
  EXPECT_EQ(output.write_index(), 0u);
  EXPECT_EQ(output.output_count_, 0u);
  EXPECT_EQ(output.repeat_count_, 0u);
  EXPECT_EQ(output.thread_, nullptr);
  EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
  static_assert(TestOutput::kCacheSlots == 16);
  for (const auto& slot : output.cache_) {
    EXPECT_EQ(slot.frame.data[0], nullptr);
    EXPECT_EQ(slot.timestamp, 0u);
    EXPECT_EQ(slot.overflow, 0);
    EXPECT_EQ(slot.repeat, 0);
  }
}

TEST_F(GraphicsOutputImplTest, OnlyGrowsTheFirstSlotsCountsUntilAttached) {
  TestOutput output;
  GraphicsFrame* frame = nullptr;
  EXPECT_FALSE(output.LockFrame(&frame, 1000, 2));
  EXPECT_FALSE(output.LockFrame(&frame, 2000, 3));
  EXPECT_EQ(frame, nullptr);
  EXPECT_EQ(output.cache_[0].repeat, 5);
  EXPECT_EQ(output.cache_[0].overflow, 5);
  EXPECT_EQ(output.cache_[0].timestamp, 0u);
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 0u);
  EXPECT_EQ(output.read_index(), 0u);
}

TEST_F(GraphicsOutputImplTest, PoolsSixFramesOfTheReceiversFormat) {
  const std::pair<OutputFormat, GraphicsFormatInternal> formats[] = {
      {GraphicsOutput::kOutputRGBA, kFormatRGBA},
      {GraphicsOutput::kOutputBGRA, kFormatBGRA},
      {GraphicsOutput::kOutputI420, kFormatI420},
      {GraphicsOutput::kOutputNV12, kFormatNV12},
  };
  TestOutput output(64, 32);
  for (const auto& [format, frame_format] : formats) {
    Receiver receiver(format);
    output.Attach(&receiver);
    EXPECT_EQ(output.attached_format(), format);
    EXPECT_EQ(output.free_count(), 6u);
    for (int i = 0; i < TestOutput::kCacheSlots; ++i) {
      const GraphicsFrame& frame = output.cache_[i].frame;
      EXPECT_EQ(frame.format, i < 6 ? frame_format : kFormatUnknown);
      EXPECT_EQ(frame.width, i < 6 ? 64u : 0u);
      EXPECT_EQ(frame.height, i < 6 ? 32u : 0u);
    }
    output.Detach();
    EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
    EXPECT_EQ(output.free_count(), 6u);  // The pool keeps its frames.
  }
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

// What no copy reaches, the last byte of a chroma row of an odd width, is the same in every run all the same.
TEST_F(GraphicsOutputImplTest, PoolFramesStartZeroed) {
  constexpr std::size_t kBytes = 128;  // Of such a frame: 9 x 9 pixels of a byte and a half, rounded up.
  {
    // Leaves something on the heap.
    std::vector<std::unique_ptr<unsigned char[]>> blocks;
    for (int i = 0; i < 16; ++i) {
      blocks.emplace_back(new unsigned char[kBytes]);
      std::memset(blocks.back().get(), 0xAB, kBytes);
    }
  }
  TestOutput output(9, 9);
  Receiver receiver(GraphicsOutput::kOutputNV12);
  output.Attach(&receiver);
  for (int i = 0; i < 6; ++i) {
    const unsigned char* const block = output.cache_[i].frame.data[0];
    EXPECT_EQ(std::count(block, block + kBytes, 0), static_cast<std::ptrdiff_t>(kBytes));
  }
}

TEST_F(GraphicsOutputImplTest, PoolsNoFramesForOtherFormats) {
  for (const unsigned int value : {0u, 1u, 6u, 100u}) {
    SCOPED_TRACE(value);
    const auto format = static_cast<OutputFormat>(value);
    TestOutput output;
    Receiver raw;
    Receiver receiver(format);
    output.Attach(&receiver);
    EXPECT_EQ(output.attached_format(), format);
    EXPECT_EQ(output.free_count(), 0u);
    EXPECT_EQ(output.cache_[0].frame.data[0], nullptr);
    EXPECT_FALSE(output.LockFrame(nullptr, 1, 1));

    // After frames were queued, too: nothing of them is delivered, and no slot becomes free.
    output.Attach(&raw);
    EXPECT_TRUE(output.Produce(1, 1, 1));
    EXPECT_TRUE(output.Produce(2, 2, 1));
    output.Attach(&receiver);
    EXPECT_FALSE(output.LockFrame(nullptr, 3, 1));
    EXPECT_TRUE(output.OutputCurrentFrame());
    EXPECT_TRUE(output.OutputCurrentFrame());
    EXPECT_EQ(output.free_count(), 0u);
    EXPECT_FALSE(output.LockFrame(nullptr, 4, 1));
    EXPECT_THAT(raw.deliveries, IsEmpty());
    EXPECT_THAT(receiver.deliveries, IsEmpty());
  }
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(GraphicsOutputImplTest, PoolsNothingWithoutMemory) {
  TestOutput output(65536, 65536);  // Its bytes do not fit 32 bits.
  Receiver receiver;
  output.Attach(&receiver);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error,
                                           "[GraphicsOutput] no memory for frames of 65536 x 65536 pixels"}));
  EXPECT_FALSE(output.LockFrame(nullptr, 1, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_THAT(receiver.deliveries, IsEmpty());
}

TEST_F(GraphicsOutputImplTest, ReportsMissingMemoryWithoutItsLocks) {
  TestOutput output(65536, 65536);
  // Another thread must get both locks while the message is being handled.
  class ProbingLogger : public Logger {
   public:
    explicit ProbingLogger(TestOutput* output) : Logger(""), output_(output) {}
    void Log(Level, const char*, va_list) override {
      std::thread([this] {
        callback_free = IsFree(output_->callback_mutex_);
        pool_free = IsFree(output_->cache_mutex_);
      }).join();
    }
    void Log(Level, const char*) override {}
    bool callback_free = false;
    bool pool_free = false;

   private:
    static bool IsFree(Mutex& mutex) {
      if (mutex.TryLock()) return false;  // It answers true when the lock was not obtained.
      mutex.Unlock();
      return true;
    }
    TestOutput* output_;
  } logger(&output);
  Receiver receiver;
  Logger* const previous = Logger::default_logger();
  Logger::SetDefaultLogger(&logger);
  output.Attach(&receiver);
  Logger::SetDefaultLogger(previous);
  EXPECT_TRUE(logger.callback_free);
  EXPECT_TRUE(logger.pool_free);
}

TEST_F(GraphicsOutputImplTest, AttachOfNullTakesTheReceiverAway) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 1, 1));
  output.Attach(nullptr);
  EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
  EXPECT_EQ(output.free_count(), 5u);  // The pool is left alone.
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_THAT(receiver.deliveries, IsEmpty());
}

TEST_F(GraphicsOutputImplTest, DeliversAFrameOncePerPeriod) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  GraphicsFrame* frame = nullptr;
  ASSERT_TRUE(output.LockFrame(&frame, 5000, 3));
  ASSERT_NE(frame, nullptr);
  Stamp(frame, 7);
  EXPECT_EQ(output.free_count(), 6u);
  output.UnlockFrame();
  EXPECT_EQ(output.free_count(), 5u);
  EXPECT_FALSE(output.OutputCurrentFrame());
  EXPECT_FALSE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 5u);
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_EQ(output.read_index(), 1u);
  EXPECT_EQ(output.write_index(), 1u);
  EXPECT_THAT(receiver.deliveries,
              ElementsAre(Delivery{7, 5000}, Delivery{7, 5000 + kInterval}, Delivery{7, 5000 + 2 * kInterval}));
  EXPECT_THAT(receiver.frames, Each(frame));  // The pool's frame itself, every time.
  EXPECT_EQ(output.repeat_count_, 0u);
  EXPECT_EQ(output.output_count_, 0u);  // Only the output thread counts here.
}

TEST_F(GraphicsOutputImplTest, GoesRoundTheRing) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  std::vector<Delivery> expected;
  for (std::uint32_t i = 0; i < 20; ++i) {
    // From two to three in the ring.
    ASSERT_TRUE(output.Produce(i, i * 100, 1));
    expected.push_back({i, i * 100});
    if (i >= 2) {
      EXPECT_TRUE(output.OutputCurrentFrame());
      EXPECT_EQ(output.free_count(), 4u);
      EXPECT_EQ(output.read_index(), (i - 1) % 6);
      EXPECT_EQ(output.write_index(), i % 6);
    }
  }
  expected.resize(18);
  EXPECT_EQ(receiver.deliveries, expected);
}

TEST_F(GraphicsOutputImplTest, RepeatsTheNewestFrameWhenThePoolIsFull) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  std::vector<Delivery> expected;
  for (std::uint32_t i = 1; i <= 6; ++i) {
    ASSERT_TRUE(output.Produce(i, i * kInterval, 1));
    expected.push_back({i, i * kInterval});
  }
  EXPECT_EQ(output.free_count(), 0u);
  GraphicsFrame* frame = nullptr;
  EXPECT_FALSE(output.LockFrame(&frame, 7 * kInterval, 1));
  EXPECT_FALSE(output.LockFrame(&frame, 8 * kInterval, 2));
  EXPECT_EQ(frame, nullptr);
  EXPECT_EQ(output.cache_[5].repeat, 4);
  EXPECT_EQ(output.cache_[5].overflow, 3);
  EXPECT_EQ(output.cache_[5].timestamp, 6 * kInterval);
  for (std::uint32_t i = 7; i <= 9; ++i) expected.push_back({6, i * kInterval});

  for (int i = 0; i < 5; ++i) EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.repeat_count_, 0u);
  for (std::uint32_t i = 1; i <= 3; ++i) {
    EXPECT_FALSE(output.OutputCurrentFrame());
    EXPECT_EQ(output.repeat_count_, i);
  }
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.repeat_count_, 3u);
  EXPECT_EQ(output.cache_[5].overflow, 0);
  EXPECT_EQ(receiver.deliveries, expected);

  // The next picture begins afresh.
  ASSERT_TRUE(output.Produce(10, 10 * kInterval, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(receiver.deliveries.back(), (Delivery{10, 10 * kInterval}));
  EXPECT_EQ(output.repeat_count_, 3u);
}

TEST_F(GraphicsOutputImplTest, CountsOnlyRepeatsOfAFullPool) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, 0, 3));
  EXPECT_FALSE(output.LockFrame(nullptr, 0, 1));
  while (output.free_count() < 6) output.OutputCurrentFrame();
  EXPECT_EQ(receiver.deliveries.size(), 19u);
  EXPECT_EQ(output.repeat_count_, 1u);
}

TEST_F(GraphicsOutputImplTest, ReservesASlotWithoutHandingItOut) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  EXPECT_TRUE(output.LockFrame(nullptr, 700, 2));
  EXPECT_EQ(output.cache_[0].timestamp, 700u);
  EXPECT_EQ(output.cache_[0].repeat, 2);
  output.UnlockFrame();
  EXPECT_EQ(output.free_count(), 5u);
  EXPECT_FALSE(output.OutputCurrentFrame());
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(receiver.deliveries.size(), 2u);
}

TEST_F(GraphicsOutputImplTest, FinishesAFrameOfNoPeriods) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  std::uint32_t id = 0;
  for (const int count : {0, -1, -1000, kIntMin}) {
    ASSERT_TRUE(output.Produce(++id, 0, count));
    EXPECT_TRUE(output.OutputCurrentFrame());
    EXPECT_EQ(output.free_count(), 6u);
    EXPECT_EQ(receiver.deliveries.size(), id);
  }
}

TEST_F(GraphicsOutputImplTest, SaturatesItsCounts) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, 0, 1));
  EXPECT_FALSE(output.LockFrame(nullptr, 0, kIntMax));
  EXPECT_EQ(output.cache_[5].repeat, kIntMax);
  EXPECT_EQ(output.cache_[5].overflow, kIntMax);
  EXPECT_FALSE(output.LockFrame(nullptr, 0, 5));
  EXPECT_EQ(output.cache_[5].repeat, kIntMax);
  EXPECT_EQ(output.cache_[5].overflow, kIntMax);
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(output.LockFrame(nullptr, 0, kIntMin));
  EXPECT_EQ(output.cache_[5].repeat, kIntMin);
  EXPECT_EQ(output.cache_[5].overflow, kIntMin);
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_EQ(output.repeat_count_, 0u);
}

TEST_F(GraphicsOutputImplTest, UnlockFrameNeverCommitsMoreThanThePoolHas) {
  TestOutput output;
  output.UnlockFrame();
  EXPECT_EQ(output.free_count(), 0u);
  Receiver receiver;
  output.Attach(&receiver);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, 0, 1));
  output.UnlockFrame();
  EXPECT_EQ(output.free_count(), 0u);
}

TEST_F(GraphicsOutputImplTest, ConsumesWithoutCallsOnceDetached) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 500, 2));
  ASSERT_TRUE(output.Produce(2, 500, 1));
  EXPECT_FALSE(output.OutputCurrentFrame());
  output.Detach();
  EXPECT_EQ(output.cache_[0].timestamp, 500 + kInterval);
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_EQ(receiver.deliveries.size(), 1u);
}

TEST_F(GraphicsOutputImplTest, DiscardsQueuedFramesOnAttach) {
  TestOutput output;
  Receiver first;
  Receiver second;
  output.Attach(&first);
  for (std::uint32_t i = 1; i <= 4; ++i) ASSERT_TRUE(output.Produce(i, 0, 5));
  EXPECT_FALSE(output.OutputCurrentFrame());
  for (int i = 0; i < 4; ++i) output.OutputCurrentFrame();  // The first is finished.
  EXPECT_EQ(output.read_index(), 1u);
  EXPECT_EQ(output.write_index(), 3u);
  output.Detach();
  output.Attach(&second);
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_EQ(output.read_index(), 1u);
  EXPECT_EQ(output.write_index(), 1u);
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_THAT(second.deliveries, IsEmpty());
  ASSERT_TRUE(output.Produce(9, 900, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_THAT(second.deliveries, ElementsAre(Delivery{9, 900}));
}

TEST_F(GraphicsOutputImplTest, BeginsNoDeliveryWhileSuspended) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 0, 1));
  output.SuspendOutput();
  EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_THAT(receiver.deliveries, IsEmpty());
  output.Attach(&receiver);
  EXPECT_EQ(output.attached_format(), GraphicsOutput::kOutputRGBA);
}

// Attaches others from inside its call.
class ReattachingReceiver : public Receiver {
 public:
  explicit ReattachingReceiver(TestOutput* output) : output_(output) {}

  void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
    const unsigned char* const pixels = frame.data[0];
    for (int i = 0; i < 2; ++i) {
      output_->Detach();
      output_->Attach(&next);
    }
    deliveries.push_back({IdOf(pixels), timestamp});  // The planes are still valid.
    // The next pictures go elsewhere.
    for (int i = 0; i < 6; ++i) EXPECT_TRUE(output_->Produce(100, 10000, 1));
    EXPECT_EQ(IdOf(pixels), deliveries.back().id);
  }

  Receiver next;

 private:
  TestOutput* output_;
};

TEST_F(GraphicsOutputImplTest, AReceiverMayAttachAnotherFromItsCall) {
  TestOutput output;
  ReattachingReceiver receiver(&output);
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 100, 3));
  ASSERT_TRUE(output.Produce(2, 200, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());  // Discarded by its own delivery, so it is over.
  EXPECT_EQ(output.free_count(), 0u);        // The six pictures from inside the call, none accounted for.
  EXPECT_THAT(receiver.deliveries, ElementsAre(Delivery{1, 100}));
  EXPECT_THAT(receiver.next.deliveries, IsEmpty());
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_EQ(receiver.next.deliveries, std::vector<Delivery>(6, Delivery{100, 10000}));
  EXPECT_EQ(output.free_count(), 6u);
}

TEST_F(GraphicsOutputImplTest, SaysThatOutputIsUnimplemented) {
  TestOutput output;
  output.Output(1, 1);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, "GraphicsOuputImpl::Output is unimplemented"}));
}

TEST_F(GraphicsOutputImplTest, InitCacheDoesNothing) {
  TestOutput output;
  output.InitCache();
  EXPECT_EQ(output.free_count(), 0u);
}

class GraphicsOutputImplModelTest : public testing::TestWithParam<unsigned int> {};

// Long random sequences of everything that may happen to the pool, between any two steps of a producer too.
TEST_P(GraphicsOutputImplModelTest, PoolDoesAsTheModel) {
  std::mt19937 random(GetParam());
  const auto chance = [&](unsigned int one_in) { return random() % one_in == 0; };
  // How often the consumer's turn comes, so that the ring runs now empty, now full.
  unsigned int consumer_share = 50;
  TestOutput output;
  Receiver raw;
  Receiver other(GraphicsOutput::kOutputTexture);
  PoolModel model;
  std::vector<Delivery> expected;
  std::uint32_t next_id = 1;
  int times_full = 0;
  struct Picture {
    std::uint32_t id;
    std::uint64_t timestamp;
    int count;
  };
  Picture locked = {};
  bool is_locked = false;

  for (int step = 0; step < 20000; ++step) {
    SCOPED_TRACE(step);
    if (chance(200)) consumer_share = 10 + random() % 80;
    const unsigned int turn = random() % 100;
    if (!is_locked && chance(150)) {
      switch (random() % 6) {
        case 0:
          output.Detach();
          model.Detach();
          break;
        case 1:
          output.Attach(&other);
          model.Attach(PoolModel::Receiving::kOther);
          break;
        case 2:
          output.Attach(nullptr);
          model.Detach();
          break;
        default:
          output.Attach(&raw);
          model.Attach(PoolModel::Receiving::kRaw);
          break;
      }
    } else if (turn < consumer_share) {
      EXPECT_EQ(output.OutputCurrentFrame(), model.Deliver(&expected));
    } else if (is_locked) {
      output.UnlockFrame();
      model.Commit(locked.id, locked.timestamp, locked.count);
      is_locked = false;
    } else {
      const int unusual[] = {0, -1, -3, kIntMin, kIntMax, 1000};
      const int count = chance(100) ? unusual[random() % 6] : static_cast<int>(1 + (chance(4) ? random() % 4 : 0));
      const Picture picture = {next_id++, random(), count};
      const bool room = model.Lock(count);
      GraphicsFrame* frame = nullptr;
      EXPECT_EQ(output.LockFrame(&frame, picture.timestamp, count), room);
      ASSERT_EQ(frame != nullptr, room);
      if (room) {
        Stamp(frame, picture.id);
        locked = picture;
        is_locked = true;
      } else {
        ++times_full;
        EXPECT_FALSE(output.LockFrame(nullptr, 0, 0));
      }
    }
    ASSERT_EQ(output.free_count(), model.free_count());
    ASSERT_EQ(output.repeat_count_, model.repeat_count());
    ASSERT_LT(output.read_index(), 6u);
    ASSERT_LT(output.write_index(), 6u);
    if (!is_locked) {
      const std::uint64_t distance = (output.write_index() + 6 - output.read_index()) % 6;
      ASSERT_EQ(distance, model.queued() > 0 ? model.queued() - 1 : 0);
    }
    ASSERT_EQ(raw.deliveries, expected);
    raw.deliveries.clear();
    raw.frames.clear();
    expected.clear();
  }
  EXPECT_THAT(other.deliveries, IsEmpty());
  EXPECT_GT(times_full, 100);
}

INSTANTIATE_TEST_SUITE_P(Seeds, GraphicsOutputImplModelTest, testing::Range(1u, 13u));

TEST_F(GraphicsOutputImplTest, AllocatesNothingPerFrame) {
  TestOutput output;
  // Counts on the output thread, from its first call to its last.
  class CountingReceiver : public GraphicsOutput::OutputCallback {
   public:
    CountingReceiver() : OutputCallback(GraphicsOutput::kOutputNV12) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long timestamp) override {
      if (!counter_) counter_.emplace();
      if (timestamp != 1) return;
      std::lock_guard<std::mutex> lock(mutex_);
      allocations_ = counter_->count();
      counter_.reset();
      changed_.notify_all();
    }
    std::size_t Allocations() {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [&] { return allocations_.has_value(); });
      return *allocations_;
    }

   private:
    std::optional<AllocationCounter> counter_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<std::size_t> allocations_;
  } receiver;
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  const AllocationCounter producer;
  for (int i = 0; i < 1000; ++i) {
    if (output.LockFrame(nullptr, 0, 1)) output.UnlockFrame();
  }
  EXPECT_EQ(producer.count(), 0u);
  while (!output.LockFrame(nullptr, 1, 1)) std::this_thread::yield();
  output.UnlockFrame();
  EXPECT_EQ(receiver.Allocations(), 0u);
}

TEST_F(GraphicsOutputImplTest, InitStartsOneThread) {
  TestOutput output;
  EXPECT_TRUE(output.Init());
  Thread* const thread = output.thread_.get();
  ASSERT_NE(thread, nullptr);
  EXPECT_TRUE(thread->started());
  EXPECT_TRUE(output.Init());
  EXPECT_EQ(output.thread_.get(), thread);
}

TEST_F(GraphicsOutputImplTest, StopThreadMayComeAgainAndInitAfterIt) {
  TestOutput output;
  output.StopThread();
  ASSERT_TRUE(output.Init());
  output.StopThread();
  EXPECT_EQ(output.thread_, nullptr);
  output.StopThread();
  ASSERT_TRUE(output.Init());
  GatedReceiver receiver(true);
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 10, 1));
  EXPECT_THAT(receiver.WaitForDeliveries(1), ElementsAre(Delivery{1, 10}));
}

TEST_F(GraphicsOutputImplTest, InitFailsWithoutAThread) {
  pthread_attr_t usual;
  ASSERT_EQ(pthread_getattr_default_np(&usual), 0);
  pthread_attr_t impossible;
  ASSERT_EQ(pthread_attr_init(&impossible), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&impossible, std::size_t{1} << 60), 0);
  ASSERT_EQ(pthread_setattr_default_np(&impossible), 0);
  TestOutput output;
  const bool started = output.Init();
  EXPECT_EQ(pthread_setattr_default_np(&usual), 0);
  pthread_attr_destroy(&impossible);
  pthread_attr_destroy(&usual);
  EXPECT_FALSE(started);
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error,
                                                         "[GraphicsOutput] the output thread could not be started"}));
  EXPECT_TRUE(output.Init());
}

// A thread that cannot be woken would deliver nothing.
TEST_F(GraphicsOutputImplTest, InitFailsWithoutASemaphore) {
  TestOutput output;
  output.semaphore_.~Semaphore();
  new (&output.semaphore_) Semaphore(-1);  // A semaphore that found no memory is like this.
  EXPECT_FALSE(output.Init());
  EXPECT_EQ(output.thread_, nullptr);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error, "[GraphicsOutput] no memory for the output thread"}));
}

TEST_F(GraphicsOutputImplTest, ThreadRepeatsTheNewestFrameForASlowReceiver) {
  TestOutput output;
  GatedReceiver receiver(false);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  std::vector<Delivery> expected;
  for (std::uint32_t i = 1; i <= 6; ++i) {
    ASSERT_TRUE(output.Produce(i, i * kInterval, 1));
    expected.push_back({i, i * kInterval});
  }
  receiver.WaitForDeliveries(1);
  // The frame being delivered is not free.
  EXPECT_FALSE(output.Produce(7, 7 * kInterval, 1));
  EXPECT_FALSE(output.Produce(8, 8 * kInterval, 2));
  for (std::uint32_t i = 7; i <= 9; ++i) expected.push_back({6, i * kInterval});
  receiver.Open();
  EXPECT_EQ(receiver.WaitForDeliveries(9), expected);
  output.StopThread();
  EXPECT_EQ(output.repeat_count_, 3u);
  EXPECT_EQ(output.output_count_, 9u);
  EXPECT_EQ(output.free_count(), 6u);
  const OutputCounts counts = ReadOutputCounts(&output);
  EXPECT_EQ(counts.repeated, 3u);
  EXPECT_EQ(counts.delivered, 9u);
}

TEST_F(GraphicsOutputImplTest, NoOutputHasDeliveredNothing) {
  const OutputCounts counts = ReadOutputCounts(nullptr);
  EXPECT_EQ(counts.repeated, 0u);
  EXPECT_EQ(counts.delivered, 0u);
}

// What was made of an output is either delivered, or dropped, or queued.

class OutputStatsTest : public GraphicsOutputImplTest {
 protected:
  void Produce(std::uint32_t count, int periods = 1) {
    for (std::uint32_t i = 0; i < count; ++i) {
      ++made_;
      output_.Produce(made_, made_ * kInterval, periods);
    }
  }
  void ExpectStats(std::uint64_t delivered, std::uint64_t repeated, std::uint64_t dropped) {
    const OutputStats stats = ReadOutputStats(&output_);
    EXPECT_EQ(stats.delivered, delivered);
    EXPECT_EQ(stats.repeated, repeated);
    EXPECT_EQ(stats.dropped, dropped);
    EXPECT_EQ(made_, stats.delivered - stats.repeated + stats.dropped + queued_);
  }

  TestOutput output_;
  Receiver receiver_;
  std::uint32_t made_ = 0;
  std::uint64_t queued_ = 0;  // Of these none was delivered yet.
};

TEST_F(OutputStatsTest, RepeatsOfLateFramesAndOfAFullPoolAreRepeats) {
  output_.Attach(&receiver_);
  Produce(1, 3);
  while (!output_.OutputCurrentFrame()) continue;
  ExpectStats(3, 2, 0);
  EXPECT_EQ(output_.repeat_count(), 0u);
  Produce(8);
  queued_ = 6;
  ExpectStats(3, 2, 2);
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(output_.OutputCurrentFrame());
  EXPECT_FALSE(output_.OutputCurrentFrame());
  EXPECT_FALSE(output_.OutputCurrentFrame());
  EXPECT_TRUE(output_.OutputCurrentFrame());
  queued_ = 0;
  ExpectStats(11, 4, 2);
  EXPECT_EQ(output_.repeat_count(), 2u);
}

TEST_F(OutputStatsTest, WhatAStopOrAStartTakesOutOfTheQueueIsDropped) {
  output_.Attach(&receiver_);
  Produce(3, 2);
  EXPECT_FALSE(output_.OutputCurrentFrame());  // Seen once: it is not lost.
  queued_ = 2;
  ExpectStats(1, 0, 0);
  output_.Detach();
  for (int i = 0; i < 5; ++i) output_.OutputCurrentFrame();
  queued_ = 0;
  ExpectStats(1, 0, 2);
  output_.Attach(&receiver_);
  Produce(4, 2);
  EXPECT_FALSE(output_.OutputCurrentFrame());
  output_.Attach(&receiver_);
  ExpectStats(2, 0, 5);
}

TEST_F(OutputStatsTest, TellsTheReceiverOfARepeat) {
  class Asking : public Receiver {
   public:
    explicit Asking(const GraphicsOutput* output) : output_(output) {}
    void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
      Receiver::OnOutputRawData(frame, timestamp);
      repeating.push_back(RepeatsDelivery(output_));
    }
    std::vector<bool> repeating;

   private:
    const GraphicsOutput* const output_;
  };
  Asking asking(&output_);
  output_.Attach(&asking);
  Produce(1, 2);
  Produce(1);
  for (int i = 0; i < 3; ++i) {
    output_.OutputCurrentFrame();
    EXPECT_FALSE(output_.repeating());
  }
  EXPECT_THAT(asking.repeating, ElementsAre(false, true, false));
}

TEST_F(OutputStatsTest, NoOutputHasNone) {
  EXPECT_EQ(ReadOutputStats(nullptr).delivered, 0u);
  EXPECT_FALSE(RepeatsDelivery(nullptr));
  EXPECT_FALSE(WaitForRoom(nullptr, 1));
  EXPECT_FALSE(WaitForDeliveries(nullptr, 1));
}

// Though there is always more in the queue.
TEST_F(OutputStatsTest, AWaitForDeliveriesIsForThoseBeforeIt) {
  output_.Attach(&receiver_);
  Produce(2);
  std::atomic<bool> waited{false};
  std::thread waiter([&] {
    EXPECT_TRUE(output_.WaitForDeliveries(600000));
    waited = true;
  });
  for (int i = 0; i < 1000000 && !waited; ++i) {
    Produce(1);
    output_.OutputCurrentFrame();
    std::this_thread::yield();
  }
  EXPECT_TRUE(waited);
  EXPECT_FALSE(output_.WaitForDeliveries(0));
  output_.Detach();
  waiter.join();
}

TEST_F(OutputStatsTest, AWaitForDeliveriesIsForTheCallThatStartsItsOutputAnewToo) {
  class Restarting : public Receiver {
   public:
    explicit Restarting(GraphicsOutputImpl* output) : output_(output) {}
    void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
      Receiver::OnOutputRawData(frame, timestamp);
      for (int i = 0; i < 2; ++i) {
        output_->Attach(this);
        std::thread([this] { EXPECT_FALSE(output_->WaitForDeliveries(0)); }).join();
      }
    }

   private:
    GraphicsOutputImpl* const output_;
  };
  Restarting restarting(&output_);
  output_.Attach(&restarting);
  Produce(3);
  EXPECT_TRUE(output_.OutputCurrentFrame());
  EXPECT_TRUE(output_.WaitForDeliveries(0));
  Produce(1);
  EXPECT_FALSE(output_.WaitForDeliveries(0));
  EXPECT_TRUE(output_.OutputCurrentFrame());
  EXPECT_TRUE(output_.WaitForDeliveries(0));
}

TEST_F(OutputStatsTest, RepeatsLieOnTheGridOfTheClock) {
  const auto clock = std::make_shared<FrameClock>();
  ASSERT_TRUE(clock->SetFrameRate(30000, 1001));
  output_.FollowClock(clock);
  EXPECT_EQ(output_.frame_interval_, 33366667u);
  clock->SetFps(50);  // The output keeps what it has.
  output_.Attach(&receiver_);
  const FrameGrid grid(777, FrameRate{30000, 1001});
  clock->BeginFrame(grid.TimeOf(100), 777);
  output_.Produce(1, grid.TimeOf(100), 4);
  clock->BeginFrame(5, 5);  // Another grid begins, which that picture is not of.
  while (!output_.OutputCurrentFrame()) continue;
  clock->BeginFrame(1000);
  output_.Produce(2, 1000, 2);  // No point of the grid from 0.
  while (!output_.OutputCurrentFrame()) continue;
  EXPECT_THAT(receiver_.deliveries,
              ElementsAre(Delivery{1, grid.TimeOf(100)}, Delivery{1, grid.TimeOf(101)}, Delivery{1, grid.TimeOf(102)},
                          Delivery{1, grid.TimeOf(103)}, Delivery{2, 1000}, Delivery{2, 1000 + 33366667}));
}

TEST_F(OutputStatsTest, RoomIsWaitedForAndTold) {
  EXPECT_FALSE(output_.WaitForRoom(0)) << "nobody receives";
  output_.Attach(&receiver_);
  EXPECT_TRUE(output_.WaitForRoom(0));
  EXPECT_TRUE(output_.WaitForDeliveries(0));
  Produce(1);
  EXPECT_FALSE(output_.WaitForDeliveries(0));
  Produce(5);
  EXPECT_FALSE(output_.WaitForRoom(0));
  EXPECT_FALSE(output_.WaitForRoom(1));
  std::thread consumer([this] { output_.OutputCurrentFrame(); });
  EXPECT_TRUE(output_.WaitForRoom(kForeverMs));
  consumer.join();
  std::thread rest([this] {
    for (int i = 0; i < 5; ++i) output_.OutputCurrentFrame();
  });
  EXPECT_TRUE(output_.WaitForDeliveries(kForeverMs));
  EXPECT_EQ(receiver_.deliveries.size(), 6u);
  rest.join();
}

TEST_F(OutputStatsTest, AWaitEndsWithTheReceiver) {
  output_.Attach(&receiver_);
  Produce(6);
  std::thread waiter([this] { EXPECT_FALSE(output_.WaitForRoom(kForeverMs)); });
  std::thread other([this] { EXPECT_FALSE(output_.WaitForDeliveries(kForeverMs)); });
  output_.Detach();
  waiter.join();
  other.join();
}

TEST_F(OutputStatsTest, AReceiverCannotWaitForItself) {
  class Waiting : public Receiver {
   public:
    explicit Waiting(GraphicsOutput* output) : output_(output) {}
    void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
      Receiver::OnOutputRawData(frame, timestamp);
      EXPECT_FALSE(WaitForRoom(output_, kForeverMs));
      EXPECT_FALSE(WaitForDeliveries(output_, kForeverMs));
    }

   private:
    GraphicsOutput* const output_;
  };
  Waiting waiting(&output_);
  output_.Attach(&waiting);
  Produce(1);
  EXPECT_TRUE(output_.OutputCurrentFrame());
  EXPECT_EQ(waiting.deliveries.size(), 1u);
}

TEST_F(GraphicsOutputImplTest, DetachWaitsForTheRunningCallAlone) {
  TestOutput output;
  // Sees to the end of its call whether Detach has returned.
  class SlowReceiver : public GraphicsOutput::OutputCallback {
   public:
    explicit SlowReceiver(TestOutput* output) : OutputCallback(GraphicsOutput::kOutputRGBA), output_(output) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      ++calls;
      // Until the detach has begun.
      while (output_->attached_format() != TestOutput::kNotAttached) std::this_thread::yield();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      EXPECT_FALSE(detached);
    }
    std::atomic<int> calls{0};
    std::atomic<bool> detached{false};

   private:
    TestOutput* output_;
  } receiver(&output);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, 0, 1000));
  while (receiver.calls == 0) std::this_thread::yield();
  output.Detach();
  receiver.detached = true;
  // What is queued, and what comes, is consumed without a call.
  while (!output.Produce(7, 0, 1)) std::this_thread::yield();
  output.StopThread();
  EXPECT_EQ(receiver.calls, 1);
}

TEST_F(GraphicsOutputImplTest, DetachOutlastsAnAttachOfTheRunningCall) {
  TestOutput output;
  // Attaches itself again, once the detach has begun, and brings more to be delivered.
  class StubbornReceiver : public GraphicsOutput::OutputCallback {
   public:
    explicit StubbornReceiver(TestOutput* output) : OutputCallback(GraphicsOutput::kOutputRGBA), output_(output) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      ++calls;
      while (output_->attached_format() != TestOutput::kNotAttached) std::this_thread::yield();
      output_->Detach();
      output_->Attach(this);
      EXPECT_EQ(output_->attached_format(), TestOutput::kNotAttached) << "nothing is produced for it";
      for (std::uint32_t i = 1; i <= 6; ++i) EXPECT_TRUE(output_->Produce(i, 0, 1000));
    }
    std::atomic<int> calls{0};

   private:
    TestOutput* output_;
  } receiver(&output);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 0, 1));
  while (receiver.calls == 0) std::this_thread::yield();
  output.Detach();
  EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
  while (!output.Produce(7, 0, 1)) std::this_thread::yield();
  output.StopThread();
  EXPECT_EQ(receiver.calls, 1);
}

TEST_F(GraphicsOutputImplTest, NoCallBeginsWhileTheyArePaused) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  output.PauseCalls();
  output.PauseCalls();
  EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
  ASSERT_TRUE(output.Produce(1, 1, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());
  output.ResumeCalls();
  ASSERT_TRUE(output.Produce(2, 2, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());
  output.ResumeCalls();
  EXPECT_EQ(output.attached_format(), GraphicsOutput::kOutputRGBA);
  ASSERT_TRUE(output.Produce(3, 3, 1));
  EXPECT_TRUE(output.OutputCurrentFrame());
  EXPECT_THAT(receiver.deliveries, ElementsAre(Delivery{3, 3}));
}

TEST_F(GraphicsOutputImplTest, AnOutputPauseEndsWithItsScope) {
  TestOutput output;
  Receiver receiver;
  output.Attach(&receiver);
  {
    const OutputPause pause(&output);
    EXPECT_EQ(output.attached_format(), TestOutput::kNotAttached);
  }
  EXPECT_EQ(output.attached_format(), GraphicsOutput::kOutputRGBA);
  const OutputPause of_none(nullptr);
}

TEST_F(GraphicsOutputImplTest, AReceiverMayDetachFromItsCall) {
  TestOutput output;
  class DetachingReceiver : public GraphicsOutput::OutputCallback {
   public:
    explicit DetachingReceiver(TestOutput* output) : OutputCallback(GraphicsOutput::kOutputRGBA), output_(output) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      ++calls;
      output_->Detach();
    }
    std::atomic<int> calls{0};

   private:
    TestOutput* output_;
  } receiver(&output);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 0, 5));
  while (receiver.calls == 0) std::this_thread::yield();
  // Once seven more have found room, the first is long over.
  for (std::uint32_t i = 2; i <= 8; ++i) {
    while (!output.Produce(i, 0, 1)) std::this_thread::yield();
  }
  output.StopThread();
  EXPECT_EQ(receiver.calls, 1);
}

// Each would take the thread a moment, and all of them minutes.
TEST_F(GraphicsOutputImplTest, DeliveriesThatNobodyHearsAreCountedAtOnce) {
  TestOutput output;
  class LeavingReceiver : public GraphicsOutput::OutputCallback {
   public:
    explicit LeavingReceiver(TestOutput* output) : OutputCallback(GraphicsOutput::kOutputRGBA), output_(output) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      while (!queued) std::this_thread::yield();
      output_->Detach();
    }
    std::atomic<bool> queued{false};

   private:
    TestOutput* output_;
  } receiver(&output);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, i, 2));
  EXPECT_FALSE(output.Produce(7, 7, kIntMax));
  receiver.queued = true;
  constexpr std::uint32_t kAll = 5 * 2 + static_cast<std::uint32_t>(kIntMax);
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (output.output_count_ != kAll && std::chrono::steady_clock::now() < patience) std::this_thread::yield();
  EXPECT_EQ(output.output_count_, kAll);
  output.StopThread();
  EXPECT_EQ(output.repeat_count_, static_cast<std::uint32_t>(kIntMax) - 1);
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_EQ(output.stats().delivered, 1u);
  EXPECT_EQ(output.stats().dropped, 6u);
}

TEST_F(GraphicsOutputImplTest, ThreadDeliversNothingThatAnAttachDiscarded) {
  TestOutput output;
  GatedReceiver first(false);
  GatedReceiver second(true);
  ASSERT_TRUE(output.Init());
  output.Attach(&first);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, i, 2));
  first.WaitForDeliveries(1);
  std::thread opener([&] {
    while (output.attached_format() != TestOutput::kNotAttached) std::this_thread::yield();
    first.Open();
  });
  output.Attach(&second);  // Waits for the running call.
  opener.join();
  EXPECT_THAT(first.WaitForDeliveries(1), ElementsAre(Delivery{1, 1}));
  std::vector<Delivery> expected;
  for (std::uint32_t i = 11; i <= 13; ++i) {
    ASSERT_TRUE(output.Produce(i, i, 1));
    expected.push_back({i, i});
  }
  EXPECT_EQ(second.WaitForDeliveries(3), expected);
  output.StopThread();
  EXPECT_EQ(output.free_count(), 6u);
  EXPECT_EQ(first.WaitForDeliveries(1).size(), 1u);
  EXPECT_EQ(second.WaitForDeliveries(3).size(), 3u);
}

// Also when the thread has already taken the slot and waits to deliver it.
TEST_F(GraphicsOutputImplTest, AttachDiscardsTheFrameAboutToBeDelivered) {
  TestOutput output;
  GatedReceiver first(true);
  GatedReceiver second(true);
  ASSERT_TRUE(output.Init());
  std::vector<Delivery> expected;
  for (std::uint32_t round = 1; round <= 50; ++round) {
    {
      MutexLocker<Mutex> lock(output.callback_mutex_);
      output.Attach(&first);
      ASSERT_TRUE(output.Produce(1, round, 1));
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      output.Attach(&second);
    }
    ASSERT_TRUE(output.Produce(2, round, 1));
    expected.push_back({2, round});
    ASSERT_EQ(second.WaitForDeliveries(round), expected);
  }
  output.StopThread();
  EXPECT_THAT(first.WaitForDeliveries(0), IsEmpty());
  EXPECT_EQ(second.WaitForDeliveries(0), expected);
}

TEST_F(GraphicsOutputImplTest, ThreadCountsNoWakeUpsForDiscardedFrames) {
  TestOutput output;
  GatedReceiver next(true);
  // Holds its one call until all is queued, then leaves to the next.
  class LeavingReceiver : public GraphicsOutput::OutputCallback {
   public:
    LeavingReceiver(TestOutput* output, OutputCallback* next)
        : OutputCallback(GraphicsOutput::kOutputRGBA), output_(output), next_(next) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      while (!queued) std::this_thread::yield();
      output_->Attach(next_);
      left = true;
    }
    std::atomic<bool> queued{false};
    std::atomic<bool> left{false};

   private:
    TestOutput* output_;
    OutputCallback* next_;
  } receiver(&output, &next);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  for (std::uint32_t i = 1; i <= 6; ++i) ASSERT_TRUE(output.Produce(i, i, 2));
  receiver.queued = true;
  while (!receiver.left) std::this_thread::yield();
  std::vector<Delivery> expected;
  for (std::uint32_t i = 11; i <= 13; ++i) {
    ASSERT_TRUE(output.Produce(i, i, 1));
    expected.push_back({i, i});
  }
  EXPECT_EQ(next.WaitForDeliveries(3), expected);
  output.StopThread();
  EXPECT_EQ(output.output_count_, 4u);
  EXPECT_EQ(output.free_count(), 6u);
}

TEST_F(GraphicsOutputImplTest, StopsAmongTheDeliveriesOfAFrame) {
  TestOutput output;
  class WaitingReceiver : public GraphicsOutput::OutputCallback {
   public:
    explicit WaitingReceiver(TestOutput* output) : OutputCallback(GraphicsOutput::kOutputRGBA), output_(output) {}
    void OnOutputRawData(const GraphicsFrame&, unsigned long long) override {
      ++calls;
      while (!output_->stop_) std::this_thread::yield();
    }
    std::atomic<int> calls{0};

   private:
    TestOutput* output_;
  } receiver(&output);
  ASSERT_TRUE(output.Init());
  output.Attach(&receiver);
  ASSERT_TRUE(output.Produce(1, 0, kIntMax));
  while (receiver.calls == 0) std::this_thread::yield();
  output.StopThread();
  EXPECT_EQ(receiver.calls, 1);
  EXPECT_EQ(output.output_count_, 2u);  // The call, and once for stopping.
}

TEST_F(GraphicsOutputImplTest, DestructorEndsTheThread) {
  GatedReceiver receiver(true);
  for (int i = 0; i < 50; ++i) {
    // Without the derived class's help, too.
    auto output = std::make_unique<GraphicsOutputImpl>(nullptr, 4u, 4u, 30u);
    ASSERT_TRUE(output->Init());
    output->Attach(&receiver);
    GraphicsFrame* frame = nullptr;
    for (std::uint32_t id = 0; id < 6 && i % 2 == 0; ++id) {
      ASSERT_TRUE(output->LockFrame(&frame, 0, 3));
      Stamp(frame, id);
      output->UnlockFrame();
    }
  }
}

// For the thread sanitizer: a producer, two threads that attach and detach, and the output thread. A mutex stands for
// the context's lock, which keeps producing and attaching apart.
TEST_F(GraphicsOutputImplTest, SurvivesAttachingWhileProducing) {
  constexpr int kPictures = 4000;
  TestOutput output;
  ASSERT_TRUE(output.Init());
  std::mutex context_lock;
  std::atomic<bool> done{false};
  class CheckingReceiver : public GraphicsOutput::OutputCallback {
   public:
    explicit CheckingReceiver(OutputFormat format) : OutputCallback(format) {}
    void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
      // A picture that was rendered, whole, and not before this receiver was there. Repeats come later than their
      // stamp.
      ASSERT_NE(frame.data[0], nullptr);
      const std::uint32_t id = IdOf(frame.data[0]);
      EXPECT_GE(id, since);
      EXPECT_GE(timestamp, id);
      ++calls;
    }
    std::uint32_t since = 0;
    std::uint64_t calls = 0;
  };
  std::uint32_t next_id = 1;
  const auto attach_and_detach = [&](OutputFormat format) {
    CheckingReceiver receiver(format);
    while (!done) {
      {
        std::lock_guard<std::mutex> lock(context_lock);
        // Before anyone attaches us our field is ours; afterwards it changes only detached.
        receiver.since = next_id;
        output.Attach(&receiver);
      }
      std::this_thread::yield();
      output.Detach();
      // Whoever attached in between is detached as well; either way nobody calls this receiver now.
    }
    output.Detach();
  };
  std::thread raw(attach_and_detach, GraphicsOutput::kOutputRGBA);
  std::thread other(attach_and_detach, GraphicsOutput::kOutputI420);
  for (int i = 0; i < kPictures; ++i) {
    std::lock_guard<std::mutex> lock(context_lock);
    output.Produce(next_id, next_id, 1 + i % 3);
    ++next_id;
  }
  done = true;
  raw.join();
  other.join();
  output.StopThread();
  EXPECT_LE(output.free_count(), 6u);
}

}  // namespace
