// Windows and compositors that treat a view badly: that costs the picture and at most a line in the log.
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/threads_left_behind.h"
#include "tests/wayland/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::WaylandWindow;

class ViewWindowTest : public host::ViewTest {};

// A window that nobody sees gets no pictures, and the newest of them when it is seen again: no other frame is drawn.
TEST_F(ViewWindowTest, ShowsTheNewestPictureAfterBeingHidden) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  window.Hide();
  Frames(20);
  view.SetBackgroundColor(1, 0, 0, 1);
  Frames(20);
  const GsViewCounts hidden = view.Counts();
  EXPECT_LE(hidden.presented, hidden.drawn - 30) << "pictures are presented that nobody sees";
  window.Show();
  EXPECT_TRUE(ComesToShow(window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
  EXPECT_EQ(view.Counts().drawn, hidden.drawn);
}

TEST_F(ViewWindowTest, FollowsAResizeAndAMoveWhileHidden) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  window.Hide();
  Frames(3);
  view.Resize(150, 102);
  view.Move(48, 12);
  Frames(3);
  window.Show();
  window.Resize(198, 114);
  EXPECT_TRUE(Shows(window, host::WindowWith(198, 114, {{ViewOf(scene.picture(), 150, 102).picture(), 48, 12}})));
}

TEST_F(ViewWindowTest, ShowsItsPictureAfterBeingUnmapped) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  window.Unmap();
  Frames(3);
  view.SetBackgroundColor(1, 0, 0, 1);
  Frames(3);
  window.Map();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
}

TEST_F(ViewWindowTest, ShowsItsPictureOnceItIsMappedAtLast) {
  const PatternScene scene(64, 48, device);
  test::WaylandWindowOptions options;
  options.mapped = false;
  WaylandWindow window(wayland, 120, 90, options);
  const View view(window.handle(), 120, 90, scene.scene());
  Frames(20);
  window.Map();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

TEST_F(ViewWindowTest, MayNeverBeMapped) {
  const PatternScene scene(64, 48, device);
  test::WaylandWindowOptions options;
  options.mapped = false;
  const WaylandWindow window(wayland, 120, 90, options);
  View view(window.handle(), 120, 90, scene.scene());
  Frames(5);
  view.Resize(300, 204);
  Frames(5);
}

TEST_F(ViewWindowTest, MayBeMinimized) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  window.Minimize();
  Frames(20);
  view.Resize(60, 60);
  Frames(20);
  EXPECT_EQ(receiver.WaitFor(40).size(), 40u);
}

// The rest lives on: other views, outputs, and the view itself as an object. A compositor tells nobody of the end.
TEST_F(ViewWindowTest, MayBeDestroyedUnderItsView) {
  const PatternScene scene(64, 48, device);
  WaylandWindow other_window(wayland, 120, 90, {132, 0});
  View other(other_window.handle(), 120, 90, scene.scene());
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  {
    WaylandWindow window(wayland, 120, 90);
    View view(window.handle(), 120, 90, scene.scene());
    window.Commit();
    Frame();
    window.Destroy();
    Frames(20);
    view.Resize(54, 42);
    view.Move(6, 6);
    Frames(20);
    view.Detach();
    view.Attch();
    Frames(3);
    std::string complaints;
    // A picture may go on waiting for a compositor that shows nothing of the view any more.
    EXPECT_LE(TakeComplaints(&complaints), 1) << complaints;
  }
  other.SetBackgroundColor(1, 0, 0, 1);
  EXPECT_TRUE(Shows(other_window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
  EXPECT_GE(receiver.WaitFor(44).size(), 44u);
  receiver.Stop();
  EXPECT_EQ(host::log::Complaints(), "") << "but the rest is well.";
}

TEST_F(ViewWindowTest, MayBeDestroyedBeforeAnyFrame) {
  const PatternScene scene(64, 48, device);
  {
    WaylandWindow window(wayland, 120, 90);
    const View view(window.handle(), 120, 90, scene.scene());
    window.Destroy();
    Frames(20);
    std::string complaints;
    EXPECT_LE(TakeComplaints(&complaints), 1) << complaints;
  }
  WaylandWindow window(wayland, 120, 90);
  const View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

// The screen has another scale from one moment to the next: the user has set it, or the window has gone to another.
TEST_F(ViewWindowTest, KeepsItsPixelsWhenTheScreensScaleChanges) {
  const PatternScene scene(188, 110, device);
  WaylandWindow window(wayland, 198, 120);
  View view(window.handle(), 150, 90, scene.scene());
  view.Move(48, 30);
  view.Resize(150, 90);
  const test::Picture expected = host::WindowWith(198, 120, {{ViewOf(scene.picture(), 150, 90).picture(), 48, 30}});
  for (const char* scale : {"2", "1.5", "1"}) {
    ASSERT_TRUE(host::TheCompositor().Command(std::string("output HEADLESS-1 scale ") + scale));
    EXPECT_TRUE(test::ComesTrue([&] {
      wayland.Sync();
      return wayland.scale() == std::strtod(scale, nullptr);
    }));
    window.Resize(198, 120);
    EXPECT_TRUE(Shows(window, expected)) << "at a scale of " << scale;
  }
}

class LiveWindowTest : public host::LiveViewTest {};

// The frames are stamped 10 ms apart: none is lost, and new ones come.
TEST_F(LiveWindowTest, OutputsKeepTheirRateThroughAllThatAWindowGoesThrough) {
  const PatternScene scene(64, 48, device);
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  const auto more_come = [&receiver] {
    const std::size_t before = receiver.deliveries().size();
    return receiver.WaitFor(before + 10).size() >= before + 10;
  };
  {
    WaylandWindow window(wayland, 120, 90);
    View view(window.handle(), 120, 90, scene.scene());
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
    window.Hide();
    EXPECT_TRUE(more_come());
    window.Show();
    window.Unmap();
    EXPECT_TRUE(more_come());
    window.Map();
    window.Resize(150, 90);
    view.Resize(150, 90);
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 150, 90)));
    window.Destroy();
    EXPECT_TRUE(more_come());
  }
  EXPECT_TRUE(more_come());
  receiver.Stop();
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), 10'000'000));
}

// The host's windows belong to one thread of it, its views to others.
TEST_F(LiveWindowTest, ViewsMayBeMadeOnSeveralThreads) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 396, 90);
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 10; ++round) {
        View view(window.handle(), 120, 90, scene.scene());
        view.Move(132 * i, 0);
        EXPECT_TRUE(host::PassFrames(device, round % 2));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(window.ComesToShow(Flat(396, 90, 0x00f000), {}, [&] { window.Commit(); }));
}

// A compositor that does not answer costs the pictures of that time.
TEST_F(LiveWindowTest, OutputsGoOnWhileTheCompositorStalls) {
  const PatternScene scene(64, 48, device);
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  WaylandWindow window(wayland, 318, 240);
  View view(window.handle(), 318, 240, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 318, 240)));
  const int ticks = scene.item()->ticks.value();
  host::TheCompositor().Stall();
  EXPECT_TRUE(scene.item()->ticks.WaitFor(ticks + 50)) << "new frames are drawn all the while";
  view.Resize(162, 120);
  for (int i = 0; i < 1000; ++i) view.Move(i % 12, 6);
  view.Move(12, 6);
  EXPECT_TRUE(scene.item()->ticks.WaitFor(ticks + 100));
  host::TheCompositor().GoOn();
  window.Resize(198, 150);
  EXPECT_TRUE(window.ComesToShow(host::WindowWith(198, 150, {{ViewOf(scene.picture(), 162, 120).picture(), 12, 6}}),
                                 host::kViewTolerance, [&] { window.Commit(); }));
  receiver.Stop();
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), 10'000'000));
}

TEST_F(LiveWindowTest, ViewsMayComeAndGoWhileTheCompositorStalls) {
  const PatternScene scene(64, 48, device);
  WaylandWindow window(wayland, 318, 240);
  {
    View view(window.handle(), 318, 240, scene.scene());
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 318, 240)));
    host::TheCompositor().Stall();
    EXPECT_TRUE(host::PassFrames(device, 20));
  }
  const View view(window.handle(), 318, 240, scene.scene());
  EXPECT_TRUE(host::PassFrames(device, 20));
  host::TheCompositor().GoOn();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 318, 240)));
}

// Each in a process of its own, with a compositor of its own.
class ViewDisplayTest : public ::testing::Test {};

// Ends the process: 0 when all was well. With `anew` the compositor is started again afterwards, as a session does.
[[noreturn]] void KillTheCompositorUnderAView(bool anew) {
  int problems = 0;
  const auto expect = [&problems](bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "not so: %s\n", what);
    ++problems;
  };
  expect(GsDevice::CreateDefaultDevice(true), "there is a device");
  {
    GsDevice* const device = GsDevice::DefaultDevice();
    device->SetFps(100);
    const PatternScene scene(64, 48, device);
    host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
    expect(receiver.Start(), "the output starts");
    WaylandWindow window(host::TheConnection(), 120, 90);
    WaylandWindow second_window(host::TheConnection(), 120, 90, {132, 0});
    View view(window.handle(), 120, 90, scene.scene());
    View second(second_window.handle(), 120, 90, scene.scene());
    expect(
        window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance, [&] { window.Commit(); }),
        "it shows a picture");
    const auto more_come = [&receiver] {
      const std::size_t before = receiver.deliveries().size();
      return receiver.WaitFor(before + 20).size() >= before + 20;
    };
    host::TheCompositor().Kill();
    expect(more_come(), "frames come");
    view.Resize(300, 204);
    view.Move(6, 6);
    second.SetWindow({window.handle()});
    expect(more_come(), "frames come after a resize");
    expect(AreAlike(receiver.deliveries().back().planes[0], scene.picture(), {}), "frames are right");
    {
      const View late(window.handle(), 120, 90, scene.scene());
      expect(host::PassFrames(device, 5), "frames pass with a view made after the end");
    }
    if (anew) {
      expect(host::TheCompositor().Restart(), "the compositor starts again");
      char self[PATH_MAX] = {};
      expect(readlink("/proc/self/exe", self, sizeof(self) - 1) > 0, "the program is there");
      const std::string command = std::string(self) + " --gtest_filter=ViewPictureTest.ShowsEveryPixelAsItIs in " +
                                  host::TheCompositor().folder() + " sway 1 >&2";
      expect(std::system(command.c_str()) == 0, "another process shows its view there");
      expect(more_come(), "frames still come");
    }
    receiver.Stop();
    const std::string complaints = host::log::Complaints();
    std::fprintf(stderr, "%s", complaints.c_str());
    const std::string gone = "The Wayland compositor is gone: views show nothing any more\n";
    const std::size_t said = complaints.find(gone);
    expect(said != std::string::npos && complaints.find(gone, said + 1) == std::string::npos, "it says so once");
    expect(std::count(complaints.begin(), complaints.end(), '\n') <= 3, "and says little else");
  }
  GsDevice::DestroyDefaultDevice();
  std::exit(problems ? 1 : 0);
}

TEST_F(ViewDisplayTest, MayGoAwayUnderItsViews) {
  EXPECT_EXIT(KillTheCompositorUnderAView(false), ::testing::ExitedWithCode(0), "");
}

TEST_F(ViewDisplayTest, ComesBackForAnotherProcess) {
  EXPECT_EXIT(KillTheCompositorUnderAView(true), ::testing::ExitedWithCode(0), "");
}

[[noreturn]] void EndWhileTheCompositorStalls() {
  bool right = GsDevice::CreateDefaultDevice(true);
  // What is the test's own would wait for the compositor at its end, so it has none.
  static auto* const window = new WaylandWindow(host::TheConnection(), 120, 90);
  {
    GsDevice* const device = GsDevice::DefaultDevice();
    const PatternScene scene(64, 48, device);
    View view(window->handle(), 120, 90, scene.scene());
    right = right && window->ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance,
                                         [] { window->Commit(); });
    host::TheCompositor().Stall();
    right = right && host::PassFrames(device, 5);
  }
  GsDevice::DestroyDefaultDevice();
  std::exit(right ? 0 : 1);
}

TEST_F(ViewDisplayTest, ProcessEndsWhileTheCompositorStalls) {
  const test::ThreadsLeftBehind left_behind;  // The one that may hang in the window system.
  EXPECT_EXIT(EndWhileTheCompositorStalls(), ::testing::ExitedWithCode(0), "");
}

}  // namespace
