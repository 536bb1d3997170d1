#include "studio/sound_player.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>
#include <vector>

#include "studio/sound_level.h"

namespace studio {
namespace {

constexpr int kFirstRead = kSoundRate / 2;
constexpr std::int64_t kAhead = kSoundRate * 2;
constexpr unsigned long long kSequence = 1;  // The stream never starts over.

}  // namespace

SoundPlayer::SoundPlayer(std::unique_ptr<SoundReader> reader)
    : reader_(std::move(reader)),
      input_(MakeRefCounted<QnAudioInput>(static_cast<unsigned int>(kSoundRate),
                                          static_cast<unsigned int>(kSoundChannels), kQnMixSampleFloat)) {
  input_->SetGain(InputGain(reader_->gain()));
  Push(nullptr, kIdle);
  thread_ = std::thread(&SoundPlayer::Run, this);
}

SoundPlayer::~SoundPlayer() {
  reader_->Interrupt();
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

bool SoundPlayer::WaitRead(std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [this] { return read_; });
}

void SoundPlayer::Start() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    Push(nullptr, kLeadIn - kIdle);
    started_ = true;
  }
  changed_.notify_all();
}

void SoundPlayer::BlockTaken() {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    buffered_ = std::max(buffered_ - kSoundBlock, std::int64_t{0});
    if (!ended_ && buffered_ < kSoundBlock) {
      const auto missing = static_cast<int>(kSoundBlock - buffered_);
      Push(nullptr, missing);
      missed_ += missing;
      ++underruns_;
    }
  }
  changed_.notify_all();
}

std::uint64_t SoundPlayer::underruns() {
  std::lock_guard<std::mutex> lock(mutex_);
  return underruns_;
}

// Without planes, silence; no more than kLeadIn of it.
void SoundPlayer::Push(float* const* planes, int frames) {
  static const std::array<float, kLeadIn> silence = {};
  const void* from[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) from[c] = planes ? planes[c] : silence.data();
  input_->PushBackSamples(from, static_cast<unsigned int>(frames), kSequence);
  buffered_ += frames;
}

void SoundPlayer::Run() {
  std::array<std::vector<float>, kSoundChannels> samples;
  for (int wanted = kFirstRead;; wanted = kSoundBlock) {
    float* planes[kSoundChannels] = {};
    int count = 0;
    try {
      for (int c = 0; c < kSoundChannels; ++c) {
        samples[c].resize(static_cast<std::size_t>(wanted));
        planes[c] = samples[c].data();
      }
      count = reader_->Read(planes, wanted);
    } catch (const std::exception&) {
      // No memory: it ends here.
    }

    std::unique_lock<std::mutex> lock(mutex_);
    read_ = true;
    changed_.notify_all();
    changed_.wait(lock, [&] { return stop_ || (started_ && buffered_ + count <= kAhead); });
    if (stop_) return;
    const auto skipped = static_cast<int>(std::min<std::int64_t>(missed_, count));
    missed_ -= skipped;
    for (float*& plane : planes) plane += skipped;
    Push(planes, count - skipped);
    if (count == wanted) continue;
    // A last block that is not whole would end in what the mixer had before.
    Push(nullptr, static_cast<int>((kSoundBlock - buffered_ % kSoundBlock) % kSoundBlock));
    ended_ = true;
    return;
  }
}

}  // namespace studio
