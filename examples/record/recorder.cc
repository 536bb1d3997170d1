#include "record/recorder.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <utility>
#include <vector>

#include <quarn/gs_device.h>
#include <quarn/gs_frame_times.h>
#include <quarn/gs_output.h>
#include <quarn/gs_scene.h>
#include <quarn/qn_event.h>
#include <quarn/qn_os.h>

#include "record/sound_recorder.h"
#include "studio/canvas_scene.h"
#include "studio/device.h"
#include "studio/encoder.h"
#include "studio/error.h"
#include "studio/film_clock.h"
#include "studio/film_picture.h"
#include "studio/film_sound.h"
#include "studio/layers.h"
#include "studio/offline_sound.h"
#include "studio/programs.h"
#include "studio/sound_mix.h"

namespace studio {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kProgressPeriod(100);
constexpr milliseconds kDeliveryTimeout(60000);  // A frame that takes longer never comes.
constexpr char kNoFrames[] = "the graphics engine delivers no frames";
constexpr double kSoundTimeoutSeconds = 10;
constexpr std::uint64_t kSetOffNs = 100000000;  // What it takes until every thread is ready for the first frame.

// Takes some frames that are not part of the film: drivers finish shader programs when these are first used, and the
// film should not start with a stutter.
class Rehearsal : public GsOutputRaw {
 public:
  Rehearsal(GsScene* scene, const Description& description, GsDevice* device)
      : GsOutputRaw(scene, static_cast<unsigned int>(description.OutputSize().width),
                    static_cast<unsigned int>(description.OutputSize().height), ToGsFormat(description.Format()),
                    device) {
    Start();
    // On a timeout the film itself finds out what is wrong.
    done_.TimedWait(static_cast<unsigned long>(kDeliveryTimeout.count()));
    Stop();
  }

  void OnFrame(const GsFrame& frame) override {
    timestamp_ns_ = frame.timestamp;
    if (++frames_ == kFrames) done_.Signal();
  }

  // The timestamp of the last frame; 0 when there was none.
  std::uint64_t timestamp_ns() const { return timestamp_ns_; }

 private:
  static constexpr int kFrames = 3;
  QNEvent done_{true};
  int frames_ = 0;
  std::uint64_t timestamp_ns_ = 0;
};

// Makes the calling thread the render thread, for as long as this lives.
class RenderThread {
 public:
  explicit RenderThread(GsDevice* device) : device_(device) {
    if (!device_->InitThreadContext()) throw Error("cannot start the graphics engine");
  }
  ~RenderThread() { device_->UninitThreadContext(); }
  RenderThread(const RenderThread&) = delete;
  RenderThread& operator=(const RenderThread&) = delete;

 private:
  GsDevice* const device_;
};

// Negative where the start is still to come.
double SecondsSince(std::uint64_t start_ns) {
  return static_cast<double>(static_cast<std::int64_t>(qn_os_gettime_ns() - start_ns)) * 1e-9;
}

// What makes a film, once it is set up.
struct Set {
  const Description& description;
  GsDevice* device;
  FilmClock* clock;
  FilmOutput* output;
  FilmSound* sound;
  // At most one of them, and none for a film without sound.
  SoundMix* mix;
  OfflineSound* offline_sound;
  Encoder* encoder;
  const Progress& progress;
  StageTimes* times;

  // Returns whether the film goes on.
  bool Report(std::uint64_t start_ns) const {
    return progress({output->counts(), SecondsSince(start_ns), TakeLevel()}) && !encoder->failed();
  }
  std::optional<float> TakeLevel() const {
    if (mix) return mix->TakeLevel();
    return offline_sound ? std::optional(offline_sound->TakeLevel()) : std::nullopt;
  }
};

// Waits for senders, but not for long. Returns whether the film goes on.
bool WaitForSounds(const Set& set) {
  const std::uint64_t start_ns = qn_os_gettime_ns();
  while (!set.mix->WaitRead(kProgressPeriod) && SecondsSince(start_ns) < kSoundTimeoutSeconds) {
    if (!set.Report(start_ns)) return false;
  }
  return true;
}

// The device's own thread makes the frames, one of them at `frame_ns`: all there is to do is to wait. Returns when the
// film began.
std::uint64_t RunInRealTime(const Set& set, std::uint64_t frame_ns) {
  if (set.mix && !WaitForSounds(set)) return qn_os_gettime_ns();
  const std::uint64_t sound_ns = set.mix ? set.mix->Start() : qn_os_gettime_ns() + kSetOffNs;
  // The next frame: the film shows the scene at whole frame periods, and not at times in between.
  const FrameRate rate = set.description.fps;
  std::int64_t periods = rate.IndexAt(static_cast<std::int64_t>(sound_ns - frame_ns));
  if (frame_ns + static_cast<std::uint64_t>(rate.TimeNs(periods)) < sound_ns) ++periods;
  const std::uint64_t begin_ns = frame_ns + static_cast<std::uint64_t>(rate.TimeNs(periods));
  set.sound->Align(sound_ns, begin_ns);
  set.clock->RunFrom(static_cast<std::int64_t>(begin_ns));
  set.output->BeginAt(begin_ns);
  set.output->Start();
  std::uint64_t last_delivery_ns = begin_ns;
  FilmCounts last;
  while (!set.output->WaitDelivered(set.description.FrameCount(), kProgressPeriod) && set.Report(begin_ns)) {
    const FilmCounts counts = set.output->counts();
    if (counts.delivered != last.delivered) last_delivery_ns = qn_os_gettime_ns();
    if (qn_os_gettime_ns() > last_delivery_ns + kDeliveryTimeout.count() * 1000000) {
      throw Error(kNoFrames);
    }
    last = counts;
  }
  return begin_ns;
}

// This thread is the render thread: it makes each frame once there is room for its picture. Returns when the film
// began.
std::uint64_t RunOffline(const Set& set) {
  const std::uint64_t start_ns = qn_os_gettime_ns();
  const RenderThread render_thread(set.device);
  set.output->Start();
  set.clock->RunFrom(0);
  constexpr auto kTimeoutMs = static_cast<unsigned int>(kDeliveryTimeout.count());
  for (std::uint64_t n = 0; n < set.description.FrameCount(); ++n) {
    if (!set.output->WaitForRoom(kTimeoutMs)) throw Error(kNoFrames);
    set.device->RunFrame(static_cast<std::uint64_t>(set.description.fps.TimeNs(static_cast<std::int64_t>(n))));
    if (set.offline_sound) set.offline_sound->MixUntil(SoundFramesOf(n + 1, set.description.fps));
    if (!set.Report(start_ns)) break;
  }
  if (!set.output->Flush(kTimeoutMs)) throw Error(kNoFrames);
  set.times->output += set.device->stats().outputs_ns;
  return start_ns;
}

// One entry for each file, however many layers show it.
std::vector<Summary::Damage> DamageOf(const std::vector<Layer>& layers,
                                      const std::vector<scoped_refptr<LayerItem>>& items) {
  std::vector<Summary::Damage> damage;
  for (std::size_t i = 0; i < layers.size(); ++i) {
    const std::uint64_t packets = items[i]->damaged();
    if (packets == 0) continue;
    const auto same = std::find_if(damage.begin(), damage.end(),
                                   [&](const Summary::Damage& other) { return other.file == layers[i].file; });
    if (same == damage.end()) {
      damage.push_back({layers[i].file, packets});
    } else {
      same->packets = std::max(same->packets, packets);
    }
  }
  return damage;
}

}  // namespace

Summary Record(const Description& description, const Progress& progress, StageTimes* times) {
  if (!description.HasPicture()) return RecordSound(description, progress, times);
  // The media and the film first: most of what can be wrong is wrong there.
  const auto start_ns = static_cast<std::int64_t>(description.start_s * 1e9);
  std::vector<LayerSource> sources;
  for (const Layer& layer : description.layers) sources.emplace_back(layer, description);
  std::vector<std::unique_ptr<SoundReader>> sounds;
  if (!description.IsStill()) sounds = OpenSounds(description);
  Encoder encoder(std::make_unique<FilmWriter>(description, !sounds.empty()), times);
  const FilmWriter& writer = encoder.writer();
  Summary summary;
  summary.encoder = writer.encoder_name();

  const Device device(description.fps, !description.offline);
  FilmClock clock(start_ns, device.get());  // Outlasts the layers, which ask it.
  const auto scene = MakeRefCounted<CanvasScene>(description, device.get(), times);
  if (scene->width() == 0 || (description.Format() == PixelLayout::kBgra && !AddBgraProgram(device.get()))) {
    throw Error(kNoGraphics);
  }
  FilmOutput* shown = nullptr;  // Once there is one.
  const auto goes_on = [&] {
    return progress({shown ? shown->counts() : FilmCounts(), 0, std::nullopt}) && !encoder.failed();
  };
  const Stage stage{device.get(), description.canvas, &clock, times, goes_on};
  std::vector<scoped_refptr<LayerItem>> items;
  for (LayerSource& source : sources) {
    items.push_back(source.MakeItem(stage));
    scene->AddItem(items.back());
  }
  sources.clear();  // Their pictures are textures now.
  scene->OrderItem();

  {
    const FilmPicture picture(scene, description, device.get(), times);
    FilmOutput output(picture.scene(), description, &encoder, device.get(), times);
    shown = &output;
    FilmSound sound(&output, &encoder);
    std::unique_ptr<SoundMix> mix;
    std::unique_ptr<OfflineSound> offline_sound;
    if (writer.has_sound() && !description.offline) mix = std::make_unique<SoundMix>(&sound, std::move(sounds));
    if (writer.has_sound() && description.offline) {
      offline_sound = std::make_unique<OfflineSound>(&encoder, std::move(sounds), goes_on);
    }
    std::uint64_t frame_ns = 0;
    if (!description.offline) frame_ns = Rehearsal(picture.scene(), description, device.get()).timestamp_ns();
    times->Clear();
    const Set set{description, device.get(),        &clock,   &output,  &sound,
                  mix.get(),   offline_sound.get(), &encoder, progress, times};
    const std::uint64_t begin_ns = description.offline ? RunOffline(set) : RunInRealTime(set, frame_ns);
    output.Stop();
    summary.seconds = SecondsSince(begin_ns);
    summary.counts = output.counts();
    if (writer.has_sound() && summary.counts.delivered > 0 && !encoder.failed()) {
      const std::int64_t length_ns = description.fps.TimeNs(static_cast<std::int64_t>(summary.counts.delivered));
      MixReport report = mix ? mix->Finish(sound.EndAfter(static_cast<std::uint64_t>(length_ns)))
                             : offline_sound->Finish(SoundFramesOf(summary.counts.delivered, description.fps));
      summary.sound = Summary::Sound{writer.sound_encoder_name(), std::move(report), encoder.dropped_blocks()};
    }
  }
  if (summary.counts.delivered == summary.counts.dropped && !encoder.failed()) {
    throw Error("stopped before the first frame: no film");
  }
  encoder.Finish();
  summary.lost_packets = writer.lost_packets();
  summary.damage = DamageOf(description.layers, items);
  return summary;
}

}  // namespace studio
