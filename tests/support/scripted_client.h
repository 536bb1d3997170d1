// A host's side of a connection to the scripted compositor.
#ifndef QUARN_TESTS_SUPPORT_SCRIPTED_CLIENT_H_
#define QUARN_TESTS_SUPPORT_SCRIPTED_CLIENT_H_

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "tests/support/scripted_compositor.h"

namespace test {

// Reads and dispatches its own queue only when it is told to.
class ScriptedClient {
 public:
  explicit ScriptedClient(ScriptedCompositor* compositor) : display_(compositor->Connect()) {
    static const wl_registry_listener listener = {&ScriptedClient::OnGlobal, [](void*, wl_registry*, std::uint32_t) {}};
    registry_ = wl_display_get_registry(display_);
    wl_registry_add_listener(registry_, &listener, this);
    wl_display_roundtrip(display_);
  }
  ~ScriptedClient() {
    if (compositor_) wl_compositor_destroy(compositor_);
    if (shm_) wl_shm_destroy(shm_);
    wl_registry_destroy(registry_);
    wl_display_disconnect(display_);
  }
  ScriptedClient(const ScriptedClient&) = delete;
  ScriptedClient& operator=(const ScriptedClient&) = delete;

  wl_display* display() const { return display_; }
  wl_registry* registry() const { return registry_; }
  wl_surface* MakeSurface() const { return wl_compositor_create_surface(compositor_); }
  // Waits until the compositor has taken in whatever was asked by anybody.
  bool Roundtrip() const { return wl_display_roundtrip(display_) >= 0; }
  // A buffer with rubbish in it. The caller's to destroy.
  wl_buffer* MakeBuffer(int width, int height) const {
    const int size = width * height * 4;
    const int file = memfd_create("picture", MFD_CLOEXEC);
    EXPECT_EQ(ftruncate(file, size), 0);
    wl_shm_pool* const pool = wl_shm_create_pool(shm_, file, size);
    wl_buffer* const buffer = wl_shm_pool_create_buffer(pool, 0, width, height, width * 4, WL_SHM_FORMAT_XRGB8888);
    wl_shm_pool_destroy(pool);
    close(file);
    return buffer;
  }

 private:
  static void OnGlobal(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t) {
    auto* const client = static_cast<ScriptedClient*>(data);
    if (std::strcmp(interface, wl_compositor_interface.name) == 0) {
      client->compositor_ = static_cast<wl_compositor*>(wl_registry_bind(registry, name, &wl_compositor_interface, 4));
    } else if (std::strcmp(interface, wl_shm_interface.name) == 0) {
      client->shm_ = static_cast<wl_shm*>(wl_registry_bind(registry, name, &wl_shm_interface, 1));
    }
  }

  wl_display* const display_;
  wl_registry* registry_ = nullptr;
  wl_compositor* compositor_ = nullptr;
  wl_shm* shm_ = nullptr;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_SCRIPTED_CLIENT_H_
