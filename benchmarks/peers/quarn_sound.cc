// The engine's mix, made through its public interface.
//
// The mixer keeps the time of the clock: a block is due every 50 ms. It is held in its callback until as many blocks
// are due as are asked for, and makes them without a pause then, as it does behind a host that was late. The callback
// pushes what the next block is made of.
#include <quarn/quarn.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <thread>

#include "benchmarks/peers/scene.h"

namespace {

class QuarnSound : public Contestant, private QnAudioMixer::Callback {
 public:
  explicit QuarnSound(const SoundScene& scene)
      : scene_(scene),
        latest_(scene.block_size()),
        mixer_(kSampleRate, scene.channels, scene.is_float ? kQnMixSampleFloat : kQnMixSampleShort, this) {
    for (unsigned int i = 0; i < scene.sources; ++i) {
      samples_.emplace_back(scene, i, SourceSamples::Layout::kPlanar);
      inputs_.push_back(MakeRef<RefCounted<QnAudioInput>>(kSampleRate, scene.channels,
                                                          scene.is_float ? kQnMixSampleFloat : kQnMixSampleShort));
      mixer_.AddInput(inputs_.back());
    }
    mixed_until_ns_ = qn_os_gettime_ns();
    Push();
    mixer_.Start();
  }

  ~QuarnSound() override {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      is_ending_ = true;
    }
    condition_.notify_all();
    mixer_.Stop();
    for (const auto& input : inputs_) mixer_.RemoveInput(input);
  }

  void Make(unsigned int count) override {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::uint64_t target = made_ + count;
    // One block more than is asked for, since the mixer started a little later than we noted.
    const std::uint64_t due = mixed_until_ns_ + (count + 1) * kBlockNs;
    const std::uint64_t now = qn_os_gettime_ns();
    lock.unlock();
    if (due > now) std::this_thread::sleep_for(std::chrono::nanoseconds(due - now));
    lock.lock();
    target_ = target;
    condition_.notify_all();
    condition_.wait(lock, [&] { return made_ == target; });
  }

  std::vector<unsigned char> Latest() override { return latest_; }

 private:
  static constexpr std::uint64_t kBlockNs = 50'000'000;

  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    std::unique_lock<std::mutex> lock(mutex_);
    WaitForOrders(&lock);  // Before the first block.
    if (is_ending_) return;
    ++made_;
    mixed_until_ns_ = timestamp_ns + kBlockNs;
    if (made_ == target_) {
      const std::size_t plane_size = std::size_t{frames} * scene_.sample_size();
      for (std::size_t c = 0; c < scene_.channels; ++c) {
        std::memcpy(latest_.data() + c * plane_size, planes[c], plane_size);
      }
    }
    Push();
    if (made_ < target_) return;
    condition_.notify_all();
    WaitForOrders(&lock);
  }

  void OnMixPeak(float) override {}

  void WaitForOrders(std::unique_lock<std::mutex>* lock) {
    condition_.wait(*lock, [&] { return is_ending_ || made_ < target_; });
  }

  void Push() {
    for (unsigned int i = 0; i < scene_.sources; ++i) {
      const void* planes[8] = {};
      for (unsigned int c = 0; c < scene_.channels; ++c) planes[c] = samples_[i].Block(pushed_, c);
      inputs_[i]->PushBackSamples(planes, kBlockFrames, 1);
    }
    ++pushed_;
  }

  const SoundScene scene_;
  std::vector<SourceSamples> samples_;
  std::uint64_t pushed_ = 0;

  std::mutex mutex_;
  std::condition_variable condition_;
  bool is_ending_ = false;
  std::uint64_t target_ = 0;
  std::uint64_t made_ = 0;
  std::uint64_t mixed_until_ns_ = 0;
  std::vector<unsigned char> latest_;

  std::vector<scoped_refptr<RefCounted<QnAudioInput>>> inputs_;
  QnAudioMixer mixer_;
};

void DropLog(int, const char*, va_list, void*) {}

}  // namespace

int main() {
  qn_set_log_handle(&DropLog, nullptr);
  return Serve([](const Words& words) { return std::make_unique<QuarnSound>(SoundScene(words)); });
}
