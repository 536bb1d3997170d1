// Windows that a host treats badly: they cost the picture and a line in the log, and nothing else.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "tests/support/run_in_fork.h"
#include "tests/support/threads_left_behind.h"
#include "tests/x11/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::XWindow;

class ViewWindowTest : public host::ViewTest {
 protected:
  void* Handle(std::uintptr_t id) { return reinterpret_cast<void*>(id); }
};

TEST_F(ViewWindowTest, ShowsItsPictureAfterBeingUnmapped) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  window.Unmap();
  Frames(3);
  view.SetBackgroundColor(1, 0, 0, 1);
  Frames(3);
  window.Map();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
}

TEST_F(ViewWindowTest, FollowsAResizeWhileUnmapped) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  window.Unmap();
  window.Resize(200, 160);
  view.Resize(200, 160);
  Frames(3);
  window.Map();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 160)));
}

TEST_F(ViewWindowTest, ShowsItsPictureOnceItIsMappedAtLast) {
  const PatternScene scene(64, 48, device);
  test::XWindowOptions options;
  options.mapped = false;
  XWindow window(x11, 120, 90, options);
  const View view(window.handle(), 120, 90, scene.scene());
  Frames(20);
  window.Map();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

TEST_F(ViewWindowTest, MayNeverBeMapped) {
  const PatternScene scene(64, 48, device);
  test::XWindowOptions options;
  options.mapped = false;
  XWindow window(x11, 120, 90, options);
  View view(window.handle(), 120, 90, scene.scene());
  Frames(5);
  view.Resize(300, 200);
  Frames(5);
}

TEST_F(ViewWindowTest, ShowsItsPictureAgainWhenUncovered) {
  const PatternScene scene(64, 48, device);
  const XWindow window(x11, 120, 90);
  const View view(window.handle(), 120, 90, scene.scene());
  const test::Picture shown = ViewOf(scene.picture(), 120, 90).picture();
  EXPECT_TRUE(Shows(window, shown));
  XWindow cover(x11, 200, 100, {60, 0, 0xff0000});
  Frames(3);
  EXPECT_TRUE(cover.ComesToShow(Flat(200, 100, 0xff0000), {})) << "the view draws over another window";
  cover.Lower();
  EXPECT_TRUE(Shows(window, shown));
  cover.Raise();
  Frames(3);
  cover.Destroy();
  EXPECT_TRUE(Shows(window, shown));
}

TEST_F(ViewWindowTest, FollowsAMove) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  const View view(window.handle(), 120, 90, scene.scene());
  Frame();
  window.MoveTo(77, 55);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

// The rest lives on: other views, outputs, and the view itself as an object.
TEST_F(ViewWindowTest, MayBeDestroyedUnderItsView) {
  const PatternScene scene(64, 48, device);
  const XWindow other_window(x11, 120, 90, {130, 0});
  View other(other_window.handle(), 120, 90, scene.scene());
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  ASSERT_TRUE(receiver.Start());
  {
    XWindow window(x11, 120, 90);
    View view(window.handle(), 120, 90, scene.scene());
    Frame();
    EXPECT_EQ(host::log::Complaints(), "");
    window.Destroy();
    FramesUntilComplaint();
    std::string complaints;
    EXPECT_EQ(TakeComplaints(view, &complaints), 1) << "the log says it once:\n" << complaints;
    view.Resize(50, 40);
    Frames(20);
    view.Detach();
    view.Attch();
    Frames(3);
    TakeComplaints(view, &complaints);  // What else is said of it is the library's to choose,
  }
  other.SetBackgroundColor(1, 0, 0, 1);
  EXPECT_TRUE(Shows(other_window, ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1})));
  EXPECT_GE(receiver.WaitFor(44).size(), 44u);
  receiver.Stop();
  EXPECT_EQ(host::log::Complaints(), "") << "but the rest is well.";
}

TEST_F(ViewWindowTest, MayBeDestroyedBeforeAnyFrame) {
  const PatternScene scene(64, 48, device);
  std::string complaints;
  {
    XWindow window(x11, 120, 90);
    const View view(window.handle(), 120, 90, scene.scene());
    window.Destroy();
    FramesUntilComplaint();
    EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  }
  const XWindow window(x11, 120, 90);
  const View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

TEST_F(ViewWindowTest, MayBeDestroyedTogetherWithItsHostsConnection) {
  const PatternScene scene(64, 48, device);
  std::string complaints;
  {
    test::XConnection hosts;
    const XWindow window(hosts, 120, 90);
    const View view(window.handle(), 120, 90, scene.scene());
    Frame();
    hosts.Disconnect();
    FramesUntilComplaint();
    EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  }
  EXPECT_TRUE(host::DrivenDeviceWorks(device));
}

// The window that is destroyed holds the host's, as a tab that is closed.
TEST_F(ViewWindowTest, MayBeDestroyedWithAWindowAroundIt) {
  const PatternScene scene(64, 48, device);
  XWindow outer(x11, 300, 200);
  test::XWindowOptions options;
  options.parent = outer.id();
  const XWindow window(x11, 120, 90, options);
  std::string complaints;
  {
    const View view(window.handle(), 120, 90, scene.scene());
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
    outer.Destroy();
    FramesUntilComplaint();
    EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  }
  EXPECT_TRUE(host::DrivenDeviceWorks(device));
}

// One of the two is seen, and the other one once that is gone.
TEST_F(ViewWindowTest, MayBeGivenToTwoViews) {
  const PatternScene first_scene(64, 48, device);
  const PatternScene second_scene(30, 48, device);
  XWindow window(x11, 120, 90);
  const View first(window.handle(), 120, 90, first_scene.scene());
  {
    const View second(window.handle(), 120, 90, second_scene.scene());
    EXPECT_TRUE(Shows(window, ViewOf(second_scene.picture(), 120, 90)));
  }
  EXPECT_TRUE(Shows(window, ViewOf(first_scene.picture(), 120, 90)));
}

TEST_F(ViewWindowTest, MayBeAChildOfTheHosts) {
  const PatternScene scene(64, 48, device);
  const XWindow outer(x11, 300, 200);
  test::XWindowOptions options;
  options.parent = outer.id();
  options.x = 40;
  XWindow window(x11, 120, 90, options);
  View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  window.Resize(150, 90);
  view.Resize(150, 90);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 150, 90)));
}

// Input belongs to the host: nothing in its window takes any.
TEST_F(ViewWindowTest, LeavesTheInputToTheHost) {
  XWindow window(x11, 120, 90);
  const View view(window.handle(), 120, 90);
  Frame();
  EXPECT_TRUE(window.HearsAClickAt(60, 45));
}

class NoWindowTest : public ViewWindowTest {
 protected:
  // A view of what is no window lives as any other, shows nothing, and says so once.
  void ExpectOneComplaint(std::uintptr_t id) {
    const PatternScene scene(64, 48, device);
    std::string complaints;
    {
      View view(Handle(id), 120, 90, scene.scene());
      Frames(20);
      EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
      EXPECT_EQ(view.width(), 120u);
      view.Resize(200, 160);
      Frames(20);
      TakeComplaints(view, &complaints);
    }
    EXPECT_TRUE(host::DrivenDeviceWorks(device));
    XWindow window(x11, 120, 90);
    const View view(window.handle(), 120, 90, scene.scene());
    EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
  }
};

TEST_F(NoWindowTest, NullIsReported) { ExpectOneComplaint(0); }
TEST_F(NoWindowTest, AnIdOfNothingIsReported) { ExpectOneComplaint(0x1fabcdef); }
TEST_F(NoWindowTest, APixmapIsReported) { ExpectOneComplaint(x11.MakePixmap(120, 90)); }
TEST_F(NoWindowTest, APointerIsReported) {
  int something = 0;
  ExpectOneComplaint(reinterpret_cast<std::uintptr_t>(&something));
}
TEST_F(NoWindowTest, AWindowOfThePastIsReported) {
  XWindow window(x11, 120, 90);
  window.Destroy();
  ExpectOneComplaint(window.id());
}
// It takes input only, and shows nothing.
TEST_F(NoWindowTest, AnInputOnlyWindowIsReported) { ExpectOneComplaint(x11.MakeInputOnlyWindow(120, 90)); }

class LiveWindowTest : public host::LiveViewTest {};

// The frames are stamped 10 ms apart: none is lost, and new ones come.
TEST_F(LiveWindowTest, OutputsKeepTheirRateWhenAWindowIsDestroyed) {
  const PatternScene scene(64, 48, device);
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  const XWindow other_window(x11, 120, 90, {130, 0});
  View other(other_window.handle(), 120, 90, scene.scene());
  {
    XWindow window(x11, 120, 90);
    const View view(window.handle(), 120, 90, scene.scene());
    EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance));
    const std::size_t before = receiver.deliveries().size();
    window.Destroy();
    receiver.WaitFor(before + 50);
    other.SetBackgroundColor(1, 0, 0, 1);
    EXPECT_TRUE(
        other_window.ComesToShow(ViewOf(scene.picture(), 120, 90, {1, 0, 0, 1}).picture(), host::kViewTolerance));
  }
  receiver.WaitFor(receiver.deliveries().size() + 10);
  receiver.Stop();
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), 10'000'000));
  std::string complaints = host::log::Complaints();
  EXPECT_EQ(std::count(complaints.begin(), complaints.end(), '\n'), 1) << complaints;
  host::log::Clear();
}

TEST_F(LiveWindowTest, WindowsAndViewsComeAndGoWhileFramesAreDrawn) {
  const PatternScene scene(64, 48, device);
  for (int i = 0; i < 30; ++i) {
    const XWindow window(x11, 120 + i, 90, {i, i});
    View view(window.handle(), 120 + i, 90, scene.scene());
    if (i % 10 == 0) {
      EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 120 + i, 90).picture(), host::kViewTolerance));
    }
  }
}

// A view on a thread of the host's while another thread has its own.
TEST_F(LiveWindowTest, ViewsMayBeMadeOnSeveralThreads) {
  const PatternScene scene(64, 48, device);
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([this, &scene, i] {
      const test::XConnection connection;
      for (int round = 0; round < 5; ++round) {
        const XWindow window(connection, 120, 90, {130 * i, 0});
        {
          const View view(window.handle(), 120, 90, scene.scene());
          EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance));
        }
        EXPECT_TRUE(window.ComesToHold(0));  // The end of a view waits a quarter of a second only.
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
}

// A server that does not answer costs the pictures of that time.
TEST_F(LiveWindowTest, OutputsGoOnWhileTheServerStalls) {
  const PatternScene scene(64, 48, device);
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  XWindow window(x11, 320, 240);
  View view(window.handle(), 320, 240, scene.scene());
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 320, 240).picture(), host::kViewTolerance));
  const int ticks = scene.item()->ticks.value();
  host::TheXServer().Stall();
  // Many more than what fits between the library and the server.
  EXPECT_TRUE(scene.item()->ticks.WaitFor(ticks + 100)) << "new frames are drawn all the while";
  view.Resize(160, 120);
  EXPECT_TRUE(scene.item()->ticks.WaitFor(ticks + 150));
  host::TheXServer().GoOn();
  window.Resize(160, 120);
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 160, 120).picture(), host::kViewTolerance));
  receiver.Stop();
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), 10'000'000));
}

TEST_F(LiveWindowTest, ViewsMayGoWhileTheServerStalls) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 320, 240);
  {
    View view(window.handle(), 320, 240, scene.scene());
    EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 320, 240).picture(), host::kViewTolerance));
    host::TheXServer().Stall();
    EXPECT_TRUE(host::PassFrames(device, 50));
  }
  host::TheXServer().GoOn();
  const View view(window.handle(), 320, 240, scene.scene());
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 320, 240).picture(), host::kViewTolerance));
}

// Each in a process of its own, since the display is the process's.
class ViewDisplayTest : public ::testing::Test {};

// Ends the process: 0 when all was well.
[[noreturn]] void KillTheServerUnderAView() {
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
    test::XConnection x11;
    const XWindow window(x11, 120, 90);
    const XWindow second_window(x11, 120, 90, {130, 0});
    View view(window.handle(), 120, 90, scene.scene());
    View second(second_window.handle(), 120, 90, scene.scene());
    expect(window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance), "it shows a picture");
    host::TheXServer().Kill();
    const std::size_t before = receiver.deliveries().size();
    expect(receiver.WaitFor(before + 50).size() == before + 50, "frames come");
    view.Resize(300, 200);
    const std::size_t resized = receiver.deliveries().size();
    expect(receiver.WaitFor(resized + 20).size() == resized + 20, "frames come after a resize");
    const auto deliveries = receiver.deliveries();
    expect(AreAlike(deliveries.back().planes[0], scene.picture(), {}), "frames are right");
    {
      View late(window.handle(), 120, 90, scene.scene());
      expect(host::PassFrames(device, 5), "frames pass with a view made after the end");
    }
    receiver.Stop();
    const std::string complaints = host::log::Complaints();
    const auto lines = std::count(complaints.begin(), complaints.end(), '\n');
    std::fprintf(stderr, "%s", complaints.c_str());
    expect(lines >= 1 && lines <= 6, "the log says it a few times at most");
    const std::string gone = "The X server is gone: views show nothing any more\n";
    const std::size_t said = complaints.find(gone);
    expect(said != std::string::npos && complaints.find(gone, said + 1) == std::string::npos, "it says so once");
  }
  GsDevice::DestroyDefaultDevice();
  std::exit(problems ? 1 : 0);
}

TEST_F(ViewDisplayTest, MayGoAwayUnderItsViews) {
  EXPECT_EXIT(KillTheServerUnderAView(), ::testing::ExitedWithCode(0), "");
}

[[noreturn]] void EndWhileTheServerStalls() {
  bool right = GsDevice::CreateDefaultDevice(true);
  // What is the test's own would wait for the server at its end, so it has none.
  static auto* const x11 = new test::XConnection;
  static auto* const window = new XWindow(*x11, 120, 90);
  {
    GsDevice* const device = GsDevice::DefaultDevice();
    const PatternScene scene(64, 48, device);
    View view(window->handle(), 120, 90, scene.scene());
    right = right && window->ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance);
    host::TheXServer().Stall();
    right = right && host::PassFrames(device, 5);
  }
  GsDevice::DestroyDefaultDevice();
  std::exit(right ? 0 : 1);
}

TEST_F(ViewDisplayTest, ProcessEndsWhileTheServerStalls) {
  const test::ThreadsLeftBehind left_behind;  // The one that hangs in the window system.
  EXPECT_EXIT(EndWhileTheServerStalls(), ::testing::ExitedWithCode(0), "");
}

// The views of a device that goes before them, and of one that a forked child has a copy of.
[[noreturn]] void OutliveTheDevice(bool in_a_fork) {
  alarm(60);
  const test::XConnection x11;
  const XWindow window(x11, 120, 90);
  bool right = GsDevice::CreateDefaultDevice(true);
  {
    const PatternScene scene(64, 48, GsDevice::DefaultDevice());
    View view(window.handle(), 120, 90, scene.scene());
    right = right && window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance);
    if (in_a_fork) {
      right =
          right &&
          test::RunInFork([&view] {
            host::log::Clear();
            GsDevice::DestroyDefaultDevice();
            const std::string said = host::log::Complaints();
            view.Resize(50, 50);
            view.~View();
            return said == "[GsDevice] left behind: it belongs to the process that this one was forked from\n" ? 0 : 1;
          }) == 0;
      // The window is the parent's, and its picture goes on.
      right = right && host::PassFrames(GsDevice::DefaultDevice(), 3) &&
              window.ComesToShow(ViewOf(scene.picture(), 120, 90).picture(), host::kViewTolerance);
    } else {
      host::log::Clear();
      GsDevice::DestroyDefaultDevice();
      right = right && host::log::CountContaining(
                           kQnLogError, "destroyed before its objects: 1 scene, 1 item, 1 view, 1 texture") == 1;
      view.Resize(200, 100);
    }
  }
  GsDevice::DestroyDefaultDevice();
  std::exit(right ? 0 : 1);
}

TEST_F(ViewDisplayTest, DeviceMayGoBeforeItsViews) {
  EXPECT_EXIT(OutliveTheDevice(false), ::testing::ExitedWithCode(0), "");
}

TEST_F(ViewDisplayTest, ForkedChildLeavesTheDeviceAndItsWindowsAlone) {
  EXPECT_EXIT(OutliveTheDevice(true), ::testing::ExitedWithCode(0), "");
}

[[noreturn]] void ViewWithoutADisplay(const test::XConnection& x11) {
  unsetenv("DISPLAY");
  bool right = GsDevice::CreateDefaultDevice(true);
  {
    GsDevice* const device = GsDevice::DefaultDevice();
    const PatternScene scene(64, 48, device);
    const XWindow window(x11, 120, 90);
    View view(window.handle(), 120, 90, scene.scene());
    right = right && host::PassFrames(device, 20);
    view.Resize(200, 100);
    right = right && host::PassFrames(device, 5) && host::ThreadedDeviceWorks(device);
    const std::string complaints = host::log::Complaints();
    std::fprintf(stderr, "%s", complaints.c_str());
    right = right && std::count(complaints.begin(), complaints.end(), '\n') == 1;
  }
  GsDevice::DestroyDefaultDevice();
  std::exit(right ? 0 : 1);
}

TEST_F(ViewDisplayTest, MayBeMissing) {
  const test::XConnection x11;
  EXPECT_EXIT(ViewWithoutADisplay(x11), ::testing::ExitedWithCode(0), "X11");
}

}  // namespace
