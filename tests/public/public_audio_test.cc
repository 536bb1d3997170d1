// Audio through the public interface, on the real clock: blocks come every 50 ms, and what is asserted is what they
// hold and how they are stamped, never when they come.
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "tests/public/host.h"

namespace {

constexpr unsigned int kRate = 48000;
constexpr std::uint64_t kBlockNs = 50000000;

// Copies the first samples of two channels of each block.
template <class T>
class Listener : public QnAudioMixer::Callback {
 public:
  struct Block {
    T left = 0;
    T right = 0;
    unsigned int frames = 0;
    std::uint64_t timestamp_ns = 0;
    float peak = -1;
    std::thread::id thread;
  };

  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    block_.left = static_cast<const T*>(planes[0])[0];
    block_.right = static_cast<const T*>(planes[1])[0];
    block_.frames = frames;
    block_.timestamp_ns = timestamp_ns;
    block_.thread = std::this_thread::get_id();
    if (on_samples) on_samples();
  }
  void OnMixPeak(float peak) override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      block_.peak = peak;
      blocks_.push_back(block_);
    }
    changed_.notify_all();
  }

  // The blocks so far, at least `count` of them unless the patience ran out.
  std::vector<Block> WaitFor(std::size_t count) {
    return WaitUntil([count](const std::vector<Block>& blocks) { return blocks.size() >= count; });
  }
  // The blocks so far, once one has sounded.
  std::vector<Block> WaitForSound() {
    return WaitUntil([](const std::vector<Block>& blocks) { return !blocks.empty() && blocks.back().peak > 0; });
  }
  std::vector<Block> blocks() {
    return WaitUntil([](const std::vector<Block>&) { return true; });
  }

  std::function<void()> on_samples;

 private:
  std::vector<Block> WaitUntil(const std::function<bool(const std::vector<Block>&)>& done) {
    std::unique_lock<std::mutex> lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::milliseconds(host::kPatienceMs), [&] { return done(blocks_); }));
    return blocks_;
  }

  Block block_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Block> blocks_;
};

class Input : public QnAudioInput {
 public:
  using QnAudioInput::QnAudioInput;
  ~Input() override {
    if (destroyed) *destroyed = true;
  }
  void AddRef() override { ++references; }
  void Release() override {
    if (--references == 0) delete this;
  }
  int references = 1;
  bool* destroyed = nullptr;
};

// A tenth of a second, so that it is ready and nothing of it is dropped before it is mixed.
template <class T>
void Push(QnAudioInput* input, T left, T right) {
  const std::vector<T> samples[] = {std::vector<T>(2400, left), std::vector<T>(2400, right)};
  const void* planes[] = {samples[0].data(), samples[1].data()};
  for (int i = 0; i < 2; ++i) input->PushBackSamples(planes, 2400, 1);
}

class QnAudioMixerPublicTest : public ::testing::Test {
 protected:
  void SetUp() override { host::log::Clear(); }
};

TEST_F(QnAudioMixerPublicTest, MixesFloats) {
  Listener<float> listener;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &listener);
  const auto first = MakeRef<RefCounted<QnAudioInput>>(kRate, 2u, kQnMixSampleFloat);
  const auto second = MakeRef<RefCounted<QnAudioInput>>(kRate, 2u, kQnMixSampleFloat);
  mixer.AddInput(first);
  mixer.AddInput(second);
  Push<float>(first, 0.25f, 0.5f);
  Push<float>(second, 0.5f, 0.25f);
  const std::uint64_t before = qn_os_gettime_ns();
  ASSERT_TRUE(mixer.Start());
  const auto blocks = listener.WaitFor(3);
  mixer.RemoveInput(first);
  mixer.RemoveInput(second);
  mixer.Stop();
  ASSERT_GE(blocks.size(), 3u);
  EXPECT_GE(blocks[0].timestamp_ns, before);
  EXPECT_LE(blocks[0].timestamp_ns + kBlockNs, qn_os_gettime_ns());
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(blocks[k].frames, 2400u);
    EXPECT_EQ(blocks[k].timestamp_ns, blocks[0].timestamp_ns + k * kBlockNs);
    EXPECT_EQ(blocks[k].left, k < 2 ? 0.75f : 0.0f);
    EXPECT_EQ(blocks[k].right, k < 2 ? 0.75f : 0.0f);
    EXPECT_EQ(blocks[k].peak, k < 2 ? 0.75f : 0.0f);
    EXPECT_NE(blocks[k].thread, std::this_thread::get_id());
  }
  EXPECT_EQ(host::log::Complaints(), "audio mix source new sequence \naudio mix source new sequence \n");
}

TEST_F(QnAudioMixerPublicTest, EveryTypeButZeroMixesShorts) {
  for (const int type : {1, 7}) {
    Listener<short> listener;
    QnAudioMixer mixer(kRate, 2, static_cast<QnMixSampleType>(type), &listener);
    const auto input = MakeRef<RefCounted<QnAudioInput>>(kRate, 2u, static_cast<QnMixSampleType>(type));
    Push<short>(input, -32768, 1000);
    mixer.AddInput(input);
    ASSERT_TRUE(mixer.Start());
    const auto blocks = listener.WaitForSound();
    mixer.Stop();
    mixer.RemoveInput(input);
    EXPECT_EQ(blocks.back().left, -32768);
    EXPECT_EQ(blocks.back().right, 1000);
    EXPECT_EQ(blocks.back().peak, 1.0f);
  }
}

TEST_F(QnAudioMixerPublicTest, InputsComeAndGoWhileItRuns) {
  Listener<float> listener;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &listener);
  const auto input = MakeRef<RefCounted<QnAudioInput>>(kRate, 2u, kQnMixSampleFloat);
  ASSERT_TRUE(mixer.Start());
  EXPECT_TRUE(mixer.Start()) << "it runs";
  listener.WaitFor(1);
  mixer.AddInput(input);
  Push<float>(input, 0.5f, 0.5f);
  Push<float>(input, 0.5f, 0.5f);
  listener.WaitForSound();
  mixer.RemoveInput(input);
  const std::size_t removed = listener.blocks().size();
  const auto blocks = listener.WaitFor(removed + 2);
  mixer.Stop();
  for (std::size_t k = removed; k < blocks.size(); ++k) EXPECT_EQ(blocks[k].peak, 0.0f);
  std::set<std::thread::id> threads;
  for (const auto& block : blocks) threads.insert(block.thread);
  EXPECT_EQ(threads.size(), 1u);
  const std::size_t stopped = listener.blocks().size();
  ASSERT_TRUE(mixer.Start()) << "it starts again";
  listener.WaitFor(stopped + 1);
}

TEST_F(QnAudioMixerPublicTest, RunsWithoutACallback) {
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, nullptr);
  EXPECT_TRUE(mixer.Start());
  mixer.Stop();
  EXPECT_EQ(host::log::Complaints(), "");
}

TEST_F(QnAudioMixerPublicTest, HoldsOneReferenceOnAnInput) {
  bool destroyed = false;
  auto* const input = new Input(kRate, 2, kQnMixSampleFloat);
  input->destroyed = &destroyed;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, nullptr);
  mixer.RemoveInput(input);
  EXPECT_EQ(input->references, 1) << "it was never added";
  mixer.AddInput(input);
  mixer.AddInput(input);
  EXPECT_EQ(input->references, 2);
  input->Release();
  EXPECT_FALSE(destroyed) << "the mixer holds it";
  mixer.RemoveInput(input);
  EXPECT_TRUE(destroyed) << "that was the last reference";
}

TEST_F(QnAudioMixerPublicTest, DestroyedWithInputsLeavesThemTheirReference) {
  bool destroyed = false;
  auto* const input = new Input(kRate, 2, kQnMixSampleFloat);
  input->destroyed = &destroyed;
  {
    QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, nullptr);
    mixer.AddInput(input);
    EXPECT_TRUE(mixer.Start());
  }
  EXPECT_EQ(input->references, 2);
  Push<float>(input, 0.5f, 0.5f);  // The mixer has gone, and the input still works.
  input->Release();
  input->Release();
  EXPECT_TRUE(destroyed);
}

TEST_F(QnAudioMixerPublicTest, IgnoresNullAndRefusesWhatCannotBeMixed) {
  Listener<float> listener;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &listener);
  mixer.AddInput(nullptr);
  mixer.RemoveInput(nullptr);
  mixer.Stop();
  EXPECT_EQ(host::log::Complaints(), "");

  QnAudioMixer without_rate(0, 2, kQnMixSampleFloat, &listener);
  EXPECT_FALSE(without_rate.Start());
  QnAudioMixer too_wide(kRate, 9, kQnMixSampleFloat, &listener);
  EXPECT_FALSE(too_wide.Start());
  const auto inert = MakeRef<RefCounted<QnAudioInput>>(0u, 2u, kQnMixSampleFloat);
  mixer.AddInput(inert);
  inert->PushBackSamples(nullptr, 100, 1);
  Push<float>(inert, 1, 1);
  ASSERT_TRUE(mixer.Start());
  listener.WaitFor(1);
  mixer.Stop();
  mixer.RemoveInput(inert);
  EXPECT_EQ(listener.blocks()[0].peak, 0.0f);
  EXPECT_EQ(host::log::Complaints(),
            "[AudioMixer] no mixer of 0 Hz and 2 channels\n"
            "[AudioMixer] no mixer of 48000 Hz and 9 channels\n"
            "[AudioMixSource] no source of 0 Hz and 2 channels\n");
}

TEST_F(QnAudioMixerPublicTest, LateReturnDelaysBlocksAndLosesNone) {
  Listener<float> listener;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &listener);
  const auto input = MakeRef<RefCounted<QnAudioInput>>(kRate, 2u, kQnMixSampleFloat);
  mixer.AddInput(input);
  const std::uint64_t late_until = qn_os_gettime_ns() + 400000000;
  listener.on_samples = [&] {
    while (qn_os_gettime_ns() < late_until) std::this_thread::yield();
  };
  ASSERT_TRUE(mixer.Start());
  const auto blocks = listener.WaitFor(12);
  mixer.Stop();
  mixer.RemoveInput(input);
  for (std::size_t k = 1; k < blocks.size(); ++k) {
    EXPECT_EQ(blocks[k].timestamp_ns, blocks[k - 1].timestamp_ns + kBlockNs);
  }
}

TEST_F(QnAudioMixerPublicTest, StopInACallbackEndsTheMixing) {
  Listener<float> listener;
  QnAudioMixer mixer(kRate, 2, kQnMixSampleFloat, &listener);
  listener.on_samples = [&] { mixer.Stop(); };
  ASSERT_TRUE(mixer.Start());
  listener.WaitFor(1);
  mixer.Stop();
  EXPECT_EQ(listener.blocks().size(), 1u);
  EXPECT_EQ(host::log::Complaints(),
            "Stop was called on the audio mixer's thread, which cannot wait for itself: it ends after this block; call "
            "Stop again from another thread\n");
}

}  // namespace
