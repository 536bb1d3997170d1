#include "studio/film_output.h"

#include <utility>

namespace studio {
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
      half_period_ns_(static_cast<std::uint64_t>(fps_.TimeNs(1)) / 2),
      offline_(description.offline),
      encoder_(encoder),
      times_(times) {}

FilmOutput::~FilmOutput() { Stop(); }

void FilmOutput::OnFrame(const GsFrame& frame) {
  const StageTimer timer(&times_->delivery);
  if (counts().delivered == frame_count_ || frame.timestamp + half_period_ns_ < earliest_ns_) return;

  const bool first = !std::exchange(begun_, true);
  if (first) begin_ns_ = frame.timestamp;
  const bool repeated = !first && repeating();
  const std::int64_t index = fps_.IndexAt(static_cast<std::int64_t>(frame.timestamp - begin_ns_));
  const bool taken = encoder_->Submit(frame, index, offline_);

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
