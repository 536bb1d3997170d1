// Wayland as a window system for views.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_WINDOW_SYSTEM_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_WINDOW_SYSTEM_H_

#include <fractional-scale-v1-client-protocol.h>
#include <viewporter-client-protocol.h>
#include <wayland-client.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "graphics/opengl/cgl/linux/wayland_outputs.h"
#include "graphics/opengl/cgl/linux/wayland_reader.h"
#include "graphics/opengl/cgl/linux/window_system.h"

class WaylandWindow;

// The host's connection, by a queue of the library's own: what the host does with its queue, or leaves undone, does not
// matter here. The GL driver has queues of its own too.
class WaylandWindowSystem : public WindowSystem {
 public:
  // For how long a compositor may be silent before it is taken for one that does not answer.
  static constexpr int kPatienceMs = 5000;

  // Null when the connection or its compositor is none for views; the log says why. May throw where memory is missing.
  //
  // Thread: any; one that has not prepared to read the connection.
  // Blocks: until the compositor has answered, `patience_ms` at most.
  static std::unique_ptr<WaylandWindowSystem> Open(wl_display* display, int patience_ms = kPatienceMs);
  // With the connection open, and without windows.
  ~WaylandWindowSystem() override;

  EglPlatform egl_platform() const override;
  // Best has no alpha, for what lies below a view must not come through; and 8 bits a colour, as screens have.
  Fit FitOf(EGLDisplay display, EGLConfig config) const override;
  // Needs no answer of the compositor's. The driver may wait for one when it makes the surface afterwards.
  NativeContext::Place CreateWindow(const WindowRequest& request, std::unique_ptr<NativeWindow>* window) override;
  bool Poll() override;
  void LogNoEgl() const override;

  // Whether the compositor answers now; the log says why not. Without windows; thread, blocks and throws: as Open.
  bool Answers();
  // For the end of the process.
  void End() { reader_.End(); }

  wl_display* display() const { return display_; }
  // Of what is made by these the events come to this queue. The first three are there, the others may be null.
  wl_display* display_on_queue() const { return display_on_queue_; }
  wl_compositor* compositor() const { return compositor_; }
  wl_subcompositor* subcompositor() const { return subcompositor_; }
  wp_viewporter* viewporter() const { return viewporter_; }
  wp_fractional_scale_manager_v1* fractional_scales() const { return fractional_scales_; }
  // One pixel, which is transparent.
  wl_buffer* clear_pixel() const { return clear_pixel_; }
  const WaylandOutputs& outputs() const { return outputs_; }

  // A window is known here from its making to its end.
  void Add(WaylandWindow* window);
  void Remove(WaylandWindow* window);

 private:
  WaylandWindowSystem(wl_display* display, int patience_ms);

  // The steps of Open; each says in the log what is missing. Where libwayland makes no object, memory is.
  bool FindGlobals();
  bool MakeClearPixel();
  // Has the compositor answer to all that was asked, and takes the answers in.
  bool Roundtrip();

  void Bind(std::uint32_t name, const char* interface, std::uint32_t version);
  static void OnGlobal(void* data, wl_registry*, std::uint32_t name, const char* interface, std::uint32_t version);
  static void OnGlobalRemove(void* data, wl_registry*, std::uint32_t name);
  // Poll for the thread that listens.
  void TakeIn();
  void LogLost() const;

  wl_display* const display_;
  const int patience_ms_;
  wl_event_queue* queue_ = nullptr;
  wl_display* display_on_queue_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_compositor* compositor_ = nullptr;
  wl_subcompositor* subcompositor_ = nullptr;
  wl_shm* shm_ = nullptr;
  wl_buffer* clear_pixel_ = nullptr;
  wp_viewporter* viewporter_ = nullptr;
  wp_fractional_scale_manager_v1* fractional_scales_ = nullptr;
  WaylandOutputs outputs_;
  WaylandReader reader_;
  // What follows belongs to the window thread.
  std::vector<WaylandWindow*> windows_;
  bool lost_ = false;  // Whether the log has said that the compositor is gone.
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_WINDOW_SYSTEM_H_
