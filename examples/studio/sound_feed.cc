#include "studio/sound_feed.h"

#include <algorithm>
#include <utility>

#include "studio/error.h"

namespace studio {
namespace {

constexpr std::size_t kAhead = kSoundRate / 2;

}  // namespace

SoundFeed::SoundFeed(Open open) : open_(std::move(open)) { thread_ = std::thread(&SoundFeed::Run, this); }

SoundFeed::~SoundFeed() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stop_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

void SoundFeed::Read(float* const* planes, int frames, std::chrono::milliseconds patience) {
  const auto wanted = static_cast<std::size_t>(frames);
  std::size_t count = 0;
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (missed_ == 0) changed_.wait_for(lock, patience, [&] { return ended_ || ready_[0].size() >= wanted; });
    count = std::min(wanted, ready_[0].size());
    for (int c = 0; c < kSoundChannels; ++c) {
      std::copy_n(ready_[c].begin(), count, planes[c]);
      ready_[c].erase(ready_[c].begin(), ready_[c].begin() + static_cast<std::ptrdiff_t>(count));
    }
    if (!ended_) missed_ += wanted - count;
  }
  changed_.notify_all();
  for (int c = 0; c < kSoundChannels; ++c) std::fill(planes[c] + count, planes[c] + frames, 0.0f);
}

std::string SoundFeed::TakeError() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::exchange(error_, std::string());
}

void SoundFeed::Run() {
  std::string error;
  try {
    const GoesOn goes_on = [this] { return !stop_; };
    const std::unique_ptr<SoundReader> reader = open_(goes_on);
    if (reader) {
      reader->SetGoesOn(goes_on);
      while (ReadAhead(reader.get())) continue;
    }
  } catch (const std::exception& failure) {
    error = ErrorText(failure);
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    error_ = error;
    ended_ = true;
  }
  changed_.notify_all();
}

// Returns whether there is more to come.
bool SoundFeed::ReadAhead(SoundReader* reader) {
  std::array<std::array<float, kSoundBlock>, kSoundChannels> samples;
  float* planes[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) planes[c] = samples[c].data();
  const auto count = static_cast<std::size_t>(reader->Read(planes, kSoundBlock));
  {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::size_t late = std::min(missed_, count);
    missed_ -= late;
    for (int c = 0; c < kSoundChannels; ++c) ready_[c].insert(ready_[c].end(), planes[c] + late, planes[c] + count);
    if (count < kSoundBlock) return false;
  }
  changed_.notify_all();
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return stop_ || ready_[0].size() < kAhead; });
  return !stop_;
}

}  // namespace studio
