#include "tests/support/scripted_compositor.h"

#include <fractional-scale-v1-server-protocol.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <viewporter-server-protocol.h>
#include <wayland-server.h>
#include <xdg-output-unstable-v1-server-protocol.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

namespace test {

namespace {

constexpr std::chrono::seconds kPatience(60);
constexpr std::uint32_t kOutputVersion = 3;

// A surface as its requests have it so far.
struct SurfaceRecord {
  ScriptedCompositor::Surface now;
  wl_resource* resource = nullptr;
  SurfaceRecord* parent = nullptr;
  int next_x = 0;
  int next_y = 0;
  // What the next commit brings.
  bool attached = false;
  wl_resource* buffer = nullptr;
  int next_scale = 1;
  bool next_takes_input = true;
  double next_source[2] = {0, 0};
  int next_destination[2] = {0, 0};
  std::vector<wl_resource*> next_frames;
  std::vector<wl_resource*> frames;
  std::vector<std::uint32_t> held_buffers;  // By their ids: the client may have destroyed them.
};

struct OutputRecord {
  wl_global* global = nullptr;
  std::vector<wl_resource*> resources;
  std::vector<std::pair<wl_resource*, wl_resource*>> units;  // With the output that each belongs to.
  int mode_width = 1920, mode_height = 1080, transform = 0, units_width = 1920, scale = 1;
};

template <class T>
T* Of(wl_resource* resource) {
  return static_cast<T*>(wl_resource_get_user_data(resource));
}

void Forget(std::vector<wl_resource*>* resources, wl_resource* resource) {
  resources->erase(std::remove(resources->begin(), resources->end(), resource), resources->end());
}

void Destroy(wl_client*, wl_resource* resource) { wl_resource_destroy(resource); }

}  // namespace

// The compositor itself. What is public is called by the test, the rest runs on the thread.
class ScriptedCompositor::Thread {
 public:
  explicit Thread(const Options& options) : options_(options), thread_([this] { Run(); }) {
    Do([] {});
  }
  ~Thread() {
    GoOn();
    Do([this] { ends_ = true; });
    thread_.join();
    close(wake_);
  }

  // Runs a function on the thread, and waits for it.
  void Do(const std::function<void()>& work) {
    std::unique_lock<std::mutex> lock(mutex_);
    const std::uint64_t number = Post(lock, work);
    changed_.wait(lock, [&] { return done_ >= number; });
  }
  // Looks after each turn of the thread, and now and then, for the condition may be about something else.
  bool Comes(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait_for(lock, std::chrono::milliseconds(20));
    }
    return true;
  }
  void Stop() {
    std::unique_lock<std::mutex> lock(mutex_);
    goes_on_ = false;
    Post(lock, [this] {
      std::unique_lock<std::mutex> stopped_lock(mutex_);
      stopped_ = true;
      changed_.notify_all();
      changed_.wait(stopped_lock, [&] { return goes_on_; });
      stopped_ = false;
    });
    changed_.wait(lock, [&] { return stopped_; });
  }
  void GoOn() {
    const std::lock_guard<std::mutex> lock(mutex_);
    goes_on_ = true;
    changed_.notify_all();
  }

  wl_display* Connect() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    Do([&] {
      surfaces.clear();
      client_ = wl_client_create(display_, ends[0]);
      client_end_.notify = [](wl_listener* listener, void*) {
        Thread* thread = nullptr;
        thread = wl_container_of(listener, thread, client_end_);
        thread->client_ = nullptr;
      };
      wl_client_add_destroy_listener(client_, &client_end_);
    });
    return wl_display_connect_to_fd(ends[1]);
  }
  void Disconnect() {
    if (client_) wl_client_destroy(client_);
  }

  void SendFrames(SurfaceRecord* surface) {
    for (wl_resource* const frame : std::exchange(surface->frames, {})) {
      wl_callback_send_done(frame, 0);
      wl_resource_destroy(frame);
    }
    surface->now.frames_asked_for = 0;
  }
  void ReleaseBuffers(SurfaceRecord* surface) {
    for (const std::uint32_t id : std::exchange(surface->held_buffers, {})) {
      wl_resource* const buffer = client_ ? wl_client_get_object(client_, id) : nullptr;
      if (buffer && wl_shm_buffer_get(buffer)) wl_buffer_send_release(buffer);
    }
  }
  void SendPreferredScale() {
    for (wl_resource* const scale : scales_) wp_fractional_scale_v1_send_preferred_scale(scale, preferred_scale);
  }
  void SendOutput(const OutputRecord& output) {
    for (wl_resource* const to : output.resources) SendOutput(output, to);
    for (const auto& to : output.units) SendUnits(output, to.first, to.second);
  }
  void RemoveOutput(OutputRecord* output) { wl_global_remove(output->global); }

  SurfaceRecord* Find(std::uint32_t id) {
    for (const auto& surface : surfaces) {
      if (surface->now.exists && surface->now.id == id) return surface.get();
    }
    return nullptr;
  }

  Options options_;
  std::deque<std::unique_ptr<SurfaceRecord>> surfaces;
  std::deque<OutputRecord> outputs;
  std::uint32_t preferred_scale = 0;
  int request_count = 0;

 private:
  std::uint64_t Post(const std::unique_lock<std::mutex>&, const std::function<void()>& work) {
    works_.push_back(work);
    const std::uint64_t one = 1;
    EXPECT_EQ(write(wake_, &one, sizeof(one)), static_cast<ssize_t>(sizeof(one)));
    return ++posted_;
  }

  void Run() {
    display_ = wl_display_create();
    wl_event_loop* const loop = wl_display_get_event_loop(display_);
    wl_event_source* const source = wl_event_loop_add_fd(
        loop, wake_, WL_EVENT_READABLE,
        [](int, std::uint32_t, void* data) { return static_cast<Thread*>(data)->Work(); }, this);
    wl_protocol_logger* const logger = wl_display_add_protocol_logger(
        display_,
        [](void* data, wl_protocol_logger_type type, const wl_protocol_logger_message*) {
          if (type == WL_PROTOCOL_LOGGER_REQUEST) ++static_cast<Thread*>(data)->request_count;
        },
        this);
    MakeGlobals();
    while (!ends_) {
      wl_event_loop_dispatch(loop, -1);
      wl_display_flush_clients(display_);
      const std::lock_guard<std::mutex> lock(mutex_);
      changed_.notify_all();
    }
    wl_event_source_remove(source);
    wl_display_destroy_clients(display_);
    wl_protocol_logger_destroy(logger);
    wl_display_destroy(display_);
  }

  int Work() {
    std::uint64_t count = 0;
    EXPECT_EQ(read(wake_, &count, sizeof(count)), static_cast<ssize_t>(sizeof(count)));
    std::unique_lock<std::mutex> lock(mutex_);
    while (!works_.empty()) {
      const std::function<void()> work = std::move(works_.front());
      works_.pop_front();
      lock.unlock();
      work();
      wl_display_flush_clients(display_);
      lock.lock();
      ++done_;
      changed_.notify_all();
    }
    return 0;
  }

  // A global whose objects are all alike, and belong to the thread.
  void Offer(const wl_interface* interface, int version, wl_global_bind_func_t bind) {
    wl_global_create(display_, interface, version, this, bind);
  }
  template <const void* (*Implementation)(), const wl_interface* Interface>
  static void BindTo(wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
    wl_resource* const resource = wl_resource_create(client, Interface, static_cast<int>(version), id);
    wl_resource_set_implementation(resource, Implementation(), data, nullptr);
  }
  wl_resource* Make(wl_resource* by, const wl_interface* interface, std::uint32_t id, const void* implementation,
                    void* data, wl_resource_destroy_func_t destroyed = nullptr) {
    wl_resource* const made =
        wl_resource_create(wl_resource_get_client(by), interface, wl_resource_get_version(by), id);
    wl_resource_set_implementation(made, implementation, data, destroyed);
    return made;
  }

  void MakeGlobals() {
    if (options_.shm) wl_display_init_shm(display_);
    if (options_.compositor) Offer(&wl_compositor_interface, 4, &BindTo<&CompositorRequests, &wl_compositor_interface>);
    if (options_.subcompositor) {
      Offer(&wl_subcompositor_interface, 1, &BindTo<&SubcompositorRequests, &wl_subcompositor_interface>);
    }
    if (options_.viewporter) Offer(&wp_viewporter_interface, 1, &BindTo<&ViewporterRequests, &wp_viewporter_interface>);
    if (options_.fractional_scales) {
      Offer(&wp_fractional_scale_manager_v1_interface, 1,
            &BindTo<&ScaleRequests, &wp_fractional_scale_manager_v1_interface>);
    }
    outputs.resize(static_cast<std::size_t>(options_.outputs));
    for (OutputRecord& output : outputs) {
      output.global = wl_global_create(display_, &wl_output_interface, kOutputVersion, &output, &BindOutput);
    }
    if (options_.xdg_output) {
      Offer(&zxdg_output_manager_v1_interface, 2, &BindTo<&UnitsRequests, &zxdg_output_manager_v1_interface>);
    }
  }

  static const void* CompositorRequests() {
    static const struct wl_compositor_interface requests = {
        [](wl_client*, wl_resource* by, std::uint32_t id) { Of<Thread>(by)->CreateSurface(by, id); },
        [](wl_client*, wl_resource* by, std::uint32_t id) { Of<Thread>(by)->CreateRegion(by, id); }};
    return &requests;
  }

  // A region is nothing but the number of its rectangles.
  void CreateRegion(wl_resource* by, std::uint32_t id) {
    static const struct wl_region_interface requests = {
        &Destroy,
        [](wl_client*, wl_resource* region, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {
          ++*Of<int>(region);
        },
        [](wl_client*, wl_resource*, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {}};
    Make(by, &wl_region_interface, id, &requests, new int(0), [](wl_resource* region) { delete Of<int>(region); });
  }

  void CreateSurface(wl_resource* by, std::uint32_t id) {
    static const struct wl_surface_interface requests = {
        &Destroy,
        [](wl_client*, wl_resource* surface, wl_resource* buffer, std::int32_t, std::int32_t) {
          Of<SurfaceRecord>(surface)->attached = true;
          Of<SurfaceRecord>(surface)->buffer = buffer;
        },
        [](wl_client*, wl_resource*, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {},
        [](wl_client* client, wl_resource* surface, std::uint32_t callback) {
          wl_resource* const frame = wl_resource_create(client, &wl_callback_interface, 1, callback);
          Of<SurfaceRecord>(surface)->next_frames.push_back(frame);
          wl_resource_set_implementation(frame, nullptr, nullptr, nullptr);
        },
        [](wl_client*, wl_resource*, wl_resource*) {},
        [](wl_client*, wl_resource* surface, wl_resource* region) {
          Of<SurfaceRecord>(surface)->next_takes_input = !region || *Of<int>(region) > 0;
        },
        [](wl_client* client, wl_resource* surface) {
          static_cast<Thread*>(Current(client))->Commit(Of<SurfaceRecord>(surface));
        },
        [](wl_client*, wl_resource*, std::int32_t) {},
        [](wl_client*, wl_resource* surface, std::int32_t scale) { Of<SurfaceRecord>(surface)->next_scale = scale; },
        [](wl_client*, wl_resource*, std::int32_t, std::int32_t, std::int32_t, std::int32_t) {},
        [](wl_client*, wl_resource*, std::int32_t, std::int32_t) {}};
    surfaces.push_back(std::make_unique<SurfaceRecord>());
    SurfaceRecord* const surface = surfaces.back().get();
    surface->now.id = id;
    current_ = this;
    surface->resource = Make(by, &wl_surface_interface, id, &requests, surface, [](wl_resource* resource) {
      Of<SurfaceRecord>(resource)->now.exists = false;
      Of<SurfaceRecord>(resource)->resource = nullptr;
      // Whoever destroys the client destroys its callbacks too.
      Of<SurfaceRecord>(resource)->frames.clear();
    });
  }

  // One compositor at a time has a thread of its own: its surfaces find it there.
  static void* Current(wl_client*) { return current_; }

  void Commit(SurfaceRecord* surface) {
    ++surface->now.commits;
    surface->now.buffer_scale = surface->next_scale;
    surface->now.takes_input = surface->next_takes_input;
    surface->now.source_width = surface->next_source[0];
    surface->now.source_height = surface->next_source[1];
    surface->now.destination_width = surface->next_destination[0];
    surface->now.destination_height = surface->next_destination[1];
    if (std::exchange(surface->attached, false)) TakeBuffer(surface);
    const Picture& picture = surface->now.picture;
    if (surface->now.source_width > picture.width || surface->now.source_height > picture.height) {
      wl_resource_post_error(surface->resource, WP_VIEWPORT_ERROR_OUT_OF_BUFFER,
                             "the source lies outside of the buffer");
    }
    if (picture.width % surface->now.buffer_scale != 0 || picture.height % surface->now.buffer_scale != 0) {
      wl_resource_post_error(surface->resource, WL_SURFACE_ERROR_INVALID_SIZE, "no multiple of the scale");
    }
    for (const auto& child : surfaces) {
      if (child->parent != surface) continue;
      child->now.placed = true;
      child->now.x = child->next_x;
      child->now.y = child->next_y;
    }
    for (wl_resource* const frame : std::exchange(surface->next_frames, {})) surface->frames.push_back(frame);
    surface->now.frames_asked_for = static_cast<int>(surface->frames.size());
    if (options_.sends_frames) SendFrames(surface);
  }

  void TakeBuffer(SurfaceRecord* surface) {
    surface->now.picture = Picture();
    if (!surface->buffer) return;
    wl_shm_buffer* const buffer = wl_shm_buffer_get(surface->buffer);
    ASSERT_NE(buffer, nullptr) << "a buffer that is not in memory";
    const int width = wl_shm_buffer_get_width(buffer), height = wl_shm_buffer_get_height(buffer);
    wl_shm_buffer_begin_access(buffer);
    Picture picture(static_cast<const unsigned char*>(wl_shm_buffer_get_data(buffer)),
                    static_cast<std::size_t>(wl_shm_buffer_get_stride(buffer)), width, height, 4);
    wl_shm_buffer_end_access(buffer);
    const bool has_alpha = wl_shm_buffer_get_format(buffer) == WL_SHM_FORMAT_ARGB8888;
    for (std::size_t i = 0; i < picture.pixels.size(); i += 4) {
      std::swap(picture.pixels[i], picture.pixels[i + 2]);
      if (!has_alpha) picture.pixels[i + 3] = 255;
    }
    surface->now.picture = std::move(picture);
    surface->held_buffers.push_back(wl_resource_get_id(surface->buffer));
    if (options_.releases_buffers) ReleaseBuffers(surface);
  }

  static const void* SubcompositorRequests() {
    static const struct wl_subsurface_interface subsurface_requests = {
        &Destroy,
        [](wl_client*, wl_resource* subsurface, std::int32_t x, std::int32_t y) {
          Of<SurfaceRecord>(subsurface)->next_x = x;
          Of<SurfaceRecord>(subsurface)->next_y = y;
        },
        [](wl_client*, wl_resource*, wl_resource*) {},
        [](wl_client*, wl_resource*, wl_resource*) {},
        [](wl_client*, wl_resource* subsurface) { Of<SurfaceRecord>(subsurface)->now.sync = true; },
        [](wl_client*, wl_resource* subsurface) { Of<SurfaceRecord>(subsurface)->now.sync = false; }};
    static const struct wl_subcompositor_interface requests = {
        &Destroy, [](wl_client*, wl_resource* by, std::uint32_t id, wl_resource* surface, wl_resource* parent) {
          auto* const child = Of<SurfaceRecord>(surface);
          child->parent = Of<SurfaceRecord>(parent);
          child->now.parent = child->parent->now.id;
          Of<Thread>(by)->Make(by, &wl_subsurface_interface, id, &subsurface_requests, child);
        }};
    return &requests;
  }

  static const void* ViewporterRequests() {
    static const struct wp_viewport_interface viewport_requests = {
        &Destroy,
        [](wl_client*, wl_resource* viewport, wl_fixed_t, wl_fixed_t, wl_fixed_t width, wl_fixed_t height) {
          const bool set = width > 0 && height > 0;
          Of<SurfaceRecord>(viewport)->next_source[0] = set ? wl_fixed_to_double(width) : 0;
          Of<SurfaceRecord>(viewport)->next_source[1] = set ? wl_fixed_to_double(height) : 0;
        },
        [](wl_client*, wl_resource* viewport, std::int32_t width, std::int32_t height) {
          Of<SurfaceRecord>(viewport)->next_destination[0] = width;
          Of<SurfaceRecord>(viewport)->next_destination[1] = height;
        }};
    static const struct wp_viewporter_interface requests = {
        &Destroy, [](wl_client*, wl_resource* by, std::uint32_t id, wl_resource* surface) {
          Of<Thread>(by)->Make(by, &wp_viewport_interface, id, &viewport_requests, Of<SurfaceRecord>(surface));
        }};
    return &requests;
  }

  static const void* ScaleRequests() {
    static const struct wp_fractional_scale_v1_interface scale_requests = {&Destroy};
    static const struct wp_fractional_scale_manager_v1_interface requests = {
        &Destroy, [](wl_client*, wl_resource* by, std::uint32_t id, wl_resource*) {
          auto* const thread = Of<Thread>(by);
          wl_resource* const scale = thread->Make(by, &wp_fractional_scale_v1_interface, id, &scale_requests, thread,
                                                  [](wl_resource* gone) { Forget(&Of<Thread>(gone)->scales_, gone); });
          thread->scales_.push_back(scale);
          if (thread->preferred_scale) wp_fractional_scale_v1_send_preferred_scale(scale, thread->preferred_scale);
        }};
    return &requests;
  }

  static void BindOutput(wl_client* client, void* data, std::uint32_t version, std::uint32_t id) {
    static const struct wl_output_interface requests = {&Destroy};
    auto* const output = static_cast<OutputRecord*>(data);
    wl_resource* const resource = wl_resource_create(client, &wl_output_interface, static_cast<int>(version), id);
    wl_resource_set_implementation(resource, &requests, output,
                                   [](wl_resource* gone) { Forget(&Of<OutputRecord>(gone)->resources, gone); });
    output->resources.push_back(resource);
    SendOutput(*output, resource);
  }
  static void SendOutput(const OutputRecord& output, wl_resource* to) {
    wl_output_send_geometry(to, 0, 0, 0, 0, 0, "", "", output.transform);
    // A mode that is not the current one does not count.
    wl_output_send_mode(to, 0, 640, 480, 0);
    wl_output_send_mode(to, WL_OUTPUT_MODE_CURRENT, output.mode_width, output.mode_height, 0);
    wl_output_send_scale(to, output.scale);
    wl_output_send_done(to);
  }
  static void SendUnits(const OutputRecord& output, wl_resource* to, wl_resource* of) {
    if (output.units_width == 0) return;
    zxdg_output_v1_send_logical_position(to, 0, 0);
    zxdg_output_v1_send_logical_size(to, output.units_width, 600);
    if (wl_resource_get_version(to) >= 2) zxdg_output_v1_send_name(to, "a screen");
    wl_output_send_done(of);
  }

  static const void* UnitsRequests() {
    static const struct zxdg_output_v1_interface units_requests = {&Destroy};
    static const struct zxdg_output_manager_v1_interface requests = {
        &Destroy, [](wl_client*, wl_resource* by, std::uint32_t id, wl_resource* of) {
          auto* const output = Of<OutputRecord>(of);
          wl_resource* const units =
              Of<Thread>(by)->Make(by, &zxdg_output_v1_interface, id, &units_requests, output, [](wl_resource* gone) {
                auto& all = Of<OutputRecord>(gone)->units;
                all.erase(std::remove_if(all.begin(), all.end(), [gone](auto& pair) { return pair.first == gone; }),
                          all.end());
              });
          output->units.emplace_back(units, of);
          SendUnits(*output, units, of);
        }};
    return &requests;
  }

  static thread_local Thread* current_;

  const int wake_ = eventfd(0, EFD_CLOEXEC);
  wl_display* display_ = nullptr;
  wl_client* client_ = nullptr;
  wl_listener client_end_ = {};
  std::vector<wl_resource*> scales_;
  bool ends_ = false;

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> works_;
  std::uint64_t posted_ = 0;
  std::uint64_t done_ = 0;
  bool stopped_ = false;
  bool goes_on_ = true;

  std::thread thread_;  // The last, for it uses the others.
};

thread_local ScriptedCompositor::Thread* ScriptedCompositor::Thread::current_ = nullptr;

ScriptedCompositor::ScriptedCompositor(const Options& options) : thread_(std::make_unique<Thread>(options)) {}

ScriptedCompositor::~ScriptedCompositor() = default;

wl_display* ScriptedCompositor::Connect() { return thread_->Connect(); }

std::vector<ScriptedCompositor::Surface> ScriptedCompositor::Surfaces() {
  std::vector<Surface> surfaces;
  thread_->Do([&] {
    for (const auto& surface : thread_->surfaces) surfaces.push_back(surface->now);
  });
  return surfaces;
}

std::vector<ScriptedCompositor::Surface> ScriptedCompositor::Anchors(wl_surface* host) {
  const std::uint32_t id = wl_proxy_get_id(reinterpret_cast<wl_proxy*>(host));
  std::vector<Surface> anchors;
  for (const Surface& surface : Surfaces()) {
    if (surface.exists && surface.parent == id) anchors.push_back(surface);
  }
  return anchors;
}

std::vector<ScriptedCompositor::Surface> ScriptedCompositor::Views(wl_surface* host) {
  std::vector<Surface> views;
  for (const Surface& anchor : Anchors(host)) {
    for (const Surface& surface : Surfaces()) {
      if (surface.exists && surface.parent == anchor.id) views.push_back(surface);
    }
  }
  return views;
}

ScriptedCompositor::Surface ScriptedCompositor::View(wl_surface* host) {
  const std::vector<Surface> views = Views(host);
  EXPECT_EQ(views.size(), 1u);
  return views.empty() ? Surface() : views.front();
}

int ScriptedCompositor::Requests() {
  int requests = 0;
  thread_->Do([&] { requests = thread_->request_count; });
  return requests;
}

bool ScriptedCompositor::Comes(const std::function<bool()>& condition) { return thread_->Comes(condition); }

void ScriptedCompositor::SendFrames(std::uint32_t surface) {
  thread_->Do([&] {
    for (const auto& one : thread_->surfaces) {
      if (surface == 0 || one->now.id == surface) thread_->SendFrames(one.get());
    }
  });
}

void ScriptedCompositor::SendFramesAtOnce(bool at_once) {
  thread_->Do([&] { thread_->options_.sends_frames = at_once; });
  if (at_once) SendFrames();
}

void ScriptedCompositor::ReleaseBuffers() {
  thread_->Do([&] {
    for (const auto& surface : thread_->surfaces) thread_->ReleaseBuffers(surface.get());
  });
}

void ScriptedCompositor::SendPreferredScale(std::uint32_t scale) {
  thread_->Do([&] {
    thread_->preferred_scale = scale;
    thread_->SendPreferredScale();
  });
}

void ScriptedCompositor::SetOutput(int output, int mode_width, int mode_height, int transform, int units_width,
                                   int scale) {
  thread_->Do([&] {
    OutputRecord& record = thread_->outputs[static_cast<std::size_t>(output)];
    record.mode_width = mode_width;
    record.mode_height = mode_height;
    record.transform = transform;
    record.units_width = units_width;
    record.scale = scale;
    thread_->SendOutput(record);
  });
}

void ScriptedCompositor::RemoveOutput(int output) {
  thread_->Do([&] { thread_->RemoveOutput(&thread_->outputs[static_cast<std::size_t>(output)]); });
}

void ScriptedCompositor::Enter(std::uint32_t surface, int output, bool enters) {
  thread_->Do([&] {
    SurfaceRecord* const found = thread_->Find(surface);
    ASSERT_NE(found, nullptr);
    for (wl_resource* const to : thread_->outputs[static_cast<std::size_t>(output)].resources) {
      enters ? wl_surface_send_enter(found->resource, to) : wl_surface_send_leave(found->resource, to);
    }
  });
}

void ScriptedCompositor::Stop() { thread_->Stop(); }

void ScriptedCompositor::GoOn() { thread_->GoOn(); }

void ScriptedCompositor::Disconnect() {
  thread_->Do([&] { thread_->Disconnect(); });
}

void ScriptedCompositor::PostError(std::uint32_t surface, std::uint32_t code) {
  thread_->Do([&] { wl_resource_post_error(thread_->Find(surface)->resource, code, "as the test has it"); });
}

}  // namespace test
