// What a view costs the thread that draws it, and what it costs while its window system does not answer.
//
// The first table compares a device whose view is presented with the same device and a view of the same size that draws
// its picture and has no window for it. The two take turns in short rounds, so that what else the machine does falls on
// both; it prints the medians of the rounds, and of the ratios of neighbouring ones. The second table stops the X
// server again and again, and counts. The third table has views under X11 and under Wayland beside each other. Servers
// and compositor are the benchmark's own.
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include <quarn/quarn.h>

#include "benchmarks/wayland_screen.h"
#include "tests/support/x_server.h"

namespace {

struct Size {
  unsigned int width;
  unsigned int height;
};

double Seconds(const timespec& time) {
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double CpuSeconds(clockid_t clock) {
  timespec time = {};
  clock_gettime(clock, &time);
  return Seconds(time);
}

double Median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

// A picture that goes round.
class Item : public GsItem {
 public:
  Item(Size scene, int number, GsDevice* device)
      : GsItem(gs_vec2(0.3f * static_cast<float>(scene.height), 0.3f * static_cast<float>(scene.height)), device),
        scene_(static_cast<float>(scene.width), static_cast<float>(scene.height)),
        angle_(static_cast<float>(number)),
        pixels_(64 * 64 * 4, 160),
        texture_(pixels_.data(), 64 * 4, GsTexture::kTextureRGBA, 64, 64, device) {}

  void TickSource() override {
    angle_ += 0.05f;
    MoveTo(gs_vec2(0.35f * scene_.x * std::cos(angle_), 0.35f * scene_.y * std::sin(angle_)));
    ++ticks;
  }
  void Draw() override {
    GsContextDefault::SetViewport(0, 0, static_cast<int>(scene_.x), static_cast<int>(scene_.y));
    if (!GsContextDefault::BindShader("rgba")) return;
    {
      const GsTextureBinder binder(&texture_);
      GsContextDefault::DrawRect(gs_transform(pos(), size()), scene_);
    }
    GsContextDefault::UnbindShader();
  }

  std::atomic<int> ticks{0};

 private:
  const gs_vec2 scene_;
  float angle_;
  std::vector<unsigned char> pixels_;
  GsTexture texture_;
};

class Receiver : public GsOutputRaw {
 public:
  using GsOutputRaw::GsOutputRaw;
  void OnFrame(const GsFrame&) override {}
};

// A host's window on a connection of its own.
class Window {
 public:
  explicit Window(Size size) : connection_(xcb_connect(nullptr, nullptr)), id_(xcb_generate_id(connection_)) {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    xcb_create_window(connection_, XCB_COPY_FROM_PARENT, id_, screen->root, 0, 0,
                      static_cast<std::uint16_t>(size.width), static_cast<std::uint16_t>(size.height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    xcb_map_window(connection_, id_);
    std::free(xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
  }
  ~Window() { xcb_disconnect(connection_); }
  Window(const Window&) = delete;
  Window& operator=(const Window&) = delete;

  void* handle() const { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(id_)); }

 private:
  xcb_connection_t* const connection_;
  const xcb_window_t id_;
};

// The default device with a scene of moving items.
class Host {
 public:
  // A rate of 0: the frames are the caller's to make, on this thread.
  Host(Size scene, unsigned int fps) : is_driven_(fps == 0) {
    GsDevice::CreateDefaultDevice(!is_driven_);
    device_ = GsDevice::DefaultDevice();
    if (is_driven_) {
      device_->InitThreadContext();
    } else {
      device_->SetFps(fps);
    }
    scene_ = MakeRef<RefCounted<GsScene>>(scene.width, scene.height, device_);
    for (int i = 0; i < 8; ++i) {
      scoped_refptr<Item> item = MakeRef<RefCounted<Item>>(scene, i, device_);
      scene_->AddItem(item);
      items_.push_back(item);
    }
  }
  ~Host() {
    items_.clear();
    scene_ = nullptr;
    if (is_driven_) device_->UninitThreadContext();
    GsDevice::DestroyDefaultDevice();
  }

  void MakeFrame() {
    device_->TickSource();
    device_->HandleFilter();
    device_->OutputFrame(frame_++ * 33'333'333ull, 1);
    device_->DrawDisplay();
    device_->DoTask();
  }

  GsDevice* device() const { return device_; }
  GsScene* scene() const { return scene_; }
  int frames() const { return items_[0]->ticks; }

  // The processor time of the render thread, between two frames.
  double RenderCpuSeconds() const {
    std::promise<double> answer;
    device_->QueueTask(
        [](void* out) { static_cast<std::promise<double>*>(out)->set_value(CpuSeconds(CLOCK_THREAD_CPUTIME_ID)); },
        &answer);
    return answer.get_future().get();
  }
  void PassFrames(int count) const {
    for (const int end = frames() + count; frames() < end;) RenderCpuSeconds();
  }

 private:
  const bool is_driven_;
  GsDevice* device_ = nullptr;
  unsigned int frame_ = 0;
  scoped_refptr<GsScene> scene_;
  std::vector<scoped_refptr<Item>> items_;
};

struct Cost {
  double cpu_ms = 0;      // Of the render thread, a frame.
  double wall_ms = 0;     // That it works for a frame.
  double process_ms = 0;  // Of the process, a frame.
  double fps = 0;         // Frames a second.
};

Cost Round(const Host& host, GsView* view, int frames) {
  view->Attch();
  host.PassFrames(3);
  const int first = host.frames();
  const unsigned long long start = qn_os_gettime_ns();
  const double cpu = host.RenderCpuSeconds(), process = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
  host.PassFrames(frames);
  const double cpu_spent = host.RenderCpuSeconds() - cpu;
  const double process_spent = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - process;
  const int passed = host.frames() - first;
  const double seconds = 1e-9 * static_cast<double>(qn_os_gettime_ns() - start);
  std::vector<GsFrameTime> times(128);
  times.resize(host.device()->ReadFrameTimes(times.data(), static_cast<unsigned int>(times.size())));
  std::vector<double> work;
  for (const GsFrameTime& time : times) {
    if (time.time_ns < start) continue;
    work.push_back(1e-6 * static_cast<double>(time.tasks_ns + time.ticks_ns + time.filters_ns + time.scenes_ns +
                                              time.outputs_ns + time.views_ns));
  }
  view->Detach();
  double sum = 0;
  for (const double ms : work) sum += ms;
  return {1e3 * cpu_spent / passed, sum / static_cast<double>(std::max<std::size_t>(work.size(), 1)),
          1e3 * process_spent / passed, passed / seconds};
}

// A view with a window and one without, in turn. Where the server stops, it does so once the view is shown: what is
// left is the drawing and the handing over.
void CompareWithoutPresenting(test::XServer* server, bool stops, Size view_size, unsigned int fps, int rounds,
                              int frames) {
  const Size scene = {1280, 720};
  const Host host(scene, fps);
  Receiver output(host.scene(), scene.width, scene.height, kGsFormatNV12, host.device());
  if (!output.Start()) return;
  {
    const Window window(view_size);
    GsViewImpl shown({window.handle()}, view_size.width, view_size.height, host.device());
    GsViewImpl drawn({nullptr}, view_size.width, view_size.height, host.device());
    shown.SetScene(host.scene());
    drawn.SetScene(host.scene());
    Round(host, &shown, 3);
    if (stops) server->Stall();
    std::vector<double> cpu[2], wall[2], process[2], rate[2], cpu_ratio, wall_ratio;
    for (int i = 0; i < rounds; ++i) {
      Cost cost[2];
      for (const int n : {i % 2, 1 - i % 2}) cost[n] = Round(host, n == 0 ? &shown : &drawn, frames);
      for (const int n : {0, 1}) {
        cpu[n].push_back(cost[n].cpu_ms);
        wall[n].push_back(cost[n].wall_ms);
        process[n].push_back(cost[n].process_ms);
        rate[n].push_back(cost[n].fps);
      }
      cpu_ratio.push_back(cost[0].cpu_ms / cost[1].cpu_ms);
      wall_ratio.push_back(cost[0].wall_ms / cost[1].wall_ms);
    }
    const GsViewCounts counts = shown.Counts();
    std::printf(
        "| %4ux%-4u | %4u | %-7s | %6.2f | %6.2f | %5.3f | %6.1f | %6.1f | %5.3f | %6.1f | %6.1f | %5.1f | %5.1f | "
        "%5.1f |\n",
        view_size.width, view_size.height, fps, stops ? "stopped" : "runs", Median(cpu[0]), Median(cpu[1]),
        Median(cpu_ratio), Median(wall[0]), Median(wall[1]), Median(wall_ratio), Median(process[0]), Median(process[1]),
        Median(rate[0]), Median(rate[1]), 100.0 * counts.skipped / std::max(1u, counts.drawn));
    std::fflush(stdout);
    if (stops) server->GoOn();
    shown.SetScene(nullptr);
    drawn.SetScene(nullptr);
  }
  output.Stop();
}

// Stops the server for 240 ms and lets it go on for 20 ms, in turn, for as long as it lives.
class Staller {
 public:
  explicit Staller(test::XServer* server)
      : thread_([this, server] {
          while (!ends_) {
            server->Stall();
            std::this_thread::sleep_for(std::chrono::milliseconds(240));
            server->GoOn();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
          }
        }) {}
  ~Staller() {
    ends_ = true;
    thread_.join();
  }
  Staller(const Staller&) = delete;
  Staller& operator=(const Staller&) = delete;

 private:
  std::atomic<bool> ends_{false};
  std::thread thread_;
};

// Frames a second with that many views on a server that mostly does not answer.
void CountFrames(test::XServer* server, int view_count, bool stalls, double seconds) {
  const Size scene = {640, 360}, view_size = {320, 180};
  const Host host(scene, 30);
  Receiver output(host.scene(), scene.width, scene.height, kGsFormatNV12, host.device());
  if (!output.Start()) return;
  std::vector<std::unique_ptr<Window>> windows;
  std::vector<std::unique_ptr<GsViewImpl>> views;
  for (int i = 0; i < view_count; ++i) {
    windows.push_back(std::make_unique<Window>(view_size));
    views.push_back(std::make_unique<GsViewImpl>(GsWindowInfo{windows.back()->handle()}, view_size.width,
                                                 view_size.height, host.device()));
    views.back()->SetScene(host.scene());
    views.back()->Attch();
  }
  host.PassFrames(10);
  const auto presented = [&views] {
    unsigned int sum = 0;
    for (const auto& view : views) sum += view->Counts().presented;
    return sum;
  };
  {
    std::optional<Staller> staller;
    if (stalls) staller.emplace(server);
    const int first = host.frames();
    const unsigned int first_presented = presented();
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    const double shown = view_count == 0 ? 0 : (presented() - first_presented) / time.count() / view_count;
    std::printf("| %5d | %-7s | %8.2f | %11.2f |\n", view_count, stalls ? "stopped" : "runs",
                (host.frames() - first) / time.count(), shown);
    std::fflush(stdout);
  }
  for (const auto& view : views) {
    view->Detach();
    view->SetScene(nullptr);
  }
  views.clear();
  output.Stop();
}

void DropLog(int, const char*, va_list, void*) {}

// One window system, in a process of its own: a process has one.
class WindowSystem {
 public:
  struct Request {
    Size view;
    bool shown;  // Or drawn only.
    bool stops;  // The server or compositor does not answer.
    int frames;
  };
  struct Answer {
    double all_ms;    // Of the process, a frame.
    double frame_ms;  // Of the thread that makes the frame.
    double shown;     // The share of the frames that were handed to the window system.
  };

  explicit WindowSystem(bool is_wayland) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      close(ends[0]);
      Serve(ends[1], is_wayland);
    }
    close(ends[1]);
    fd_ = ends[0];
  }
  ~WindowSystem() {
    close(fd_);
    waitpid(process_, nullptr, 0);
  }
  WindowSystem(const WindowSystem&) = delete;
  WindowSystem& operator=(const WindowSystem&) = delete;

  // Returns false when there is no such window system.
  bool Ask(const Request& request, Answer* answer) const {
    return send(fd_, &request, sizeof(request), MSG_NOSIGNAL) == sizeof(request) &&
           recv(fd_, answer, sizeof(*answer), MSG_WAITALL) == sizeof(*answer);
  }

 private:
  static constexpr Size kScreen = {1920, 1080};

  [[noreturn]] static void Serve(int fd, bool is_wayland) {
    bool right = true;
    if (is_wayland) {
      WaylandScreen screen(kScreen.width, kScreen.height);
      right = screen.window() && qn_set_native_display(kQnNativeDisplayWayland, screen.display());
      test::WaylandCompositor* const compositor = screen.compositor();
      const auto stall = [compositor](bool stops) { stops ? compositor->Stall() : compositor->GoOn(); };
      if (right) Answers(fd, screen.window(), stall, [&screen] { screen.Commit(); });
    } else {
      test::XServer server(test::XServer::kXvfb, "1920x1080x24");
      setenv("DISPLAY", server.display().c_str(), 1);
      right = !server.display().empty();
      const Window window(kScreen);
      const auto stall = [&server](bool stops) { stops ? server.Stall() : server.GoOn(); };
      if (right) Answers(fd, window.handle(), stall, [] {});
    }
    std::_Exit(right ? EXIT_SUCCESS : EXIT_FAILURE);
  }

  static void Answers(int fd, void* window, const std::function<void(bool)>& stall,
                      const std::function<void()>& commit) {
    qn_set_log_handle(&DropLog, nullptr);
    Host host({1280, 720}, 0);
    Request request = {};
    while (recv(fd, &request, sizeof(request), MSG_WAITALL) == sizeof(request)) {
      Answer answer = {};
      {
        GsViewImpl view({request.shown ? window : nullptr}, request.view.width, request.view.height, host.device());
        view.SetScene(host.scene());
        view.Attch();
        commit();
        // Each frame waits until the one before is shown, so that none is left out.
        double frame_ms = 0;
        const auto make_frames = [&](int count, bool until_shown) {
          frame_ms = 0;
          for (int i = 0; i < count; ++i) {
            const unsigned int shown = view.Counts().presented;
            const double start = CpuSeconds(CLOCK_THREAD_CPUTIME_ID);
            host.MakeFrame();
            frame_ms += 1e3 * (CpuSeconds(CLOCK_THREAD_CPUTIME_ID) - start) / count;
            if (!until_shown) usleep(5000);
            while (until_shown && view.Counts().presented == shown) usleep(500);
          }
        };
        make_frames(3, request.shown);
        if (request.stops) {
          stall(true);
          make_frames(5, false);  // What there was room for.
        }
        const GsViewCounts before = view.Counts();
        const double all = CpuSeconds(CLOCK_PROCESS_CPUTIME_ID);
        make_frames(request.frames, request.shown && !request.stops);
        answer.frame_ms = frame_ms;
        answer.all_ms = 1e3 * (CpuSeconds(CLOCK_PROCESS_CPUTIME_ID) - all) / request.frames;
        const GsViewCounts after = view.Counts();
        answer.shown = 1.0 * (after.presented - before.presented) / std::max(1u, after.drawn - before.drawn);
        if (request.stops) stall(false);
        view.Detach();
        view.SetScene(nullptr);
      }
      if (write(fd, &answer, sizeof(answer)) != sizeof(answer)) return;
    }
  }

  pid_t process_ = -1;
  int fd_ = -1;
};

// Both window systems in turn, in the same rounds, with a view that is shown and one that is drawn only. Returns false
// when there is no such window system.
bool CompareWindowSystems(const WindowSystem systems[2], Size view, bool stops, int rounds, int frames) {
  std::vector<double> all[2][2], frame[2][2], shown[2], ratio;
  for (int i = 0; i < rounds; ++i) {
    WindowSystem::Answer answers[2][2] = {};
    for (int n = 0; n < 4; ++n) {
      const int k = i % 2 == 0 ? n : 3 - n;
      if (!systems[k / 2].Ask({view, k % 2 == 0, stops, frames}, &answers[k / 2][k % 2])) {
        std::fprintf(stderr, "%s did not start\n", k / 2 == 0 ? "Xvfb" : "weston");
        return false;
      }
    }
    for (const int system : {0, 1}) {
      for (const int way : {0, 1}) {
        all[system][way].push_back(answers[system][way].all_ms);
        frame[system][way].push_back(answers[system][way].frame_ms);
      }
      shown[system].push_back(100 * answers[system][0].shown);
    }
    ratio.push_back(answers[1][0].all_ms / answers[0][0].all_ms);
  }
  for (const int system : {0, 1}) {
    std::printf("| %4ux%-4u | %-7s | %-7s | %6.2f | %6.2f | %6.2f | %6.2f | %6.1f |", view.width, view.height,
                stops ? "stopped" : "runs", system == 0 ? "X11" : "Wayland", Median(all[system][0]),
                Median(all[system][1]), Median(frame[system][0]), Median(frame[system][1]), Median(shown[system]));
    if (system == 0) std::printf("       |\n");
    if (system == 1) std::printf(" %5.3f |\n", Median(ratio));
  }
  std::fflush(stdout);
  return true;
}

// The first two tables. Returns false when there is no X server.
bool CompareUnderX11(int rounds, int frames, double seconds) {
  test::XServer server(test::XServer::kXvfb, "1920x1080x24");
  if (server.display().empty()) {
    std::fprintf(stderr, "Xvfb did not start\n");
    return false;
  }
  setenv("DISPLAY", server.display().c_str(), 1);
  std::printf(
      "| view      | rate | server  | cpu ms |   bare | ratio | wall   |   bare | ratio | all ms |   bare | fps   |  "
      "bare | "
      "skip%% |\n");
  std::printf(
      "|-----------|------|---------|--------|--------|-------|--------|--------|-------|--------|--------|-------|----"
      "---|------"
      "-|\n");
  for (const unsigned int fps : {10u, 30u}) {
    for (const Size size : {Size{640, 360}, Size{1920, 1080}}) {
      for (const bool stops : {false, true}) CompareWithoutPresenting(&server, stops, size, fps, rounds, frames);
    }
  }
  std::printf("\n| views | server  | frames/s | presented/s |\n|-------|---------|----------|-------------|\n");
  for (const bool stalls : {false, true}) {
    for (const int views : {0, 1, 4}) CountFrames(&server, views, stalls, seconds);
  }
  std::printf("\n");
  return true;
}

}  // namespace

// Usage: quarn-view-benchmark [rounds [frames a round [seconds a count]]]
// With 0 seconds a count there is the third table only.
int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 15;
  const int frames = argc > 2 ? std::max(1, std::atoi(argv[2])) : 30;
  const double seconds = argc > 3 ? std::atof(argv[3]) : 15.0;
  // Their processes begin before there is any other thread.
  const WindowSystem systems[] = {WindowSystem(false), WindowSystem(true)};
  qn_set_log_handle(&DropLog, nullptr);
  if (seconds > 0 && !CompareUnderX11(rounds, frames, seconds)) return EXIT_FAILURE;
  std::printf(
      "| view      | server  | windows | all ms |   bare | frame  |   bare | shown%% | ratio |\n"
      "|-----------|---------|---------|--------|--------|--------|--------|--------|-------|\n");
  for (const bool stops : {false, true}) {
    for (const Size size : {Size{1280, 720}, Size{1920, 1080}}) {
      if (!CompareWindowSystems(systems, size, stops, rounds, frames)) return EXIT_FAILURE;
    }
  }
  return EXIT_SUCCESS;
}
