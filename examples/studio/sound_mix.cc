#include "studio/sound_mix.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "studio/error.h"

namespace studio {
namespace {

constexpr std::uint64_t kBlockNs = 50000000;
constexpr std::uint64_t kLeadInNs = std::uint64_t{SoundPlayer::kLeadIn} * 1000000000 / kSoundRate;
constexpr std::chrono::seconds kMixTimeout(60);  // A block that takes longer never comes.

}  // namespace

std::vector<std::unique_ptr<SoundReader>> OpenSounds(const Description& description) {
  const auto start_ns = static_cast<std::int64_t>(description.start_s * 1e9);
  const std::int64_t length_ns = description.HasPicture()
                                     ? description.fps.TimeNs(static_cast<std::int64_t>(description.FrameCount()))
                                     : static_cast<std::int64_t>(description.duration_s * 1e9);
  const std::int64_t end_ns = start_ns + length_ns;
  std::vector<std::unique_ptr<SoundReader>> readers;
  for (const Layer& layer : description.layers) {
    if (layer.kind != LayerKind::kVideo || !layer.visible) continue;
    if (auto reader = SoundReader::OfVideo(layer, start_ns, end_ns)) readers.push_back(std::move(reader));
  }
  for (const Sound& sound : description.sounds) {
    readers.push_back(std::make_unique<SoundReader>(sound, start_ns, end_ns));
  }
  return readers;
}

SoundMix::SoundMix(Receiver* receiver, std::vector<std::unique_ptr<SoundReader>> readers)
    : receiver_(receiver),
      end_ns_(std::numeric_limits<std::uint64_t>::max()),
      mixer_(kSoundRate, kSoundChannels, kQnMixSampleFloat, this) {
  for (auto& reader : readers) {
    players_.push_back(std::make_unique<SoundPlayer>(std::move(reader)));
    mixer_.AddInput(players_.back()->input());
  }
}

SoundMix::~SoundMix() { Stop(); }

bool SoundMix::WaitRead(std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  return std::all_of(players_.begin(), players_.end(), [&](const auto& player) {
    const auto left = deadline - std::chrono::steady_clock::now();
    return player->WaitRead(std::chrono::duration_cast<std::chrono::milliseconds>(left));
  });
}

std::uint64_t SoundMix::Start() {
  if (!mixer_.Start()) throw Error("cannot start the mixer");
  for (const auto& player : players_) player->Start();
  // When the mixer began is known from its first block. Its inputs hold some silence, behind which the sounds begin.
  std::unique_lock<std::mutex> lock(mutex_);
  if (!mixed_.wait_for(lock, kMixTimeout, [this] { return begin_ns_ != 0; })) throw Error("the mixer makes no sound");
  return begin_ns_ + kLeadInNs;
}

MixReport SoundMix::Finish(std::uint64_t clock_ns) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    end_ns_ = clock_ns;
    if (!mixed_.wait_for(lock, kMixTimeout, [&] { return until_ns_ >= clock_ns; })) {
      throw Error("the mixer makes no sound");
    }
  }
  Stop();
  MixReport report;
  report.peak = level_.peak();
  report.clipped = level_.clipped();
  for (const auto& player : players_) {
    const std::uint64_t blocks = player->underruns();
    if (blocks > 0) report.underruns.push_back({player->file(), blocks});
  }
  return report;
}

float SoundMix::TakeLevel() {
  std::lock_guard<std::mutex> lock(mutex_);
  return level_.Take();
}

void SoundMix::Stop() {
  mixer_.Stop();
  for (const auto& player : players_) mixer_.RemoveInput(player->input());
}

void SoundMix::OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) {
  float* const samples[kSoundChannels] = {static_cast<float*>(planes[0]), static_cast<float*>(planes[1])};
  bool belongs = false, goes_on = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (begin_ns_ == 0) begin_ns_ = timestamp_ns;
    until_ns_ = timestamp_ns + kBlockNs;
    belongs = timestamp_ns < end_ns_;
    goes_on = until_ns_ < end_ns_;
    if (belongs) level_.Finish(samples, static_cast<int>(frames));
  }
  mixed_.notify_all();
  if (belongs) receiver_->OnSound(samples, static_cast<int>(frames), timestamp_ns);
  if (!goes_on) return;
  for (const auto& player : players_) player->BlockTaken();
}

}  // namespace studio
