// A Wayland compositor without a screen, which does what a test says and tells what its client has done.
#ifndef QUARN_TESTS_SUPPORT_SCRIPTED_COMPOSITOR_H_
#define QUARN_TESTS_SUPPORT_SCRIPTED_COMPOSITOR_H_

#include <wayland-client-core.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tests/support/image_compare.h"

struct wl_surface;

namespace test {

// Runs on a thread of its own, for one client, on a socket that has no name. What the client does takes effect as the
// protocol has it: a surface's state with its commit, a subsurface's place with the commit of the surface around it. A
// client that breaks the rules is sent the protocol's error.
//
// Thread: any, one at a time.
class ScriptedCompositor {
 public:
  struct Options {
    bool compositor = true;
    bool subcompositor = true;
    bool shm = true;
    bool viewporter = true;
    bool fractional_scales = true;
    bool xdg_output = true;
    int outputs = 1;           // Each 1920x1080, with as many units as pixels.
    bool sends_frames = true;  // Whether it wants another picture as soon as it has one.
    bool releases_buffers = true;
  };

  // What the client has made of a surface.
  struct Surface {
    std::uint32_t id = 0;
    std::uint32_t parent = 0;  // The id of the surface that it was put into; 0 for none.
    bool placed = false;       // Whether the one around it was committed since: only then does it show.
    bool sync = true;
    int x = 0;
    int y = 0;
    int commits = 0;
    bool takes_input = true;  // Anywhere at all.
    Picture picture;          // Of the buffer; empty without one. Four channels.
    int buffer_scale = 1;
    // What the viewport says; 0 where it says nothing.
    double source_width = 0;
    double source_height = 0;
    int destination_width = 0;
    int destination_height = 0;
    int frames_asked_for = 0;  // That were not answered.
    bool exists = true;        // Destroyed ones are told of too.
  };

  explicit ScriptedCompositor(const Options& options);
  ScriptedCompositor() : ScriptedCompositor(Options()) {}
  // The client's end of the connection stays open, and finds it broken.
  ~ScriptedCompositor();
  ScriptedCompositor(const ScriptedCompositor&) = delete;
  ScriptedCompositor& operator=(const ScriptedCompositor&) = delete;

  // Makes a connection, which the caller disconnects. The one before is not looked at any more.
  wl_display* Connect();

  // All surfaces in the order of their making.
  std::vector<Surface> Surfaces();
  // The surfaces in a subsurface of the host's surface: those with the pictures of views.
  std::vector<Surface> Views(wl_surface* host);
  // The only one of them.
  Surface View(wl_surface* host);
  // The subsurfaces of the host's surface.
  std::vector<Surface> Anchors(wl_surface* host);
  // How many requests the client has sent.
  int Requests();

  // Waits until it is so, looking whenever the client has done something. Returns false when that takes a minute.
  bool Comes(const std::function<bool()>& condition);

  // Answers the frames that were asked for, of one surface or of all; from then on as before, or at once.
  void SendFrames(std::uint32_t surface = 0);
  void SendFramesAtOnce(bool at_once);
  void ReleaseBuffers();
  // What every surface, present and future, is told to have for a scale, in 120ths.
  void SendPreferredScale(std::uint32_t scale);
  // Gives a screen other values; 0 leaves `units_width` untold.
  void SetOutput(int output, int mode_width, int mode_height, int transform, int units_width, int scale);
  void RemoveOutput(int output);
  void Enter(std::uint32_t surface, int output, bool enters = true);

  // Does nothing any more until it goes on, as a compositor in a debugger: not what a test wants of it, either.
  void Stop();
  void GoOn();
  // Ends the connection as a crash would, and for an error of the client's.
  void Disconnect();
  void PostError(std::uint32_t surface, std::uint32_t code);

 private:
  class Thread;
  const std::unique_ptr<Thread> thread_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_SCRIPTED_COMPOSITOR_H_
