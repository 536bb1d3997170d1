// Which connection of the host's serves the process. The host's threads name it, and any thread that makes a device
// asks for it.
#include <wayland-client-core.h>

#include <memory>
#include <utility>

#include "foundation/fork_count.h"
#include "foundation/logger.h"
#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"
#include "graphics/opengl/cgl/linux/egl_display.h"
#include "graphics/opengl/cgl/linux/wayland_window_system.h"
#include "graphics/opengl/cgl/linux/window_system.h"

namespace {

// The one that the host has named, and may still name another in the place of.
class NamedDisplay {
 public:
  static NamedDisplay& Get() {
    static NeverDestroyed<NamedDisplay> named;
    struct AtExit {
      ~AtExit() {
        NamedDisplay& display = named.get();
        MutexLocker<Mutex> lock(display.mutex_);
        display.LeaveTheParents();
        if (display.system_) display.system_->End();
      }
    };
    static const AtExit at_exit;
    return named.get();
  }

  bool Is(const void* display) {
    MutexLocker<Mutex> lock(mutex_);
    LeaveTheParents();
    return system_ && system_->display() == display;
  }
  // The one there is, also where it does not answer; null without.
  const WindowSystem* system() {
    MutexLocker<Mutex> lock(mutex_);
    LeaveTheParents();
    return system_.get();
  }

  // Puts a system in the place of the one that there is, null for none. False where that serves the process already.
  bool Set(std::unique_ptr<WaylandWindowSystem> system) {
    return ChangeWindowSystem([&] {
      MutexLocker<Mutex> lock(mutex_);
      LeaveTheParents();
      system_.swap(system);
      answers_ = false;
    });
  }

  WaylandWindowSystem* Open() {
    MutexLocker<Mutex> lock(mutex_);
    LeaveTheParents();
    if (system_ && !answers_) answers_ = system_->Answers();
    return answers_ ? system_.get() : nullptr;
  }

  bool empty() {
    MutexLocker<Mutex> lock(mutex_);
    LeaveTheParents();
    return !system_;
  }

 private:
  friend class NeverDestroyed<NamedDisplay>;
  NamedDisplay() = default;

  // In a fork: what this process's parent has named goes on serving the parent, on a connection that both hold.
  void LeaveTheParents() QUARN_REQUIRES(mutex_) {
    if (std::exchange(fork_count_, os::ForkCount()) == os::ForkCount()) return;
    static_cast<void>(system_.release());
    answers_ = false;
  }

  Mutex mutex_;
  std::unique_ptr<WaylandWindowSystem> system_ QUARN_GUARDED_BY(mutex_);
  bool answers_ QUARN_GUARDED_BY(mutex_) = false;  // Whether it did when a device was to be made on it.
  unsigned int fork_count_ QUARN_GUARDED_BY(mutex_) = os::ForkCount();
};

bool LogTooLate() {
  Logger::default_logger()->Warn("The native display stays as it is: a device was made on it, or on another, before");
  return false;
}

}  // namespace

WindowSystem* OpenWaylandWindowSystem() { return NamedDisplay::Get().Open(); }

bool TakeWaylandDisplay(void* display) {
  if (!display) {
    Logger::default_logger()->Warn("The Wayland display is not taken: it is null");
    return false;
  }
  const bool is_named = NamedDisplay::Get().Is(display);
  // Asked first, for a display that is too late is not even looked at.
  if (!ChangeWindowSystem([] {})) {
    // A device may have passed over the one that was named.
    return (is_named && ChosenWindowSystem() == NamedDisplay::Get().system()) || LogTooLate();
  }
  if (is_named) return true;
  if (!HasEglClientExtension(kWaylandEglExtension)) {
    Logger::default_logger()->Warn("The Wayland display is not taken: EGL has no windows of Wayland's");
    return false;
  }
  std::unique_ptr<WaylandWindowSystem> system = WaylandWindowSystem::Open(static_cast<wl_display*>(display));
  if (!system) return false;
  return NamedDisplay::Get().Set(std::move(system)) || LogTooLate();
}

bool LeaveWaylandDisplay() {
  if (NamedDisplay::Get().empty()) return true;
  return NamedDisplay::Get().Set(nullptr) || LogTooLate();
}
