// The log, the wrappers of the foundation, the main queue and the audio classes with each of their allocations failing:
// nothing is thrown, what cannot be had answers neutrally, and the log says what will not happen.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/quarn.h>

#include "tests/support/failing_allocations.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A log handler, and what came through it.
class Log {
 public:
  struct Line {
    int level;
    std::string text;

    bool operator==(const Line& other) const { return level == other.level && text == other.text; }
  };

  static void Handle(int level, const char* format, va_list args, void* user) {
    char text[256];
    std::vsnprintf(text, sizeof(text), format, args);
    Log* const log = static_cast<Log*>(user);
    const std::lock_guard<std::mutex> lock(log->mutex_);
    log->lines_.push_back({level, text});
  }

  // The lines since the last call.
  std::vector<Line> Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  std::mutex mutex_;
  std::vector<Line> lines_;
};

void PrintTo(const Log::Line& line, std::ostream* out) { *out << line.level << " \"" << line.text << '"'; }

class NoMemoryTest : public testing::Test {
 protected:
  void SetUp() override { qn_set_log_handle(&Log::Handle, &log_); }
  void TearDown() override { qn_set_log_handle(nullptr, nullptr); }

  // Expects the line where an allocation has failed, and none where all was had.
  void ExpectTold(const std::string& error) {
    if (FailingAllocations::failed()) {
      EXPECT_THAT(log_.Take(), ElementsAre(Log::Line{kQnLogError, error}));
    } else {
      EXPECT_THAT(log_.Take(), IsEmpty());
    }
  }

  Log log_;
};

class Input : public QnAudioInput {
 public:
  using QnAudioInput::QnAudioInput;
  void AddRef() override { ++references; }
  void Release() override { --references; }
  int references = 0;
};

void LogVa(int level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  qn_log_va(level, format, args);
  va_end(args);
}

// Whether no other thread comes in between the two halves of a step that each takes the mutex twice.
bool Excludes(QNMutex& mutex) {
  const FailingAllocations::Pause pause;
  constexpr int kSteps = 2000;
  int count = 0;
  const auto step = [&] {
    for (int i = 0; i < kSteps; ++i) {
      const QNMutexLocker locker(mutex);
      mutex.Lock();
      ++count;
      mutex.Unlock();
    }
  };
  std::thread other(step);
  step();
  other.join();
  return count == 2 * kSteps;
}

// The tests below mean something only while this sees what the library asks for.
TEST(FailingAllocationsTest, SeesWhatTheLibraryAsksFor) {
  qn_set_log_handle(nullptr, nullptr);
  EXPECT_GT(FailingAllocations::Run([] { const QNEvent event(false); }), 1) << "new";
  const int buffers = FailingAllocations::Run([] {
    const auto buffer = MakeRef<RefCounted<QNBuffer>>(100ul);
    EXPECT_EQ(buffer->data() == nullptr, FailingAllocations::failed());
  });
  EXPECT_EQ(buffers, 1) << "malloc";
}

TEST(FailingAllocationsTest, GrantsWhatOthersAskFor) {
  const int failures = FailingAllocations::Run([] {
    EXPECT_EQ(std::string(1000, 'x').size(), 1000u);
    const FailingAllocations::Pause pause;
    EXPECT_TRUE(QNEvent(false).Signal());
  });
  EXPECT_EQ(failures, 0);
}

TEST(FailingAllocationsTest, FailsAnAllocationAloneAndWithAllThatFollow) {
  qn_set_log_handle(nullptr, nullptr);
  std::vector<std::string> calls;
  const int failures = FailingAllocations::Run([&calls] {
    std::string call;
    for (int i = 0; i < 2; ++i) call += MakeRef<RefCounted<QNBuffer>>(64ul)->data() ? '+' : '-';
    calls.push_back(call);
  });
  EXPECT_EQ(failures, 2);
  EXPECT_THAT(calls, ElementsAre("-+", "--", "+-", "+-", "++", "++"));
}

// In a process of its own, where nothing has been logged before. What a death test looks at is the standard error.
TEST(NoMemoryDeathTest, FirstLineOfAProcessIsPrinted) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        FailingAllocations::Run([] { qn_log(kQnLogInfo, "x=%d", 5); });
        std::fflush(stdout);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), testing::HasSubstr("\nI:[Quarn] x=5\nI:[Quarn] x=5\n"));
}

TEST(NoMemoryDeathTest, FirstLineOfAProcessIsCutAsAnyOther) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        const std::string text(5000, 'x');
        FailingAllocations::Run([&] { qn_log(kQnLogInfo, "%s", text.c_str()); });
        std::fflush(stdout);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), testing::HasSubstr("\nI:[Quarn] " + std::string(4095 - 8, 'x') + "\nI:"));
}

TEST(NoMemoryDeathTest, FirstHandlerOfAProcessIsMissedOnStandardOutput) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        FailingAllocations::Run([] { qn_set_log_handle(nullptr, nullptr); });
        std::fflush(stdout);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0),
      testing::HasSubstr("\nE:[Quarn] [Log] no memory for another handler: messages go where they went before\n"));
}

TEST_F(NoMemoryTest, LoggingAsksForNone) {
  const int failures = FailingAllocations::Run([this] {
    qn_log(kQnLogInfo, "x=%d", 5);
    LogVa(kQnLogDebug, "y=%d", 6);
    EXPECT_THAT(log_.Take(), ElementsAre(Log::Line{kQnLogInfo, "x=5"}, Log::Line{kQnLogDebug, "y=6"}));
  });
  EXPECT_EQ(failures, 0);
}

TEST_F(NoMemoryTest, HandlerStaysWhereAnotherFindsNone) {
  Log other;
  const int failures = FailingAllocations::Run([this, &other] {
    qn_set_log_handle(&Log::Handle, &other);
    // The hook is not had; its buffer, which a handler does not need, is another allocation.
    const std::vector<Log::Line> told = log_.Take();
    qn_log(kQnLogInfo, "next");
    if (told.empty()) {
      EXPECT_THAT(other.Take(), ElementsAre(Log::Line{kQnLogInfo, "next"}));
      EXPECT_THAT(log_.Take(), IsEmpty());
    } else {
      EXPECT_TRUE(FailingAllocations::failed());
      EXPECT_THAT(told, ElementsAre(Log::Line{kQnLogError,
                                              "[Log] no memory for another handler: messages go where they went "
                                              "before"}));
      EXPECT_THAT(log_.Take(), ElementsAre(Log::Line{kQnLogInfo, "next"}));
      EXPECT_THAT(other.Take(), IsEmpty());
    }
    const FailingAllocations::Pause pause;
    qn_set_log_handle(&Log::Handle, &log_);
  });
  EXPECT_EQ(failures, 2);
}

TEST_F(NoMemoryTest, ClockAndExternalImagesAskForNone) {
  const int failures = FailingAllocations::Run([] {
    EXPECT_GT(qn_os_gettime_ns(), 0u);
    const QnExternalImage in_memory(2, 3, QnExternalImage::kPixelFormatBGRA, 8, "pixels");
    const QnExternalImage in_file(2, 3, QnExternalImage::kPixelFormatBGRA, 8, 5, 64);
    EXPECT_EQ(in_memory.width(), 2u);
    EXPECT_EQ(in_file.offset(), 64u);
  });
  EXPECT_EQ(failures, 0);
}

TEST_F(NoMemoryTest, MutexExcludesAllTheSame) {
  const int failures = FailingAllocations::Run([this] {
    QNMutex mutex;
    ExpectTold("[QNMutex] no memory: it shares one mutex with others without memory");
    EXPECT_TRUE(Excludes(mutex));
  });
  EXPECT_EQ(failures, 1);
}

TEST_F(NoMemoryTest, TwoMutexesMayBeHeldTogether) {
  const int failures = FailingAllocations::Run([] {
    QNMutex first;
    QNMutex second;
    {
      const QNMutexLocker outer(first);
      const QNMutexLocker inner(second);
    }
    EXPECT_TRUE(Excludes(first));
    EXPECT_TRUE(Excludes(second));
  });
  EXPECT_EQ(failures, 2);
}

TEST_F(NoMemoryTest, EventIsInert) {
  const int failures = FailingAllocations::Run([this] {
    QNEvent event(true);
    ExpectTold("[QNEvent] no memory: nothing is signalled, and nobody waits");
    const bool works = !FailingAllocations::failed();
    EXPECT_EQ(event.Signal(), works);
    EXPECT_EQ(event.Wait(), works);
    EXPECT_FALSE(event.TimedWait(60000));
    EXPECT_EQ(event.Try(), works);
    EXPECT_EQ(event.Reset(), works);
    EXPECT_FALSE(event.Try());
  });
  EXPECT_EQ(failures, 2);
}

TEST_F(NoMemoryTest, BufferIsEmpty) {
  const int failures = FailingAllocations::Run([this] {
    const auto empty = MakeRef<RefCounted<QNBuffer>>();
    EXPECT_EQ(empty->size(), 0u);
    const auto buffer = MakeRef<RefCounted<QNBuffer>>(100ul);
    ExpectTold("[QNBuffer] no memory for 100 bytes");
    EXPECT_EQ(buffer->size(), FailingAllocations::failed() ? 0u : 128u);
    EXPECT_EQ(buffer->data() == nullptr, FailingAllocations::failed());
  });
  EXPECT_EQ(failures, 1);
}

TEST_F(NoMemoryTest, BufferOfMoreThanThereCanBeSaysSo) {
  const auto buffer = MakeRef<RefCounted<QNBuffer>>(~0ul);
  EXPECT_EQ(buffer->size(), 0u);
  EXPECT_THAT(log_.Take(),
              ElementsAre(Log::Line{kQnLogError, "[QNBuffer] no memory for " + std::to_string(~0ul) + " bytes"}));
}

TEST_F(NoMemoryTest, MainQueueIsNamed) {
  struct Posted {
    static void Post(QnMainQueueFunction, void*, void*) {}
  };
  const int failures = FailingAllocations::Run([this] {
    qn_set_main_queue(&Posted::Post, nullptr);
    qn_set_main_queue(nullptr, nullptr);
    EXPECT_THAT(log_.Take(), IsEmpty());
  });
  EXPECT_EQ(failures, 0);
}

TEST_F(NoMemoryTest, InputIsInert) {
  for (const QnMixSampleType type : {kQnMixSampleFloat, kQnMixSampleShort}) {
    const int failures = FailingAllocations::Run([this, type] {
      Input input(20, 1, type);
      const std::vector<Log::Line> told = log_.Take();
      const bool works = !FailingAllocations::failed();
      EXPECT_EQ(told.empty(), works);
      if (!works) {
        EXPECT_THAT(
            told,
            testing::AnyOf(ElementsAre(Log::Line{kQnLogError, "[QnAudioInput] no memory"}),
                           ElementsAre(Log::Line{kQnLogError, "[AudioMixSource] no memory for ten seconds at 20 Hz"})));
      }
      const float samples[] = {0.5f, 0.5f};
      const void* planes[] = {samples};
      input.PushBackSamples(planes, 2, 1);
      if (works) {
        EXPECT_THAT(log_.Take(), ElementsAre(Log::Line{kQnLogWarning, "audio mix source new sequence "}));
      }
      // Into a mixer that had its memory.
      const FailingAllocations::Pause pause;
      QnAudioMixer mixer(20, 1, kQnMixSampleFloat, nullptr);
      mixer.AddInput(&input);
      EXPECT_EQ(input.references, 1);
      mixer.RemoveInput(&input);
      EXPECT_EQ(input.references, 0);
      EXPECT_THAT(log_.Take(), IsEmpty());
    });
    EXPECT_GE(failures, 1 + 1) << "the private object, and its source's event; the rings are mapped";
  }
}

TEST_F(NoMemoryTest, MixerIsInert) {
  Input input(20, 1, kQnMixSampleFloat);
  const int failures = FailingAllocations::Run([&] {
    QnAudioMixer mixer(20, 1, kQnMixSampleFloat, nullptr);
    ExpectTold("[QnAudioMixer] no memory");
    if (!FailingAllocations::failed()) return;
    const FailingAllocations::Pause pause;
    EXPECT_FALSE(mixer.Start());
    mixer.AddInput(&input);
    EXPECT_EQ(input.references, 0);
    mixer.RemoveInput(&input);
    mixer.Stop();
    EXPECT_EQ(mixer.level(0).peak, 0.0f);
    EXPECT_THAT(log_.Take(), IsEmpty());
    EXPECT_FALSE(mixer.StartDriven());
    EXPECT_FALSE(mixer.MixBlock(0));
    EXPECT_THAT(
        log_.Take(),
        ElementsAre(Log::Line{kQnLogError, "[QnAudioMixer] StartDriven was called on a mixer that found no memory"},
                    Log::Line{kQnLogError, "[QnAudioMixer] MixBlock was called on a mixer that found no memory"}));
  });
  EXPECT_GE(failures, 2) << "the private object and the mixer";
}

// A block that finds no memory takes nothing from the inputs: a later one has it.
TEST_F(NoMemoryTest, MixerMixesNoBlock) {
  struct Keeper : QnAudioMixer::Callback {
    void OnMixSamples(void** planes, unsigned int frames, unsigned long long) override {
      ++blocks;
      last = static_cast<const float*>(planes[0])[frames - 1];
    }
    void OnMixPeak(float) override {}
    int blocks = 0;
    float last = 0;
  };
  const int failures = FailingAllocations::Run([&] {
    auto pause = std::make_unique<FailingAllocations::Pause>();
    Keeper keeper;
    Input input(20, 1, kQnMixSampleFloat);
    QnAudioMixer mixer(20, 1, kQnMixSampleFloat, &keeper);
    mixer.AddInput(&input);
    EXPECT_TRUE(mixer.StartDriven());
    const float samples[] = {0.25f, 0.5f};
    const void* planes[] = {samples};
    input.PushBackSamples(planes, 2, 1);
    log_.Take();
    pause.reset();
    const bool mixed = mixer.MixBlock(0);
    EXPECT_EQ(mixed, !FailingAllocations::failed());
    ExpectTold("[AudioMixer] no memory for blocks of 1 frames");
    EXPECT_EQ(keeper.blocks, mixed ? 1 : 0);
    EXPECT_EQ(input.stats().buffered_frames, mixed ? 1u : 2u);
    pause = std::make_unique<FailingAllocations::Pause>();
    EXPECT_TRUE(mixed || mixer.MixBlock(0));
    EXPECT_EQ(keeper.last, 0.25f);
    mixer.RemoveInput(&input);
  });
  EXPECT_EQ(failures, 1 + 16) << "what holds the planes, and they";
}

// Gains, levels and counts take no memory, of an input that works and of one that has none.
TEST_F(NoMemoryTest, InputAnswersWithoutMemory) {
  Input works(20, 1, kQnMixSampleFloat);
  QnAudioMixer mixer(20, 1, kQnMixSampleFloat, nullptr);
  const int failures = FailingAllocations::Run([&] {
    works.SetGain(0.5f);
    works.SetMuted(true);
    EXPECT_EQ(works.gain(), 0.5f);
    EXPECT_TRUE(works.muted());
    EXPECT_EQ(works.level(0).peak, 0.0f);
    EXPECT_EQ(works.stats().buffered_frames, 0u);
    EXPECT_EQ(mixer.level(0).peak, 0.0f);
    EXPECT_THAT(log_.Take(), IsEmpty());
  });
  EXPECT_EQ(failures, 0);
  FailingAllocations::Run([&] {
    Input input(20, 1, kQnMixSampleFloat);
    input.SetGain(0.5f);
    input.SetMuted(true);
    // Its gain is 0 where there is nothing behind it, and kept where only its event is missing.
    EXPECT_TRUE(input.gain() == 0.5f || (FailingAllocations::failed() && input.gain() == 0.0f));
    EXPECT_EQ(input.muted(), input.gain() == 0.5f);
    EXPECT_EQ(input.level(0).rms, 0.0f);
    EXPECT_EQ(input.stats().buffered_frames, 0u);
    log_.Take();
  });
}

TEST_F(NoMemoryTest, MixerDoesNotStart) {
  QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
  const int failures = FailingAllocations::Run([&] {
    const bool started = mixer.Start();
    EXPECT_EQ(started, !FailingAllocations::failed());
    ExpectTold("[QnAudioMixer] no memory for a thread");
    mixer.Stop();
    EXPECT_THAT(log_.Take(), IsEmpty());
  });
  EXPECT_EQ(failures, 1);
}

// There are so many inputs that the list and the queue inside have to grow.
TEST_F(NoMemoryTest, InputIsNotAdded) {
  std::vector<std::unique_ptr<Input>> inputs;
  for (int i = 0; i < 130; ++i) inputs.push_back(std::make_unique<Input>(20, 1, kQnMixSampleFloat));
  const int failures = FailingAllocations::Run([&] {
    auto pause = std::make_unique<FailingAllocations::Pause>();
    QnAudioMixer mixer(48000, 1, kQnMixSampleFloat, nullptr);
    pause.reset();
    bool all_added = true;
    for (const auto& input : inputs) {
      mixer.AddInput(input.get());
      const std::vector<Log::Line> told = log_.Take();
      EXPECT_EQ(input->references, told.empty() ? 1 : 0);
      all_added = all_added && told.empty();
      if (!told.empty()) {
        EXPECT_THAT(told,
                    ElementsAre(Log::Line{kQnLogError, "[QnAudioMixer] no memory for an input: it is not added"}));
      }
    }
    EXPECT_EQ(all_added, !FailingAllocations::failed());
    for (const auto& input : inputs) {
      mixer.RemoveInput(input.get());
      EXPECT_EQ(input->references, 0);
    }
  });
  EXPECT_GT(failures, 130);
}

}  // namespace
