// What the tests of Wayland's classes have in common: a scripted compositor, a host, and the window system between
// them.
#ifndef QUARN_TESTS_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_TEST_H_
#define QUARN_TESTS_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_TEST_H_

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "graphics/opengl/cgl/linux/wayland_window.h"
#include "graphics/opengl/cgl/linux/wayland_window_system.h"
#include "graphics/opengl/cgl/window_thread.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_client.h"
#include "tests/support/scripted_compositor.h"

class WaylandTest : public ::testing::Test {
 protected:
  using Options = test::ScriptedCompositor::Options;
  using Surface = test::ScriptedCompositor::Surface;

  ~WaylandTest() override {
    OnWindowThread([&] { windows_.clear(); });
    if (surface_) wl_surface_destroy(surface_);
    EndSystem();
  }
  void EndSystem() {
    OnWindowThread([] {});  // What the connection's thread has asked for before.
    system_.reset();
  }

  // To be called first.
  void Begin(const Options& options = Options()) {
    compositor_ = std::make_unique<test::ScriptedCompositor>(options);
    host_ = std::make_unique<test::ScriptedClient>(compositor_.get());
    surface_ = host_->MakeSurface();
    system_ = WaylandWindowSystem::Open(host_->display());
    ASSERT_NE(system_, nullptr);
  }
  // Everything of windows is the window thread's.
  static void OnWindowThread(const std::function<void()>& work) {
    std::promise<void> done;
    WindowThread::Get().Post([&] {
      work();
      done.set_value();
    });
    done.get_future().wait();
  }
  WaylandWindow* MakeWindow(unsigned int width, unsigned int height, std::function<void()> on_ready = nullptr) {
    return MakeWindow(surface_, width, height, std::move(on_ready));
  }
  WaylandWindow* MakeWindow(void* host_window, unsigned int width, unsigned int height,
                            std::function<void()> on_ready = nullptr) {
    std::unique_ptr<NativeWindow> window;
    OnWindowThread([&] {
      place_ = system_->CreateWindow({host_window, width, height, 0, false, 0, 0, std::move(on_ready)}, &window);
    });
    if (!window) return nullptr;
    windows_.push_back(std::move(window));
    return static_cast<WaylandWindow*>(windows_.back().get());
  }
  // Presents a picture as the driver does, and waits until the compositor has it.
  void Present(WaylandWindow* window) {
    wl_buffer* buffer = nullptr;
    OnWindowThread([&] {
      window->BeginPresent();
      buffer = host_->MakeBuffer(static_cast<int>(window->width()), static_cast<int>(window->height()));
      wl_surface_attach(window->surface(), buffer, 0, 0);
      wl_surface_commit(window->surface());
      window->EndPresent(true);
    });
    EXPECT_TRUE(host_->Roundtrip());
    wl_buffer_destroy(buffer);
  }
  bool Ready(WaylandWindow* window) {
    bool ready = false;
    OnWindowThread([&] { ready = window->Alive() && window->Ready(); });
    return ready;
  }
  // Waits until the window system has taken in what the compositor has sent, and the compositor what came of that.
  void Settle() {
    EXPECT_TRUE(host_->Roundtrip());
    OnWindowThread([&] { system_->Poll(); });
    EXPECT_TRUE(host_->Roundtrip());
  }
  // Whether the compositor has nothing to say against what was done so far.
  bool Lives() {
    bool lives = host_->Roundtrip();
    OnWindowThread([&] { lives = system_->Poll() && lives; });
    return lives;
  }
  // The surface with the pictures of the only window, when all that was asked for is done.
  Surface View() {
    Settle();
    return compositor_->View(surface_);
  }
  std::vector<std::string> TakeLog() {
    std::vector<std::string> texts;
    for (const LogCapture::Line& line : log_.Lines()) texts.push_back(line.text);
    log_.Clear();
    return texts;
  }

  LogCapture log_;
  std::unique_ptr<test::ScriptedCompositor> compositor_;
  std::unique_ptr<test::ScriptedClient> host_;
  wl_surface* surface_ = nullptr;
  std::unique_ptr<WaylandWindowSystem> system_;
  std::vector<std::unique_ptr<NativeWindow>> windows_;
  NativeContext::Place place_ = NativeContext::Place::kNotYet;  // What the last MakeWindow came to.
};

#endif  // QUARN_TESTS_GRAPHICS_OPENGL_CGL_LINUX_WAYLAND_TEST_H_
