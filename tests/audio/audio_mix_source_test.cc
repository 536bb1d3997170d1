#include "audio/audio_mix_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "foundation/logger.h"
#include "tests/support/log_capture.h"

namespace {

using testing::Each;
using testing::ElementsAre;

constexpr char kNewSequence[] = "audio mix source new sequence ";
constexpr std::uint64_t kNoSequence = ~std::uint64_t{0};

template <class T>
struct TypeOf;
template <>
struct TypeOf<float> {
  static constexpr InternalSampleType value = kInternalSampleFloat;
};
template <>
struct TypeOf<short> {
  static constexpr InternalSampleType value = kInternalSampleShort;
};

// Channel c of frame i is i + 1000 c, modulo what a short holds.
template <class T>
T Sample(std::size_t frame, unsigned int channel) {
  return static_cast<T>((frame + 1000 * channel) % 30000);
}

// A source with a host that pushes frames in order.
template <class T>
class Feed {
 public:
  Feed(unsigned int sample_rate, unsigned int channels)
      : source(sample_rate, channels, TypeOf<T>::value), channels_(channels) {}

  void Push(unsigned int frames, std::uint64_t sequence = 1) {
    std::vector<std::vector<T>> planes(channels_, std::vector<T>(frames));
    std::vector<const void*> pointers;
    for (unsigned int c = 0; c < channels_; ++c) {
      for (unsigned int i = 0; i < frames; ++i) planes[c][i] = Sample<T>(next_ + i, c);
      pointers.push_back(planes[c].data());
    }
    next_ += frames;
    source.PushBackSamples(pointers.data(), frames, sequence);
  }

  // What comes of `frames` frames: one vector a channel, as long as what came.
  std::vector<std::vector<T>> Pop(unsigned int frames) {
    std::vector<std::vector<T>> planes(channels_, std::vector<T>(frames));
    std::vector<void*> pointers;
    for (auto& plane : planes) pointers.push_back(plane.data());
    const unsigned long count = source.PopFrontSamples(pointers.data(), frames);
    for (auto& plane : planes) plane.resize(count);
    return planes;
  }

  // Whether the source holds exactly the frames from `first` to the newest one. It is empty afterwards.
  void ExpectHolds(std::size_t first) {
    const auto planes = Pop(static_cast<unsigned int>(next_ + 1000));
    for (unsigned int c = 0; c < channels_; ++c) {
      ASSERT_EQ(planes[c].size(), next_ - first) << "channel " << c;
      for (std::size_t i = 0; i < planes[c].size(); ++i) {
        ASSERT_EQ(planes[c][i], Sample<T>(first + i, c)) << "channel " << c << ", frame " << first + i;
      }
    }
  }

  bool ready() {
    void* planes[kMaxMixChannels] = {};
    // A frame at the most is lost, which no caller misses.
    return source.PopFrontSamples(planes, 1) > 0;
  }

  AudioMixSource source;

 private:
  const unsigned int channels_;
  std::size_t next_ = 0;
};

template <class T>
class AudioMixSourceTypedTest : public testing::Test {
 protected:
  LogCapture log_;
};

using SampleTypes = testing::Types<short, float>;
TYPED_TEST_SUITE(AudioMixSourceTypedTest, SampleTypes);

class AudioMixSourceTest : public testing::Test {
 protected:
  LogCapture log_;
};

TYPED_TEST(AudioMixSourceTypedTest, GivesNothingBeforeItIsReady) {
  Feed<TypeParam> feed(48000, 2);
  for (int i = 0; i < 8; ++i) feed.Push(480);
  std::vector<TypeParam> planes[2] = {std::vector<TypeParam>(480, 7), std::vector<TypeParam>(480, 8)};
  void* pointers[] = {planes[0].data(), planes[1].data()};
  EXPECT_EQ(feed.source.PopFrontSamples(pointers, 480), 0u);
  EXPECT_THAT(planes[0], Each(7));
  EXPECT_THAT(planes[1], Each(8));
}

TYPED_TEST(AudioMixSourceTypedTest, TurnsReadyOnePushShortOf100Ms) {
  Feed<TypeParam> feed(48000, 2);
  for (int i = 0; i < 8; ++i) {
    feed.Push(480);
    EXPECT_FALSE(feed.ready()) << "push " << i;
  }
  feed.Push(480);
  feed.ExpectHolds(0);
}

TYPED_TEST(AudioMixSourceTypedTest, CountsThePushTwice) {
  {
    Feed<TypeParam> feed(48000, 1);
    feed.Push(2399);
    EXPECT_FALSE(feed.ready());
  }
  {
    Feed<TypeParam> feed(48000, 1);
    feed.Push(2400);
    EXPECT_TRUE(feed.ready());
  }
  {
    Feed<TypeParam> feed(48000, 1);
    feed.Push(1000);
    feed.Push(1399);
    EXPECT_FALSE(feed.ready()) << "2,399 and 1,399 make 3,798";
    feed.Push(1200);
    EXPECT_FALSE(feed.ready()) << "3,599 and 1,200 make 4,799";
    feed.Push(0);
    EXPECT_FALSE(feed.ready());
    feed.Push(601);
    EXPECT_TRUE(feed.ready());
  }
}

TYPED_TEST(AudioMixSourceTypedTest, GivesChannelsInOrder) {
  Feed<TypeParam> feed(48000, 3);
  feed.source.Enable();
  feed.Push(3000);
  feed.Push(3000);
  const auto first = feed.Pop(2400);
  ASSERT_EQ(first[2].size(), 2400u);
  EXPECT_EQ(first[0][0], 0);
  EXPECT_EQ(first[1][0], 1000);
  EXPECT_EQ(first[2][2399], Sample<TypeParam>(2399, 2));
  feed.ExpectHolds(2400);
}

TYPED_TEST(AudioMixSourceTypedTest, ShortReadGivesWhatThereIsAndStaysReady) {
  Feed<TypeParam> feed(48000, 2);
  feed.source.Enable();
  feed.Push(3000);
  EXPECT_EQ(feed.Pop(2400)[1].size(), 2400u);
  std::vector<TypeParam> planes[2] = {std::vector<TypeParam>(2400, -1), std::vector<TypeParam>(2400, -1)};
  void* pointers[] = {planes[0].data(), planes[1].data()};
  EXPECT_EQ(feed.source.PopFrontSamples(pointers, 2400), 600u);
  for (unsigned int c = 0; c < 2; ++c) {
    EXPECT_EQ(planes[c][599], Sample<TypeParam>(2999, c));
    EXPECT_EQ(planes[c][600], -1) << "beyond what came, a plane is untouched";
  }
  EXPECT_EQ(feed.Pop(2400)[0].size(), 0u);
  feed.Push(10);
  EXPECT_EQ(feed.Pop(2400)[0].size(), 10u) << "it is still ready";
}

TYPED_TEST(AudioMixSourceTypedTest, NewSequenceStartsOver) {
  Feed<TypeParam> feed(48000, 2);
  feed.Push(2400, 1);
  feed.Push(480, 1);
  EXPECT_TRUE(feed.ready());
  this->log_.Clear();
  feed.Push(480, 2);
  EXPECT_THAT(this->log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, kNewSequence}));
  EXPECT_FALSE(feed.ready());
  for (int i = 0; i < 8; ++i) feed.Push(480, 2);
  feed.ExpectHolds(2880);
  EXPECT_EQ(this->log_.Lines().size(), 1u);
}

TYPED_TEST(AudioMixSourceTypedTest, NewSequenceOnEveryPushIsNeverReady) {
  Feed<TypeParam> feed(48000, 2);
  for (std::uint64_t i = 0; i < 40; ++i) {
    feed.Push(480, i);
    EXPECT_FALSE(feed.ready());
  }
  EXPECT_EQ(this->log_.Count(Logger::Level::Warn, kNewSequence), 40u);
}

TYPED_TEST(AudioMixSourceTypedTest, IdleSourceKeepsItsLatest100Ms) {
  Feed<TypeParam> feed(48000, 2);
  for (int i = 0; i < 10; ++i) feed.Push(480);
  for (int i = 0; i < 300; ++i) feed.Push(480);
  feed.ExpectHolds(300 * 480);
}

TYPED_TEST(AudioMixSourceTypedTest, IdleSourceStopsShortOfALimitThatNoPushMeets) {
  Feed<TypeParam> feed(48000, 2);
  for (int i = 0; i < 50; ++i) feed.Push(1000);
  feed.ExpectHolds(46000);
}

TYPED_TEST(AudioMixSourceTypedTest, IdleSourceKeepsNothingOfAPushBeyondItsLimit) {
  Feed<TypeParam> feed(48000, 1);
  feed.Push(4801);
  // As many samples are dropped as were pushed, which are all (Kept: C32). The source is ready none the less, for the
  // push counts by itself (Kept: C33).
  EXPECT_EQ(feed.Pop(1)[0].size(), 0u);
  feed.Push(5);
  EXPECT_EQ(feed.Pop(10)[0].size(), 5u);
}

TYPED_TEST(AudioMixSourceTypedTest, EnabledSourceKeepsUpToTenSeconds) {
  Feed<TypeParam> feed(8000, 1);
  feed.source.Enable();
  for (int i = 0; i < 79; ++i) feed.Push(1000);
  feed.ExpectHolds(0);
}

TYPED_TEST(AudioMixSourceTypedTest, OverflowDropsTheOldest) {
  Feed<TypeParam> feed(8000, 2);
  feed.source.Enable();
  // At 80,000 the ring comes round, which costs its reserve of 800; the next thousand overtake the reader.
  for (int i = 0; i < 81; ++i) feed.Push(1000);
  feed.ExpectHolds(1800);
}

TYPED_TEST(AudioMixSourceTypedTest, DisablingTrimsFromTheNextPushOn) {
  Feed<TypeParam> feed(48000, 2);
  feed.source.Enable();
  EXPECT_TRUE(feed.source.enabled());
  for (int i = 0; i < 20; ++i) feed.Push(480);
  feed.source.Disable();
  EXPECT_FALSE(feed.source.enabled());
  feed.Push(480);
  feed.ExpectHolds(480);
}

TYPED_TEST(AudioMixSourceTypedTest, NullPlaneAddsNothingToItsChannel) {
  AudioMixSource source(48000, 3, TypeOf<TypeParam>::value);
  source.Enable();
  const std::vector<TypeParam> samples(2400, 5);
  const void* all[] = {samples.data(), samples.data(), samples.data()};
  const void* without_second[] = {samples.data(), nullptr, samples.data()};
  source.PushBackSamples(all, 2400, 1);
  source.PushBackSamples(without_second, 2400, 1);
  std::vector<TypeParam> popped[3];
  void* planes[3];
  for (int c = 0; c < 3; ++c) {
    popped[c].assign(4800, 0);
    planes[c] = popped[c].data();
  }
  EXPECT_EQ(source.PopFrontSamples(planes, 4800), 4800u);
  EXPECT_EQ(popped[0][4799], 5);
  EXPECT_EQ(popped[1][2399], 5);
  EXPECT_EQ(popped[1][2400], 0);
  EXPECT_EQ(popped[2][4799], 5);
}

TYPED_TEST(AudioMixSourceTypedTest, PopReturnsWhatTheLastChannelGave) {
  AudioMixSource source(48000, 2, TypeOf<TypeParam>::value);
  source.Enable();
  const std::vector<TypeParam> samples(2400, 5);
  const void* first_only[] = {samples.data(), nullptr};
  source.PushBackSamples(first_only, 2400, 1);
  std::vector<TypeParam> popped[2] = {std::vector<TypeParam>(100, 0), std::vector<TypeParam>(100, 0)};
  void* planes[] = {popped[0].data(), popped[1].data()};
  EXPECT_EQ(source.PopFrontSamples(planes, 100), 0u);
  EXPECT_THAT(popped[0], Each(5));
}

TYPED_TEST(AudioMixSourceTypedTest, NullPlanesPushNothing) {
  Feed<TypeParam> feed(48000, 2);
  feed.Push(480);
  this->log_.Clear();
  feed.source.PushBackSamples(nullptr, 48000, 1);
  EXPECT_TRUE(this->log_.Lines().empty());
  EXPECT_FALSE(feed.ready());
  for (int i = 0; i < 8; ++i) feed.Push(480);
  feed.ExpectHolds(0);
}

TYPED_TEST(AudioMixSourceTypedTest, NullPlanesOfANewSequenceStartItAllTheSame) {
  Feed<TypeParam> feed(48000, 2);
  feed.Push(2400);
  feed.Push(2400);
  EXPECT_TRUE(feed.ready());
  this->log_.Clear();
  feed.source.PushBackSamples(nullptr, 48000, 2);
  EXPECT_THAT(this->log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, kNewSequence}));
  EXPECT_FALSE(feed.ready());
  for (int i = 0; i < 9; ++i) feed.Push(480, 2);
  feed.ExpectHolds(4800);
  EXPECT_EQ(this->log_.Lines().size(), 1u);
}

TYPED_TEST(AudioMixSourceTypedTest, PopWithoutPlanesDropsTheSamples) {
  Feed<TypeParam> feed(48000, 2);
  feed.Push(3000);
  EXPECT_EQ(feed.source.PopFrontSamples(nullptr, 1000), 1000u);
  void* planes[] = {nullptr, nullptr};
  EXPECT_EQ(feed.source.PopFrontSamples(planes, 500), 500u);
  feed.ExpectHolds(1500);
}

TYPED_TEST(AudioMixSourceTypedTest, EightChannelsWork) {
  Feed<TypeParam> feed(48000, 8);
  feed.Push(2400);
  feed.Push(480);
  feed.ExpectHolds(0);
}

TYPED_TEST(AudioMixSourceTypedTest, NoChannelsGiveNothing) {
  AudioMixSource source(48000, 0, TypeOf<TypeParam>::value);
  const void* pushed[] = {nullptr};
  source.PushBackSamples(pushed, 48000, 1);
  void* planes[] = {nullptr};
  EXPECT_EQ(source.PopFrontSamples(planes, 100), 0u);
}

TYPED_TEST(AudioMixSourceTypedTest, LimitOfATinyRateIsNothing) {
  Feed<TypeParam> feed(9, 1);
  feed.Push(3);
  EXPECT_EQ(feed.Pop(10)[0].size(), 0u) << "an idle source keeps nothing";
  feed.source.Enable();
  feed.Push(3);
  EXPECT_EQ(feed.Pop(10)[0].size(), 3u);
  // Ten seconds are 90 samples, a ring without reserve, which fills from its start.
  Feed<TypeParam> full(9, 1);
  full.source.Enable();
  for (int i = 0; i < 40; ++i) full.Push(3);
  full.ExpectHolds(30);
}

TYPED_TEST(AudioMixSourceTypedTest, LimitIsRoundedDown) {
  Feed<TypeParam> feed(11025, 1);  // An idle source keeps 1,102 samples at most.
  feed.Push(551);
  EXPECT_TRUE(feed.ready());
  Feed<TypeParam> other(11025, 1);
  other.Push(550);
  EXPECT_FALSE(other.ready());
}

TYPED_TEST(AudioMixSourceTypedTest, PushesAndPopsTakeTurns) {
  // Every frame has one value in all channels: frames that come apart show a push amid a pop.
  constexpr unsigned int kChannels = 4;
  constexpr int kPushes = 2000;
  AudioMixSource source(48000, kChannels, TypeOf<TypeParam>::value);
  source.Enable();
  std::thread host([&] {
    std::vector<TypeParam> samples(480);
    const void* planes[kChannels];
    for (const void*& plane : planes) plane = samples.data();
    for (int i = 0; i < kPushes; ++i) {
      std::fill(samples.begin(), samples.end(), static_cast<TypeParam>(i));
      source.PushBackSamples(planes, 480, 1);
    }
  });
  std::vector<TypeParam> popped[kChannels];
  void* planes[kChannels];
  for (unsigned int c = 0; c < kChannels; ++c) {
    popped[c].resize(700);
    planes[c] = popped[c].data();
  }
  TypeParam last = 0;
  while (last != static_cast<TypeParam>(kPushes - 1)) {
    const unsigned long count = source.PopFrontSamples(planes, 700);
    for (unsigned long i = 0; i < count; ++i) {
      for (unsigned int c = 1; c < kChannels; ++c) ASSERT_EQ(popped[c][i], popped[0][i]);
      ASSERT_GE(popped[0][i], last);
      last = popped[0][i];
    }
    if (count == 0) std::this_thread::yield();
  }
  host.join();
}

using Lending = AudioMixSource::Lending;

// The channels of a block that was lent.
template <class T>
std::vector<std::vector<T>> Read(const AudioMixSource::LentPlanes& lent, unsigned int channels, std::size_t frames) {
  std::vector<std::vector<T>> planes;
  for (unsigned int c = 0; c < channels; ++c) {
    const T* const samples = static_cast<const T*>(lent[c].samples);
    const T* const rest = static_cast<const T*>(lent[c].rest);
    planes.emplace_back(samples, samples + lent[c].count);
    planes.back().insert(planes.back().end(), rest, rest + (frames - lent[c].count));
  }
  return planes;
}

TYPED_TEST(AudioMixSourceTypedTest, LendsWhatAPopWouldGive) {
  Feed<TypeParam> lender(48000, 3);
  Feed<TypeParam> other(48000, 3);
  for (Feed<TypeParam>* feed : {&lender, &other}) {
    feed->source.Enable();
    for (int i = 0; i < 10; ++i) feed->Push(1000);
  }
  for (int block = 0; block < 20; ++block) {
    AudioMixSource::LentPlanes lent;
    ASSERT_EQ(lender.source.LendBlock(TypeOf<TypeParam>::value, 2, 2400, true, &lent), Lending::kLent);
    for (Feed<TypeParam>* feed : {&lender, &other}) feed->Push(2400);
    EXPECT_EQ(Read<TypeParam>(lent, 3, 2400), other.Pop(2400)) << "block " << block;
    lender.source.TakeBack();
  }
  lender.ExpectHolds(20 * 2400);
}

TYPED_TEST(AudioMixSourceTypedTest, LendsWholeBlocksOfItsTypeOnly) {
  constexpr InternalSampleType kType = TypeOf<TypeParam>::value;
  constexpr InternalSampleType kOther = kType == kInternalSampleFloat ? kInternalSampleShort : kInternalSampleFloat;
  AudioMixSource::LentPlanes lent;
  Feed<TypeParam> feed(48000, 2);
  feed.source.Enable();
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 2400, true, &lent), Lending::kNothing);
  feed.Push(2000);
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 1000, true, &lent), Lending::kNothing) << "it is not ready";
  feed.Push(2000);
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 0, true, &lent), Lending::kNothing);
  EXPECT_EQ(feed.source.LendBlock(kType, 3, 2400, true, &lent), Lending::kNotSo);
  EXPECT_EQ(feed.source.LendBlock(kOther, 2, 2400, true, &lent), Lending::kNotSo);
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 4001, true, &lent), Lending::kNotSo);
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 2400, true, &lent), Lending::kLent);
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 1000, true, &lent), Lending::kNotSo) << "one is lent already";
  EXPECT_EQ(feed.Pop(600)[0].size(), 600u);
  feed.source.TakeBack();
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 1000, true, &lent), Lending::kLent);
  feed.source.TakeBack();
  EXPECT_EQ(feed.source.LendBlock(kType, 2, 1, true, &lent), Lending::kNothing) << "it ran dry";
}

TYPED_TEST(AudioMixSourceTypedTest, ChannelThatIsShortIsNotLent) {
  AudioMixSource source(48000, 2, TypeOf<TypeParam>::value);
  source.Enable();
  const std::vector<TypeParam> samples(2400, 5);
  const void* first_only[] = {samples.data(), nullptr};
  source.PushBackSamples(first_only, 2400, 1);
  AudioMixSource::LentPlanes lent;
  EXPECT_EQ(source.LendBlock(TypeOf<TypeParam>::value, 1, 2400, true, &lent), Lending::kNotSo);
}

// A push that needs the memory of a block that is lent waits for it, and nobody else who does not wait gets the source.
TYPED_TEST(AudioMixSourceTypedTest, PushWithoutRoomWaitsForWhatIsLent) {
  constexpr InternalSampleType kType = TypeOf<TypeParam>::value;
  Feed<TypeParam> feed(8000, 1);
  feed.source.Enable();
  feed.Push(1000);
  AudioMixSource::LentPlanes lent;
  ASSERT_EQ(feed.source.LendBlock(kType, 1, 400, true, &lent), Lending::kLent);
  std::atomic<bool> pushed{false};
  std::thread host([&] {
    for (int i = 0; i < 8; ++i) feed.Push(79000);
    pushed = true;
  });
  AudioMixSource::LentPlanes none;
  while (feed.source.LendBlock(kType, 1, 400, false, &none) != Lending::kBusy) std::this_thread::yield();
  EXPECT_FALSE(pushed);
  const auto block = Read<TypeParam>(lent, 1, 400);
  for (std::size_t i = 0; i < 400; ++i) ASSERT_EQ(block[0][i], Sample<TypeParam>(i, 0));
  feed.source.TakeBack();
  host.join();
  EXPECT_TRUE(pushed);
}

// What 200 ms of stereo cost in memory, after a minute of it.
TYPED_TEST(AudioMixSourceTypedTest, KeepsWhatIsInUseInFewPages) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  Feed<TypeParam> feed(48000, 2);
  feed.source.Enable();
  AudioMixSource::LentPlanes lent;
  feed.Push(2400);
  ASSERT_EQ(feed.source.LendBlock(TypeOf<TypeParam>::value, 2, 2400, true, &lent), Lending::kLent);
  const std::array<const void*, 2> fronts = {lent[0].samples, lent[1].samples};
  feed.source.TakeBack();
  for (int i = 0; i < 20; ++i) feed.Push(480);
  for (int block = 0; block < 60 * 20; ++block) {
    ASSERT_EQ(feed.source.LendBlock(TypeOf<TypeParam>::value, 2, 2400, true, &lent), Lending::kLent);
    if (block % 2 == 0) feed.source.TakeBack();
    for (int i = 0; i < 5; ++i) feed.Push(480);
    if (block % 2 == 1) feed.source.TakeBack();
  }
  std::size_t in_use = 0;
  for (const void* front : fronts) {
    std::vector<unsigned char> pages((480000 * sizeof(TypeParam) + page - 1) / page);
    ASSERT_EQ(mincore(const_cast<void*>(front), 480000 * sizeof(TypeParam), pages.data()), 0);
    in_use += page * static_cast<std::size_t>(std::count_if(pages.begin(), pages.end(), [](auto p) { return p & 1; }));
  }
  EXPECT_LE(in_use, 2 * 64 * 1024 * sizeof(TypeParam) / sizeof(float));
}

// A fork has no mixer that would take back what it has borrowed.
TEST_F(AudioMixSourceTest, ForkTakesBackWhatWasLent) {
  Feed<float> feed(8000, 1);
  feed.source.Enable();
  feed.Push(1000);
  AudioMixSource::LentPlanes lent;
  ASSERT_EQ(feed.source.LendBlock(kInternalSampleFloat, 1, 400, true, &lent), Lending::kLent);
  const pid_t child = fork();
  if (child == 0) {
    feed.Push(70000);
    _exit(feed.Pop(1000)[0][0] == 400 ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(Read<float>(lent, 1, 400)[0][399], 399.0f);
  feed.source.TakeBack();
}

TEST_F(AudioMixSourceTest, FirstPushIsANewSequence) {
  Feed<float> feed(48000, 2);
  feed.Push(480, 0);
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, kNewSequence}));
  feed.Push(480, 0);
  EXPECT_EQ(log_.Lines().size(), 1u);
}

TEST_F(AudioMixSourceTest, SequenceOfNoPushYetIsTheLargestValue) {
  Feed<float> feed(48000, 2);
  feed.Push(480, kNoSequence);
  EXPECT_TRUE(log_.Lines().empty());
  feed.Push(480, 1);
  feed.Push(480, kNoSequence);
  EXPECT_EQ(log_.Count(Logger::Level::Warn, kNewSequence), 2u) << "later it is a value as any other";
}

TEST_F(AudioMixSourceTest, WarnsOnThePushersThread) {
  class Recorder : public Logger {
   public:
    Recorder() : Logger("Test"), previous_(default_logger()) { SetDefaultLogger(this); }
    ~Recorder() override { SetDefaultLogger(previous_); }
    void Log(Level, const char*, va_list) override { thread = std::this_thread::get_id(); }
    void Log(Level, const char*) override {}
    std::thread::id thread;

   private:
    Logger* previous_;
  } recorder;
  Feed<float> feed(48000, 2);
  std::thread::id pusher;
  std::thread host([&] {
    pusher = std::this_thread::get_id();
    feed.Push(480);
  });
  host.join();
  EXPECT_EQ(recorder.thread, pusher);
}

TEST_F(AudioMixSourceTest, UnknownTypeAcceptsPushesAndYieldsNothing) {
  AudioMixSource source(48000, 2, static_cast<InternalSampleType>(2));
  const std::vector<float> samples(9600);
  const void* pushed[] = {samples.data(), samples.data()};
  source.PushBackSamples(pushed, 9600, 1);
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Warn, kNewSequence}));
  std::vector<float> popped(100, 3);
  void* planes[] = {popped.data(), popped.data()};
  EXPECT_EQ(source.PopFrontSamples(planes, 100), 0u);
  EXPECT_THAT(popped, Each(3));
}

TEST_F(AudioMixSourceTest, IsInertWithoutARate) {
  AudioMixSource source(0, 2, kInternalSampleFloat);
  EXPECT_THAT(log_.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Error, "[AudioMixSource] no source of 0 Hz and 2 channels"}));
  log_.Clear();
  source.Enable();
  const std::vector<float> samples(100);
  const void* pushed[] = {samples.data(), samples.data()};
  source.PushBackSamples(pushed, 100, 1);
  void* planes[] = {nullptr, nullptr};
  EXPECT_EQ(source.PopFrontSamples(planes, 100), 0u);
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(AudioMixSourceTest, IsInertWithMoreThanEightChannels) {
  AudioMixSource source(48000, 9, kInternalSampleShort);
  EXPECT_THAT(log_.Lines(), ElementsAre(LogCapture::Line{Logger::Level::Error,
                                                         "[AudioMixSource] no source of 48000 Hz and 9 channels"}));
  log_.Clear();
  const std::vector<short> samples(9600);
  std::vector<const void*> pushed(9, samples.data());
  source.PushBackSamples(pushed.data(), 9600, 1);
  std::vector<void*> planes(9);
  EXPECT_EQ(source.PopFrontSamples(planes.data(), 100), 0u);
  EXPECT_TRUE(log_.Lines().empty());
}

}  // namespace
