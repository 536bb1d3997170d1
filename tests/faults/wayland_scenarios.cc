// Views in surfaces of a Wayland compositor without a screen.
#include <gtest/gtest.h>
#include <wayland-client.h>

#include <algorithm>

#include <quarn/qn_native_display.h>

#include "tests/faults/view_host.h"
#include "tests/support/scripted_client.h"
#include "tests/support/scripted_compositor.h"

namespace faults {
namespace {

// A process keeps the connection that its first device was made on, so this one ends with the process.
struct Connection {
  test::ScriptedCompositor compositor;
  test::ScriptedClient client{&compositor};
};

class Surface : public ViewHost {
 public:
  ~Surface() override {
    Clear();
    EndWindow();
  }
  // A host that is refused looks whether it has a connection, and asks once more.
  void MakeDevice() override {
    for (int i = 0; i < 2 && !NameDisplay(); ++i) was_refused_ = true;
    ViewHost::MakeDevice();
    device_was_made = true;
  }
  Digest Work() override {
    const Digest digest = ViewHost::Work();
    return std::exchange(was_refused_, false) ? kNothing : digest;
  }

 protected:
  void* MakeWindow() override {
    EndWindow();
    return surface_ = TheConnection().client.MakeSurface();
  }
  bool Shows(const unsigned char (&colour)[4], bool smaller) override {
    const int width = smaller ? kWidth - kSmaller : kWidth;
    for (const auto& view : TheConnection().compositor.Views(surface_)) {
      if (!view.exists || view.picture.width != width || view.picture.height != kHeight) continue;
      if (std::equal(colour, colour + 3, view.picture.at(width / 2, kHeight / 2))) return true;
    }
    return false;
  }

 private:
  static std::vector<std::unique_ptr<Connection>>& Connections() {
    static auto* const connections = new std::vector<std::unique_ptr<Connection>>;
    return *connections;
  }
  static Connection& TheConnection() {
    if (Connections().empty()) Connections().push_back(std::make_unique<Connection>());
    return *Connections().back();
  }
  static bool NameDisplay() {
    // Another one, where there is no device yet: then it is too late. The library may still have the one before.
    if (!device_was_made && wl_display_get_error(TheConnection().client.display())) {
      Connections().push_back(std::make_unique<Connection>());
    }
    return qn_set_native_display(kQnNativeDisplayWayland, TheConnection().client.display());
  }
  void EndWindow() {
    if (surface_) wl_surface_destroy(std::exchange(surface_, nullptr));
    wl_display_flush(TheConnection().client.display());
  }

  static inline bool device_was_made = false;
  wl_surface* surface_ = nullptr;
  bool was_refused_ = false;  // Which is what came of the next round.
};

}  // namespace

std::vector<Scenario> WaylandScenarios() { return {MakeScenario<Surface>("wayland", "surface")}; }

}  // namespace faults
