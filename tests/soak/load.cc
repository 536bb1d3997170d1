// Two views in windows of which one changes its size, a scene of pictures, video, text-like updates and a picture in
// picture, edits a hundred times a second, an output that goes on all the time (a recording: what it is handed is
// written to a null device, blocks of sound too), others that start and stop, and inputs of sound that join and leave.
#include "tests/soak/load.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <quarn/quarn.h>

#include "tests/soak/figures.h"
#include "tests/soak/judge.h"
#include "tests/support/x_window.h"

namespace soak {
namespace {

constexpr unsigned int kWidth = 160;
constexpr unsigned int kHeight = 90;
constexpr unsigned int kFps = 30;
constexpr unsigned int kRate = 48000;
// A moment may be one at which an output or a picture is there that is not at another, and the heap has been cut up by
// all that came and went. What is lost with each edit, start, resize or join comes to more than this in a few minutes.
constexpr Allowance kAllowance = {6144, 4000000, 4};
constexpr auto kEdit = std::chrono::milliseconds(10);

// What came to an output, and what should have.
struct Sums {
  std::uint64_t starts = 0;
  std::uint64_t frames = 0;  // Of the device, from each start to its stop.
  std::uint64_t delivered = 0;
  std::uint64_t repeated = 0;
  std::uint64_t dropped = 0;
};

class Recording : public GsOutputRaw {
 public:
  Recording(GsScene* scene, GsFormat format, int sink) : GsOutputRaw(scene, kWidth, kHeight, format), sink_(sink) {}
  void Begin() {
    before_ = GsDevice::DefaultDevice()->stats().frames;
    Start();
  }
  void End(Sums* sums) {
    Flush(10000);
    Stop();
    const GsOutputStats now = stats();
    ++sums->starts;
    sums->frames += GsDevice::DefaultDevice()->stats().frames - before_;
    sums->delivered += now.delivered;
    sums->repeated += now.repeated;
    sums->dropped += now.dropped;
  }
  void OnFrame(const GsFrame& frame) override {
    for (unsigned int row = 0; row < frame.height; ++row) {
      if (write(sink_, frame.data[0] + row * frame.linesize[0], frame.linesize[0]) < 0) failed = true;
    }
  }
  std::atomic<bool> failed{false};

 private:
  int sink_;
  std::uint64_t before_ = 0;
};

class Sound : public QnAudioMixer::Callback {
 public:
  explicit Sound(int sink) : sink_(sink) {}
  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    if (blocks > 0 && timestamp_ns != last_ + 50000000) ++out_of_order;
    last_ = timestamp_ns;
    if (write(sink_, planes[0], frames * sizeof(float)) < 0) ++out_of_order;
    ++blocks;
  }
  void OnMixPeak(float) override {}
  std::atomic<std::uint64_t> blocks{0};
  std::atomic<int> out_of_order{0};

 private:
  int sink_;
  std::uint64_t last_ = 0;
};

// How late frames began: how many in each hundredth of a millisecond. It does not grow with time.
class Lateness {
 public:
  void Read(GsDevice* device) {
    GsFrameTime times[128];
    const unsigned int count = device->ReadFrameTimes(times, 128);
    for (unsigned int i = 0; i < count; ++i) {
      if (times[i].time_ns <= last_ || times[i].start_delay_ns == kGsNotMeasured) continue;
      last_ = times[i].time_ns;
      const std::uint64_t at = times[i].start_delay_ns / 10000;
      ++counts_[std::min<std::size_t>(at, counts_.size() - 1)];
      largest_ = std::max<std::uint64_t>(largest_, times[i].start_delay_ns);
      ++all_;
    }
  }
  double Milliseconds(double share) const {
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < counts_.size(); ++i) {
      seen += counts_[i];
      if (static_cast<double>(seen) >= share * static_cast<double>(all_)) return static_cast<double>(i) / 100;
    }
    return 0;
  }
  double Largest() const { return static_cast<double>(largest_) / 1e6; }

 private:
  std::array<std::uint64_t, 100000> counts_{};
  std::uint64_t last_ = 0;
  std::uint64_t all_ = 0;
  std::uint64_t largest_ = 0;
};

class Load {
 public:
  Load()
      : sink_(open("/dev/null", O_WRONLY)),
        wide_(connection_, 2 * kWidth, 2 * kHeight),
        small_(connection_, kWidth, kHeight),
        pixels_(64 * 64 * 4, 100),
        sound_(sink_),
        mixer_(kRate, 2, kQnMixSampleFloat, &sound_) {
    device_->SetFps(kFps);
    program_ = MakeRefCounted<GsScene>(kWidth, kHeight);
    inset_ = MakeRefCounted<GsScene>(kWidth / 2, kHeight / 2);
    for (int i = 0; i < 8; ++i) {
      items_.push_back(MakeRefCounted<GsPictureItem>(pixels_.data(), 64 * 4, 64u, 64u));
      (i % 4 == 3 ? inset_ : program_)->AddItem(items_.back());
    }
    items_.push_back(MakeRefCounted<GsPictureItem>());
    items_.back()->Resize(gs_vec2(60, 40));
    items_.back()->ShowScene(inset_);
    program_->AddItem(items_.back());
    video_ = std::make_shared<GsVideoTexture>(64u, 64u, GsVideoTexture::kLayoutNV12);
    items_[0]->SetTexture(video_);
    for (test::XWindow* const window : {&wide_, &small_}) {
      GsWindowInfo info;
      info.window = window->handle();
      views_.push_back(std::make_unique<GsViewImpl>(info, kWidth, kHeight));
      views_.back()->SetScene(program_);
      views_.back()->Attch();
    }
    recording_ = std::make_unique<Recording>(program_, kGsFormatNV12, sink_);
    for (int i = 0; i < 4; ++i) inputs_.push_back(MakeRefCounted<QnAudioInput>(kRate, 2u, kQnMixSampleFloat));
    recording_->Begin();
    mixer_.Start();
    start_ = Clock::now();
  }

  ~Load() {
    views_.clear();
    items_.back()->ShowScene(nullptr);
    close(sink_);
  }

  double Seconds() const { return std::chrono::duration<double>(Clock::now() - start_).count(); }

  // A hundredth of a second of a person who edits.
  void Step() {
    ++steps_;
    GsPictureItem* const item = Any(items_);
    item->MoveTo(gs_vec2(Value(kWidth) - kWidth / 2, Value(kHeight) - kHeight / 2));
    item->Resize(gs_vec2(10 + Value(60), 10 + Value(50)));
    item->SetRotation(Value(6));
    item->SetOpacity(Value(100) / 100);
    item->SetSelected(Below(8) == 0);
    views_[0]->HitTest(gs_vec2(Value(kWidth), Value(kHeight)));
    if (steps_ % 4 == 0) items_[1]->Update(pixels_.data(), 64 * 4, 64, 64);
    if (steps_ % 3 == 0) UpdateVideo();
    if (steps_ % 10 == 0) ChangeList();
    if (steps_ % 5 == 0) PushSound();
    if (steps_ % 40 == 0) StartOrStop();
    if (steps_ % 50 == 0) ResizeView();
    if (steps_ % 70 == 0) JoinOrLeave();
    if (steps_ % 100 == 0) lateness_.Read(device_.get());
    std::this_thread::sleep_until(start_ + steps_ * kEdit);
  }

  bool End();

 private:
  using Clock = std::chrono::steady_clock;

  unsigned int Below(unsigned int end) { return static_cast<unsigned int>(random_()) % end; }
  float Value(unsigned int end) { return static_cast<float>(Below(end)); }
  template <class T>
  T* Any(const std::vector<scoped_refptr<T>>& all) {
    return all[Below(static_cast<unsigned int>(all.size()))];
  }

  void UpdateVideo() {
    const unsigned char* const planes[] = {pixels_.data(), pixels_.data()};
    const unsigned int strides[] = {64, 64};
    video_->Update(planes, strides);
  }

  void ChangeList() {
    GsPictureItem* const item = items_[1 + Below(6)];
    item->SetZ(static_cast<int>(Below(9)));
    program_->OrderItem();
    if (Below(2)) {
      program_->RemoveItem(item);
    } else {
      program_->AddItem(item);
    }
    // A picture that comes, and goes with the next one.
    if (passing_) program_->RemoveItem(passing_);
    passing_ = MakeRefCounted<GsPictureItem>(pixels_.data(), 64 * 4, 64u, 16 + Below(48));
    program_->AddItem(passing_);
  }

  void PushSound() {
    static const std::vector<float> samples(kRate / 20, 0.1f);
    const void* planes[] = {samples.data(), samples.data()};
    for (const auto& input : inputs_) input->PushBackSamples(planes, kRate / 20, ~0ull);
  }

  void StartOrStop() {
    if (passing_output_) {
      passing_output_->End(&sums_);
      passing_output_.reset();
      return;
    }
    constexpr GsFormat kFormats[] = {kGsFormatRGBA, kGsFormatI420, kGsFormatNV12};
    passing_output_ = std::make_unique<Recording>(Below(2) ? program_ : inset_, kFormats[Below(3)], sink_);
    passing_output_->Begin();
  }

  void ResizeView() {
    const unsigned int width = kWidth + Below(kWidth);
    const unsigned int height = kHeight + Below(kHeight);
    wide_.Resize(static_cast<int>(width), static_cast<int>(height));
    views_[0]->Resize(width, height);
  }

  void JoinOrLeave() {
    QnAudioInput* const input = Any(inputs_);
    if (Below(2)) {
      mixer_.AddInput(input);
    } else {
      mixer_.RemoveInput(input);
    }
  }

  test::XConnection connection_;
  const int sink_;
  test::XWindow wide_;
  test::XWindow small_;
  GsDefaultDevice device_;
  std::vector<unsigned char> pixels_;
  scoped_refptr<GsScene> program_;
  scoped_refptr<GsScene> inset_;
  std::vector<scoped_refptr<GsPictureItem>> items_;
  scoped_refptr<GsPictureItem> passing_;
  std::shared_ptr<GsVideoTexture> video_;
  std::vector<std::unique_ptr<GsViewImpl>> views_;
  std::unique_ptr<Recording> recording_;
  std::unique_ptr<Recording> passing_output_;
  Sound sound_;
  QnAudioMixer mixer_;
  std::vector<scoped_refptr<QnAudioInput>> inputs_;
  std::mt19937 random_{1};
  Clock::time_point start_;
  int steps_ = 0;
  Sums sums_;
  Lateness lateness_;
};

// A frame that is made while an output starts or stops is one that it may have or not.
bool AddsUp(const char* what, const Sums& sums) {
  const std::uint64_t pictures = sums.delivered - sums.repeated + sums.dropped;
  const std::uint64_t apart = pictures > sums.frames ? pictures - sums.frames : sums.frames - pictures;
  const bool right = apart <= 2 * sums.starts;
  std::printf("  %-16s %llu frames in %llu starts = %llu delivered - %llu repeated + %llu dropped, %+lld%s\n", what,
              static_cast<unsigned long long>(sums.frames), static_cast<unsigned long long>(sums.starts),
              static_cast<unsigned long long>(sums.delivered), static_cast<unsigned long long>(sums.repeated),
              static_cast<unsigned long long>(sums.dropped), static_cast<long long>(pictures - sums.frames),
              right ? "" : ": DOES NOT ADD UP");
  return right;
}

bool Load::End() {
  const double seconds = Seconds();
  mixer_.Stop();
  for (const auto& input : inputs_) mixer_.RemoveInput(input);
  if (passing_output_) passing_output_->End(&sums_);
  Sums recorded;
  recording_->End(&recorded);
  bool right = AddsUp("the recording", recorded) && AddsUp("other outputs", sums_) && !recording_->failed;
  for (const auto& view : views_) {
    view->Detach();
    const GsViewCounts counts = view->Counts();
    const unsigned int left = counts.drawn - counts.presented - counts.skipped;
    std::printf("  a view           %u drawn = %u presented + %u skipped + %u\n", counts.drawn, counts.presented,
                counts.skipped, left);
    right = right && left <= 2;
  }
  const GsDeviceStats stats = device_->stats();
  std::printf("  the device       %llu frames, %llu points missed in %.1f s\n", stats.frames, stats.missed, seconds);
  // A mixer that is late makes its blocks all the same.
  const auto blocks = static_cast<double>(sound_.blocks);
  std::printf("  the mixer        %.0f blocks in %.1f s, %d out of order\n", blocks, seconds,
              static_cast<int>(sound_.out_of_order));
  right = right && sound_.out_of_order == 0 && blocks > 20 * seconds - 40 && blocks < 20 * seconds + 2;
  std::printf("  lateness         p50 %.2f ms, p99 %.2f ms, max %.2f ms\n", lateness_.Milliseconds(0.5),
              lateness_.Milliseconds(0.99), lateness_.Largest());
  program_->RemoveItem(passing_);
  return right;
}

}  // namespace

bool RunLoad(int seconds) {
  std::printf("a preview's load: %d seconds\n", seconds);
  std::fflush(stdout);
  const auto load = std::make_unique<Load>();
  const double warm_up = std::min(600.0, seconds * 0.5);
  const double step = std::max(0.1, seconds / 500.0);
  std::vector<Figures> figures;
  figures.reserve(1000);
  double next = warm_up;
  while (load->Seconds() < seconds) {
    load->Step();
    if (load->Seconds() < next) continue;
    next += step;
    figures.push_back(ReadFigures(load->Seconds()));
    if (figures.size() % 50 == 1) std::printf("  %s\n", Line(figures.back()).c_str());
    std::fflush(stdout);
  }
  const bool right = load->End();
  return IsFlat(figures, kAllowance, "second") && right;
}

}  // namespace soak
