// The screens of a Wayland compositor, and how many pixels they have to a unit.
#ifndef QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_OUTPUTS_H_
#define QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_OUTPUTS_H_

#include <wayland-client.h>
#include <xdg-output-unstable-v1-client-protocol.h>

#include <cstdint>
#include <memory>
#include <vector>

// Thread: window; until there are windows, the thread that makes it.
class WaylandOutputs {
 public:
  WaylandOutputs();
  ~WaylandOutputs();
  WaylandOutputs(const WaylandOutputs&) = delete;
  WaylandOutputs& operator=(const WaylandOutputs&) = delete;

  // A global that the compositor has announced: a screen, and what tells the size of screens in units. May throw where
  // memory is missing.
  void Add(wl_registry* registry, std::uint32_t name, std::uint32_t version);
  void SetManager(zxdg_output_manager_v1* manager);
  zxdg_output_manager_v1* manager() const { return manager_; }
  // A global has gone. Where it was a screen, returns which: a name for what does not exist any more.
  wl_output* Remove(std::uint32_t name);
  // Lets go of all of it, with the connection open.
  void Clear();

  // In 120ths, what pictures for these screens should have: that of the one with the most pixels to a unit. Where there
  // is none among them, as before a window has been shown, that of all screens; without any, 1.
  unsigned int ScaleOf(const std::vector<wl_output*>& entered) const;
  // The same in whole numbers, for what can have no others.
  unsigned int WholeScaleOf(const std::vector<wl_output*>& entered) const;

 private:
  struct Output;

  void AskForUnits(Output* output);
  template <class Value>
  unsigned int Most(const std::vector<wl_output*>& entered, Value value) const;

  std::vector<std::unique_ptr<Output>> outputs_;
  zxdg_output_manager_v1* manager_ = nullptr;
};

#endif  // QUARN_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_OUTPUTS_H_
