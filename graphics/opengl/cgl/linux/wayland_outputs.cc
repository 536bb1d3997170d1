// Keeps what the compositor tells of its screens. Entered by the window thread, and by the thread that names the host's
// connection.
#include "graphics/opengl/cgl/linux/wayland_outputs.h"

#include <algorithm>
#include <new>

#include "graphics/opengl/cgl/linux/wayland_scale.h"

struct WaylandOutputs::Output {
  Output(wl_output* bound, std::uint32_t global_name) : output(bound), name(global_name) {}
  ~Output() {
    if (units) zxdg_output_v1_destroy(units);
    if (wl_output_get_version(output) >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
      wl_output_release(output);
    } else {
      wl_output_destroy(output);
    }
  }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  unsigned int Scale() const {
    const bool turned = transform % 2 == 1;  // By a quarter, one way or the other.
    const int pixels = turned ? mode_height : mode_width;
    if (pixels > 0 && units_width > 0) return std::max(WaylandScaleOf(pixels, units_width), 1u);
    return WholeScale() * kWaylandScaleOne;
  }
  unsigned int WholeScale() const { return static_cast<unsigned int>(std::max(whole_scale, 1)); }

  static Output* From(void* data) { return static_cast<Output*>(data); }
  static void OnGeometry(void* data, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                         const char*, const char*, std::int32_t transform) {
    From(data)->transform = transform;
  }
  static void OnMode(void* data, wl_output*, std::uint32_t flags, std::int32_t width, std::int32_t height,
                     std::int32_t) {
    if (!(flags & WL_OUTPUT_MODE_CURRENT)) return;
    From(data)->mode_width = width;
    From(data)->mode_height = height;
  }
  static void OnDone(void*, wl_output*) {}
  static void OnScale(void* data, wl_output*, std::int32_t scale) { From(data)->whole_scale = scale; }
  static void OnPosition(void*, zxdg_output_v1*, std::int32_t, std::int32_t) {}
  static void OnSize(void* data, zxdg_output_v1*, std::int32_t width, std::int32_t) { From(data)->units_width = width; }
  static void OnUnitsDone(void*, zxdg_output_v1*) {}
  static void OnName(void*, zxdg_output_v1*, const char*) {}

  wl_output* const output;
  const std::uint32_t name;
  zxdg_output_v1* units = nullptr;
  int mode_width = 0;
  int mode_height = 0;
  int transform = WL_OUTPUT_TRANSFORM_NORMAL;
  int units_width = 0;  // 0 while the compositor has not told.
  int whole_scale = 1;
};

WaylandOutputs::WaylandOutputs() = default;

WaylandOutputs::~WaylandOutputs() { Clear(); }

void WaylandOutputs::Clear() {
  outputs_.clear();
  if (manager_) zxdg_output_manager_v1_destroy(manager_);
  manager_ = nullptr;
}

void WaylandOutputs::Add(wl_registry* registry, std::uint32_t name, std::uint32_t version) {
  static const wl_output_listener listener = {&Output::OnGeometry, &Output::OnMode, &Output::OnDone,
                                              &Output::OnScale,    nullptr,         nullptr};
  const std::uint32_t bound_version = std::min<std::uint32_t>(version, WL_OUTPUT_RELEASE_SINCE_VERSION);
  outputs_.reserve(outputs_.size() + 1);
  void* const bound = wl_registry_bind(registry, name, &wl_output_interface, bound_version);
  if (!bound) throw std::bad_alloc();
  outputs_.push_back(std::make_unique<Output>(static_cast<wl_output*>(bound), name));
  Output* const output = outputs_.back().get();
  wl_output_add_listener(output->output, &listener, output);
  AskForUnits(output);
}

void WaylandOutputs::SetManager(zxdg_output_manager_v1* manager) {
  if (!manager || manager_) return;
  manager_ = manager;
  for (const auto& output : outputs_) AskForUnits(output.get());
}

void WaylandOutputs::AskForUnits(Output* output) {
  static const zxdg_output_v1_listener listener = {&Output::OnPosition, &Output::OnSize, &Output::OnUnitsDone,
                                                   &Output::OnName, &Output::OnName};
  if (!manager_ || output->units) return;
  output->units = zxdg_output_manager_v1_get_xdg_output(manager_, output->output);
  if (output->units) zxdg_output_v1_add_listener(output->units, &listener, output);
}

wl_output* WaylandOutputs::Remove(std::uint32_t name) {
  const auto found =
      std::find_if(outputs_.begin(), outputs_.end(), [name](const auto& output) { return output->name == name; });
  if (found == outputs_.end()) return nullptr;
  wl_output* const gone = (*found)->output;
  outputs_.erase(found);
  return gone;
}

template <class Value>
unsigned int WaylandOutputs::Most(const std::vector<wl_output*>& entered, Value value) const {
  unsigned int of_entered = 0, of_all = 0;
  for (const auto& output : outputs_) {
    of_all = std::max(of_all, value(*output));
    const bool is_entered = std::find(entered.begin(), entered.end(), output->output) != entered.end();
    if (is_entered) of_entered = std::max(of_entered, value(*output));
  }
  return of_entered != 0 ? of_entered : of_all;
}

unsigned int WaylandOutputs::ScaleOf(const std::vector<wl_output*>& entered) const {
  const unsigned int scale = Most(entered, [](const Output& output) { return output.Scale(); });
  return scale != 0 ? scale : kWaylandScaleOne;
}

unsigned int WaylandOutputs::WholeScaleOf(const std::vector<wl_output*>& entered) const {
  return std::max(Most(entered, [](const Output& output) { return output.WholeScale(); }), 1u);
}
