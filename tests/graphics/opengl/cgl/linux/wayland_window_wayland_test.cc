// Windows inside Wayland surfaces: what becomes of them at the compositor's.
#include "graphics/opengl/cgl/linux/wayland_window.h"

#include <gmock/gmock.h>

#include <atomic>

#include "tests/graphics/opengl/cgl/linux/wayland_test.h"
#include "tests/support/failing_wayland.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Place = NativeContext::Place;

class WaylandWindowTest : public WaylandTest {
 protected:
  // Of the picture that is shown: how much of the buffer, and as how many units.
  static std::vector<double> Shown(const Surface& view) {
    const bool whole = view.source_width == 0;
    return {whole ? view.picture.width : view.source_width, whole ? view.picture.height : view.source_height,
            static_cast<double>(view.destination_width), static_cast<double>(view.destination_height)};
  }
};

TEST_F(WaylandWindowTest, LiesInAnAnchorInTheHostsSurface) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  ASSERT_NE(window, nullptr);
  EXPECT_EQ(place_, Place::kMade);
  EXPECT_EQ(window->width(), 40u);
  EXPECT_EQ(window->height(), 30u);
  Present(window);
  Settle();
  ASSERT_THAT(compositor_->Anchors(surface_), SizeIs(1));
  const Surface anchor = compositor_->Anchors(surface_).front();
  EXPECT_EQ(anchor.x, 0);
  EXPECT_EQ(anchor.y, 0);
  EXPECT_FALSE(anchor.sync);
  EXPECT_FALSE(anchor.takes_input);
  EXPECT_EQ(anchor.picture.pixels, (std::vector<unsigned char>{0, 0, 0, 0})) << "one pixel, which is transparent";
  const Surface view = compositor_->View(surface_);
  EXPECT_TRUE(view.placed);
  EXPECT_FALSE(view.sync);
  EXPECT_FALSE(view.takes_input);
  EXPECT_EQ(view.picture.width, 40);
  EXPECT_EQ(view.picture.height, 30);
  EXPECT_EQ(compositor_->Surfaces().front().commits, 0) << "the host's surface is the host's to commit";
}

TEST_F(WaylandWindowTest, AppearsWithTheHostsNextCommitAndMovesWithoutAny) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  Present(window);
  EXPECT_FALSE(compositor_->Anchors(surface_).front().placed);
  wl_surface_commit(surface_);
  EXPECT_TRUE(host_->Roundtrip());
  EXPECT_TRUE(compositor_->Anchors(surface_).front().placed);
  OnWindowThread([&] { window->Move(12, -7); });
  const Surface view = View();
  EXPECT_EQ(view.x, 12);
  EXPECT_EQ(view.y, -7);
  EXPECT_EQ(compositor_->Surfaces().front().commits, 1);
}

TEST_F(WaylandWindowTest, TheAnchorIsCommittedAfterEachPicture) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  Settle();
  const int before = compositor_->Anchors(surface_).front().commits;
  for (int i = 1; i <= 3; ++i) {
    Present(window);
    EXPECT_EQ(compositor_->Anchors(surface_).front().commits, before + i);
    Settle();
  }
}

TEST_F(WaylandWindowTest, PlacesAreInUnits) {
  Begin();
  compositor_->SendPreferredScale(180);
  WaylandWindow* const window = MakeWindow(40, 30);
  OnWindowThread([&] { window->Move(150, 75); });
  Settle();
  EXPECT_EQ(View().x, 100);
  EXPECT_EQ(View().y, 50);
  compositor_->SendPreferredScale(120);
  Settle();
  EXPECT_EQ(View().x, 150);
  EXPECT_EQ(View().y, 75);
  OnWindowThread([&] { window->Move(1000000, -1000000); });
  Settle();
  EXPECT_EQ(View().x, 32767);
  EXPECT_EQ(View().y, -32768);
}

TEST_F(WaylandWindowTest, ACompositorThatDoesNotAnswerIsNotFloodedWithPlaces) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  Settle();
  const int before = compositor_->Requests();
  compositor_->Stop();
  OnWindowThread([&] {
    for (int i = 1; i <= 10000; ++i) window->Move(i, 0);
  });
  compositor_->GoOn();
  EXPECT_TRUE(compositor_->Comes([&] { return View().x == 10000; }));
  EXPECT_LT(compositor_->Requests() - before, 10000);
  EXPECT_TRUE(Lives());
}

TEST_F(WaylandWindowTest, OnePixelOfThePictureIsOneOfTheScreen) {
  Begin();
  WaylandWindow* const window = MakeWindow(600, 450);
  Present(window);
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 600, 450));
  compositor_->SendPreferredScale(150);
  EXPECT_TRUE(compositor_->Comes([&] { return View().destination_width == 480; })) << "without another picture";
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 480, 360));
  compositor_->SendPreferredScale(180);
  Settle();
  Present(window);
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 400, 300));
  compositor_->SendPreferredScale(240);
  Settle();
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 300, 225));
  OnWindowThread([&] { window->Resize(601, 451); });
  Settle();
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 300, 225)) << "what is shown is still the old picture";
  Present(window);
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 300, 225)) << "half a unit is left out";
  EXPECT_EQ(View().picture.width, 601);
}

TEST_F(WaylandWindowTest, ScreensTellTheScaleWhereSurfacesAreNotTold) {
  Options options;
  options.fractional_scales = false;
  options.outputs = 2;
  Begin(options);
  WaylandWindow* const window = MakeWindow(600, 450);
  Present(window);
  EXPECT_EQ(View().destination_width, 600);
  compositor_->SetOutput(0, 1920, 1080, 0, 1536, 2);  // 1.25
  Settle();
  EXPECT_EQ(View().destination_width, 480) << "it is on no screen yet: the finest";
  compositor_->Enter(View().id, 1);
  Settle();
  EXPECT_EQ(View().destination_width, 600);
  compositor_->Enter(View().id, 0);
  Settle();
  EXPECT_EQ(View().destination_width, 480) << "on both";
  compositor_->Enter(View().id, 0, false);
  Settle();
  EXPECT_EQ(View().destination_width, 600);
  compositor_->SetOutput(1, 1920, 1080, 1, 720, 1);  // Turned by a quarter: 1.5.
  Settle();
  EXPECT_EQ(View().destination_width, 400);
  compositor_->RemoveOutput(1);
  Settle();
  EXPECT_EQ(View().destination_width, 480) << "the one that is left";
}

TEST_F(WaylandWindowTest, ScreensWithoutASizeInUnitsHaveAWholeScale) {
  Options options;
  options.fractional_scales = options.xdg_output = false;
  Begin(options);
  compositor_->SetOutput(0, 1920, 1080, 0, 1536, 2);
  Settle();
  WaylandWindow* const window = MakeWindow(600, 450);
  Present(window);
  EXPECT_THAT(Shown(View()), ElementsAre(600, 450, 300, 225));
}

TEST_F(WaylandWindowTest, WithoutViewportsBuffersHaveAWholeScale) {
  Options options;
  options.viewporter = false;
  Begin(options);
  WaylandWindow* const window = MakeWindow(601, 450);
  Present(window);
  EXPECT_EQ(View().buffer_scale, 1);
  EXPECT_EQ(window->width(), 601u);
  compositor_->SetOutput(0, 1920, 1080, 0, 1536, 2);
  Settle();
  EXPECT_EQ(View().buffer_scale, 1) << "the picture that is shown has that";
  Present(window);
  EXPECT_EQ(View().buffer_scale, 1) << "its buffer was there already";
  EXPECT_EQ(window->width(), 602u) << "a whole number of units";
  Present(window);
  EXPECT_EQ(View().buffer_scale, 2);
  EXPECT_EQ(View().picture.width, 602);
  EXPECT_TRUE(Lives()) << "the compositor has nothing to say against it";
}

TEST_F(WaylandWindowTest, IsReadyWhenTheCompositorWantsAnotherPicture) {
  Options options;
  options.sends_frames = false;
  Begin(options);
  std::atomic<int> calls{0};
  WaylandWindow* const window = MakeWindow(40, 30, [&] { ++calls; });
  EXPECT_TRUE(Ready(window));
  Present(window);
  EXPECT_EQ(View().frames_asked_for, 1);
  compositor_->SendFrames();
  Settle();
  EXPECT_TRUE(Ready(window));
  EXPECT_EQ(calls, 0) << "nobody has waited";
  Present(window);
  EXPECT_FALSE(Ready(window));
  EXPECT_FALSE(Ready(window));
  compositor_->SendFrames();
  EXPECT_TRUE(compositor_->Comes([&] { return calls == 1; })) << "nobody has asked again";
  EXPECT_TRUE(Ready(window));
  Settle();
  EXPECT_EQ(calls, 1);
}

TEST_F(WaylandWindowTest, APictureThatWasNotTakenIsNotWaitedFor) {
  Options options;
  options.sends_frames = false;
  Begin(options);
  WaylandWindow* const window = MakeWindow(40, 30);
  OnWindowThread([&] {
    window->BeginPresent();
    window->EndPresent(false);
  });
  EXPECT_TRUE(Ready(window));
}

TEST_F(WaylandWindowTest, NeedsASurface) {
  Begin();
  EXPECT_EQ(MakeWindow(nullptr, 40, 30), nullptr);
  EXPECT_EQ(place_, Place::kNever);
  EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown: it was given no window"));
  EXPECT_EQ(MakeWindow(host_->registry(), 40, 30), nullptr);
  EXPECT_EQ(place_, Place::kNever);
  EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown: its window is a wl_registry, not a wl_surface"));
}

TEST_F(WaylandWindowTest, SizesAreWithinLimits) {
  Begin();
  WaylandWindow* const window = MakeWindow(0, 1000000);
  EXPECT_EQ(window->width(), 1u);
  EXPECT_EQ(window->height(), 32767u);
  OnWindowThread([&] { window->Resize(1000000, 0); });
  EXPECT_EQ(window->width(), 32767u);
  EXPECT_EQ(window->height(), 1u);
}

TEST_F(WaylandWindowTest, OutlivesTheHostsSurface) {
  Begin();
  WaylandWindow* const window = MakeWindow(40, 30);
  Present(window);
  wl_surface_destroy(std::exchange(surface_, nullptr));
  Settle();
  OnWindowThread([&] {
    window->Move(5, 6);
    window->Resize(50, 60);
  });
  Present(window);
  EXPECT_TRUE(Ready(window));
  OnWindowThread([&] { windows_.clear(); });
  EXPECT_TRUE(Lives());
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(WaylandWindowTest, ItsEndTakesItAwayWithoutTheHost) {
  Options options;
  options.sends_frames = false;
  Begin(options);
  WaylandWindow* const window = MakeWindow(40, 30);
  Present(window);
  OnWindowThread([&] {
    window->Move(5, 6);
    windows_.clear();
  });
  EXPECT_TRUE(host_->Roundtrip());
  EXPECT_THAT(compositor_->Anchors(surface_), IsEmpty());
  compositor_->SendFrames();
  compositor_->SendPreferredScale(180);
  EXPECT_TRUE(host_->Roundtrip());
  EXPECT_TRUE(Lives());
}

TEST_F(WaylandWindowTest, SeveralShareASurface) {
  Begin();
  for (unsigned int i = 0; i < 10; ++i) {
    WaylandWindow* const window = MakeWindow(10 + i, 10);
    OnWindowThread([&] { window->Move(static_cast<int>(i), 0); });
    Present(window);
  }
  Settle();
  const std::vector<Surface> views = compositor_->Views(surface_);
  ASSERT_THAT(views, SizeIs(10));
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(views[i].x, static_cast<int>(i));
    EXPECT_EQ(views[i].picture.width, static_cast<int>(10 + i));
  }
}

TEST_F(WaylandWindowTest, LeavesNothingBehindWhereMemoryIsMissingForAPart) {
  Begin();
  for (const char* const part : {"wl_surface", "wl_subsurface", "wl_region"}) {
    {
      const test::NoneOfInterface none(part);
      EXPECT_EQ(MakeWindow(40, 30), nullptr) << part;
    }
    EXPECT_EQ(place_, Place::kNever) << part;
    EXPECT_THAT(TakeLog(), ElementsAre("A view cannot be shown: no surface of its own inside its window")) << part;
    EXPECT_EQ(test::Living("wl_surface"), 1) << "the host's, without " << part;
    EXPECT_EQ(test::Living("wl_subsurface"), 0) << part;
    EXPECT_EQ(test::Living("wl_region"), 0) << part;
  }
  EXPECT_NE(MakeWindow(40, 30), nullptr);
  EXPECT_EQ(test::Living("wl_region"), 0);
}

}  // namespace
