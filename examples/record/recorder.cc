#include "record/recorder.h"

#include <chrono>
#include <memory>
#include <vector>

#include <quarn/gs_device.h>
#include <quarn/gs_output.h>
#include <quarn/gs_scene.h>
#include <quarn/qn_event.h>
#include <quarn/qn_os.h>

#include "studio/encoder.h"
#include "studio/error.h"
#include "studio/film_clock.h"
#include "studio/layers.h"
#include "studio/programs.h"

namespace studio {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kProgressPeriod(100);
constexpr milliseconds kDeliveryTimeout(60000);  // A frame that takes longer never comes.

class FilmScene : public GsScene {
 public:
  FilmScene(Size size, GsDevice* device, StageTimes* times)
      : GsScene(static_cast<unsigned int>(size.width), static_cast<unsigned int>(size.height), device), times_(times) {}

  void Draw() override {
    const StageTimer timer(&times_->scene);
    GsScene::Draw();
  }

 private:
  StageTimes* const times_;
};

// The default device, for as long as this lives.
class Device {
 public:
  explicit Device(const Description& description) {
    if (!GsDevice::CreateDefaultDevice(!description.offline)) throw Error("cannot start the graphics engine");
    get()->SetFps(description.fps);
    // Built in place of an exception from the constructor: the device must go again.
    usable_ = AddPrograms(get()) && (description.Format() != PixelLayout::kBgra || AddBgraProgram(get()));
  }
  ~Device() { GsDevice::DestroyDefaultDevice(); }
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  bool usable() const { return usable_; }
  GsDevice* get() const { return GsDevice::DefaultDevice(); }

 private:
  bool usable_ = false;
};

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

  void OnFrame(const GsFrame& /*frame*/) override {
    if (++frames_ == kFrames) done_.Signal();
  }

 private:
  static constexpr int kFrames = 3;
  QNEvent done_{true};
  int frames_ = 0;
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

double SecondsSince(std::uint64_t start_ns) { return static_cast<double>(qn_os_gettime_ns() - start_ns) * 1e-9; }

// The device's own thread makes the frames: all there is to do is to wait.
void RunInRealTime(const Description& description, FilmClock* clock, FilmOutput* output, Encoder* encoder,
                   const Progress& progress) {
  const std::uint64_t start_ns = qn_os_gettime_ns();
  std::uint64_t last_delivery_ns = start_ns;
  FilmCounts last;
  clock->Run();
  output->Start();
  while (!output->WaitDelivered(description.FrameCount(), kProgressPeriod)) {
    const FilmCounts counts = output->counts();
    if (!progress(counts, SecondsSince(start_ns)) || encoder->failed()) break;
    if (counts.delivered != last.delivered) last_delivery_ns = qn_os_gettime_ns();
    if (SecondsSince(last_delivery_ns) * 1000 > static_cast<double>(kDeliveryTimeout.count())) {
      throw Error("the graphics engine delivers no frames");
    }
    last = counts;
  }
}

// This thread is the render thread: it drives every stage of every frame, and waits for each delivery.
void RunOffline(const Description& description, FilmClock* clock, FilmOutput* output, Encoder* encoder,
                const Progress& progress, GsDevice* device, StageTimes* times) {
  const std::uint64_t start_ns = qn_os_gettime_ns();
  const RenderThread render_thread(device);
  output->Start();
  const auto film_start_ns = static_cast<std::int64_t>(description.start_s * 1e9);
  for (std::uint64_t n = 0; n < description.FrameCount() && !encoder->failed(); ++n) {
    const std::uint64_t timestamp_ns = n * 1000000000 / description.fps;
    clock->Set(film_start_ns + static_cast<std::int64_t>(timestamp_ns));
    device->TickSource();
    device->HandleFilter();
    {
      const StageTimer timer(&times->output);
      device->OutputFrame(timestamp_ns, 1);
    }
    if (!output->WaitDelivered(n + 1, kDeliveryTimeout)) throw Error("the graphics engine delivers no frames");
    if (!progress(output->counts(), SecondsSince(start_ns))) break;
  }
  times->output -= times->scene;  // OutputFrame renders the scenes first.
}

}  // namespace

Summary Record(const Description& description, const Progress& progress, StageTimes* times) {
  // The media and the film first: most of what can be wrong is wrong there.
  std::vector<LayerSource> sources;
  for (const Layer& layer : description.layers) sources.emplace_back(layer, description);
  Encoder encoder(std::make_unique<FilmWriter>(description), times);
  Summary summary;
  summary.encoder = encoder.writer().encoder_name();

  const Device device(description);
  const auto scene = MakeRef<RefCounted<FilmScene>>(description.canvas, device.get(), times);
  if (!device.usable() || scene->width() == 0) {
    throw Error("the graphics engine does not work here: OpenGL 3.2 is needed (--verbose tells more)");
  }
  const auto clock = MakeRef<RefCounted<FilmClock>>(static_cast<std::int64_t>(description.start_s * 1e9), device.get());
  scene->AddItem(clock);
  const Stage stage{device.get(), description.canvas, clock, times};
  for (LayerSource& source : sources) scene->AddItem(source.MakeItem(stage));
  sources.clear();  // Their pictures are textures now.
  scene->OrderItem();

  {
    FilmOutput output(scene, description, &encoder, device.get(), times);
    if (!description.offline) Rehearsal(scene, description, device.get());
    times->Clear();
    const std::uint64_t start_ns = qn_os_gettime_ns();
    if (description.offline) {
      RunOffline(description, clock, &output, &encoder, progress, device.get(), times);
    } else {
      RunInRealTime(description, clock, &output, &encoder, progress);
    }
    output.Stop();
    summary.seconds = SecondsSince(start_ns);
    summary.counts = output.counts();
  }
  if (summary.counts.delivered == summary.counts.dropped && !encoder.failed()) {
    throw Error("stopped before the first frame: no film");
  }
  encoder.Finish();
  summary.lost_packets = encoder.writer().lost_packets();
  return summary;
}

}  // namespace studio
