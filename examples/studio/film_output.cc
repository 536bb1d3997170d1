#include "studio/film_output.h"

#include <utility>

namespace studio {
namespace {

constexpr std::uint64_t kSecondNs = 1000000000;

}  // namespace

GsFormat ToGsFormat(PixelLayout layout) {
  switch (layout) {
    case PixelLayout::kI420: return kGsFormatI420;
    case PixelLayout::kNv12: return kGsFormatNV12;
    case PixelLayout::kRgba: return kGsFormatRGBA;
    case PixelLayout::kBgra: break;
  }
  return kGsFormatBGRA;
}

FilmOutput::FilmOutput(GsScene* scene, const Description& description, Encoder* encoder, GsDevice* device,
                       StageTimes* times)
    : GsOutputRaw(scene, static_cast<unsigned int>(description.OutputSize().width),
                  static_cast<unsigned int>(description.OutputSize().height), ToGsFormat(description.Format()), device),
      frame_count_(description.FrameCount()),
      fps_(description.fps),
      offline_(description.offline),
      encoder_(encoder),
      times_(times) {}

FilmOutput::~FilmOutput() { Stop(); }

void FilmOutput::OnFrame(const GsFrame& frame) {
  const StageTimer timer(&times_->delivery);
  if (counts().delivered == frame_count_ || frame.timestamp + kSecondNs / fps_ / 2 < earliest_ns_) return;

  const bool first = !std::exchange(begun_, true);
  if (first) begin_ns_ = frame.timestamp;
  const bool repeated = !first && repeating();
  // Rounded: the library's frame period is cut to whole nanoseconds.
  const std::uint64_t index = ((frame.timestamp - begin_ns_) * fps_ + kSecondNs / 2) / kSecondNs;
  const bool taken = encoder_->Submit(frame, static_cast<std::int64_t>(index), offline_);

  {
    std::lock_guard<std::mutex> lock(counts_mutex_);
    ++counts_.delivered;
    if (repeated) ++counts_.repeated;
    if (!taken) ++counts_.dropped;
  }
  delivered_.notify_one();
}

bool FilmOutput::WaitDelivered(std::uint64_t count, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(counts_mutex_);
  return delivered_.wait_for(lock, timeout, [&] { return counts_.delivered >= count; });
}

FilmCounts FilmOutput::counts() {
  std::lock_guard<std::mutex> lock(counts_mutex_);
  return counts_;
}

}  // namespace studio
