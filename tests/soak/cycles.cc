#include "tests/soak/cycles.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <thread>

#include <quarn/quarn.h>

#include "tests/soak/figures.h"
#include "tests/soak/judge.h"
#include "tests/support/x_window.h"

namespace soak {
namespace {

constexpr int kSamples = 50;
// Between two cycles there is what there was between the two before, so of whole objects not one more may be there at
// the end. Of memory: pages come and go with how blocks happen to lie in them, and what a driver has for later is now a
// hundred kilobytes more and now less. What a cycle loses shows all the same: of two thousand that lose 100 bytes each.
constexpr Allowance kAllowance = {1024, 200000, 0.5};
constexpr unsigned int kWidth = 64;
constexpr unsigned int kHeight = 48;
constexpr auto kPatience = std::chrono::seconds(60);

scoped_refptr<GsScene> MakeScene(GsDevice* device) {
  const auto scene = MakeRefCounted<GsScene>(kWidth, kHeight, device);
  const auto item = MakeRefCounted<GsPictureItem>(gs_vec2(32, 24), gs_vec3(1, 0.5f, 0), device);
  scene->AddItem(item);
  return scoped_refptr<GsScene>(scene.get());
}

// The default device, driven by the caller's thread, for as long as somebody has it.
struct Driven {
  Driven() : device(false) {
    device->InitThreadContext();
    scene = MakeScene(device.get());
  }
  ~Driven() {
    scene = nullptr;
    device->UninitThreadContext();
  }
  void Frame() { device->RunFrame(time += 20000000); }

  GsDefaultDevice device;
  scoped_refptr<GsScene> scene;
  std::uint64_t time = 0;
};

class Output : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
  void OnFrame(const GsFrame& frame) override { sum += frame.data[0][0]; }
  unsigned int sum = 0;
};

class Blocks : public QnAudioMixer::Callback {
 public:
  void OnMixSamples(void**, unsigned int, unsigned long long) override { ++blocks; }
  void OnMixPeak(float) override {}
  int blocks = 0;
};

bool ComesTrue(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  return true;
}

bool CycleDevice() {
  GsDevice device;
  if (!device.Init() || !device.InitThreadContext()) return false;
  bool delivered = false;
  {
    const auto scene = MakeScene(&device);
    Output output(scene, kWidth, kHeight, kGsFormatNV12, &device);
    output.Start();
    device.RunFrame(1);
    delivered = output.Flush(60000);
    output.Stop();
  }
  device.UninitThreadContext();
  return delivered;
}

std::function<bool()> PrepareDevice() { return CycleDevice; }

std::function<bool()> PrepareOutput() {
  return [driven = std::make_shared<Driven>(), turn = 0]() mutable {
    constexpr GsFormat kFormats[] = {kGsFormatRGBA, kGsFormatI420, kGsFormatNV12};
    Output output(driven->scene, kWidth, kHeight, kFormats[turn++ % 3]);
    output.Start();
    driven->Frame();
    const bool delivered = output.Flush(60000);
    output.Stop();
    return delivered;
  };
}

std::function<bool()> PrepareView() {
  struct Host {
    test::XConnection connection;
    test::XWindow window{connection, static_cast<int>(kWidth), static_cast<int>(kHeight)};
    Driven driven;
  };
  return [host = std::make_shared<Host>()] {
    GsWindowInfo info;
    info.window = host->window.handle();
    GsViewImpl view(info, kWidth, kHeight);
    view.SetScene(host->driven.scene);
    view.Attch();
    host->driven.Frame();
    const bool presented = ComesTrue([&] { return view.Counts().presented + view.Counts().skipped == 1; });
    view.Detach();
    return presented && view.Counts().presented == 1;
  };
}

std::function<bool()> PrepareMixer() {
  return [turn = 0]() mutable {
    Blocks blocks;
    QnAudioMixer mixer(8000, 2, kQnMixSampleFloat, &blocks);
    const auto input = MakeRefCounted<QnAudioInput>(8000u, 2u, kQnMixSampleFloat);
    mixer.AddInput(input);
    const std::vector<float> samples(800, 0.5f);
    const void* planes[] = {samples.data(), samples.data()};
    bool worked = true;
    if (turn++ % 4 == 0) {
      worked = mixer.Start();  // A thread of its own; its end waits for a block.
      input->PushBackSamples(planes, 800, ~0ull);
    } else {
      mixer.StartDriven();
      input->PushBackSamples(planes, 800, ~0ull);
      worked = mixer.MixBlock(1) && blocks.blocks == 1;
    }
    mixer.Stop();
    mixer.RemoveInput(input);
    return worked;
  };
}

}  // namespace

const std::vector<CycleKind>& CycleKinds() {
  static const std::vector<CycleKind> kinds = {
      {"device", PrepareDevice}, {"output", PrepareOutput}, {"view", PrepareView}, {"mixer", PrepareMixer}};
  return kinds;
}

bool RunCycles(const CycleKind& kind, int cycles) {
  std::printf("%s: %d cycles\n", kind.name, cycles);
  std::fflush(stdout);
  const std::function<bool()> cycle = kind.prepare();
  const int warm_up = std::max(20, cycles / 5);
  const int step = std::max(1, cycles / kSamples);
  std::vector<Figures> figures;
  figures.reserve(static_cast<std::size_t>(2 * kSamples));
  const auto start = std::chrono::steady_clock::now();
  for (int i = -warm_up; i <= cycles; ++i) {
    if (i >= 0 && i % step == 0) {
      figures.push_back(ReadFigures(i));
      if ((i / step) % 10 == 0) std::printf("  %s\n", Line(figures.back()).c_str());
      std::fflush(stdout);
    }
    if (!cycle()) {
      std::printf("  cycle %d did not work\n", i);
      return false;
    }
  }
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("  %.2f ms a cycle\n", 1000 * seconds / (cycles + warm_up));
  return IsFlat(figures, kAllowance, "cycle");
}

}  // namespace soak
