// The thread that listens to the connection, beside a host that reads it as well.
#include "graphics/opengl/cgl/linux/wayland_reader.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <atomic>
#include <thread>

#include "tests/graphics/opengl/cgl/linux/wayland_test.h"
#include "tests/support/failing_wayland.h"
#include "tests/support/run_in_fork.h"

namespace {

class WaylandReaderTest : public WaylandTest {
 protected:
  // A window with a picture that waits for the compositor.
  void BeginToWait() {
    Options options;
    options.sends_frames = false;
    Begin(options);
    window_ = MakeWindow(40, 30, [&] { ++calls_; });
    Present(window_);
    EXPECT_FALSE(Ready(window_));
  }

  WaylandWindow* window_ = nullptr;
  std::atomic<int> calls_{0};
};

TEST_F(WaylandReaderTest, ReadsForAHostThatDoesNot) {
  BeginToWait();
  compositor_->SendFrames();
  EXPECT_TRUE(compositor_->Comes([&] { return calls_ == 1; }));
}

TEST_F(WaylandReaderTest, HearsWhatTheHostHasRead) {
  BeginToWait();
  for (int i = 1; i <= 20; ++i) {
    compositor_->SendFrames();
    EXPECT_TRUE(host_->Roundtrip());
    EXPECT_TRUE(compositor_->Comes([&] { return calls_ == i; })) << i;
    Present(window_);
    EXPECT_FALSE(Ready(window_));
  }
}

// Some hosts read whenever anything has woken them: with another thread that had prepared to read and waits for the
// compositor, they would wait with it.
TEST_F(WaylandReaderTest, LetsTheHostReadWhenThereIsNothing) {
  BeginToWait();
  for (int i = 0; i < 100; ++i) {
    while (wl_display_prepare_read(host_->display()) != 0) wl_display_dispatch_pending(host_->display());
    EXPECT_EQ(wl_display_read_events(host_->display()), 0);
  }
}

TEST_F(WaylandReaderTest, AHostThatHasPreparedToReadKeepsNobodyFromItsWork) {
  BeginToWait();
  while (wl_display_prepare_read(host_->display()) != 0) wl_display_dispatch_pending(host_->display());
  compositor_->SendFrames();
  OnWindowThread([&] {
    EXPECT_TRUE(window_->Alive());
    window_->Move(3, 4);
  });
  EXPECT_EQ(calls_, 0) << "nobody can have read";
  // As its loop does when the connection is what has woken it.
  pollfd connection = {wl_display_get_fd(host_->display()), POLLIN, 0};
  EXPECT_EQ(poll(&connection, 1, -1), 1);
  EXPECT_EQ(wl_display_read_events(host_->display()), 0);
  EXPECT_TRUE(compositor_->Comes([&] { return calls_ == 1; }));

  Present(window_);
  EXPECT_FALSE(Ready(window_));
  while (wl_display_prepare_read(host_->display()) != 0) wl_display_dispatch_pending(host_->display());
  compositor_->SendFrames();
  wl_display_cancel_read(host_->display());
  EXPECT_TRUE(compositor_->Comes([&] { return calls_ == 2; }));
}

// The host may close the connection then: the sanitizers would tell.
TEST_F(WaylandReaderTest, LeavesTheConnectionAloneWithoutWindows) {
  for (int i = 0; i < 10; ++i) {
    BeginToWait();
    OnWindowThread([&] { windows_.clear(); });
    wl_surface_destroy(std::exchange(surface_, nullptr));
    EndSystem();
    host_.reset();
  }
}

TEST_F(WaylandReaderTest, ListensAgainForTheNextWindow) {
  BeginToWait();
  OnWindowThread([&] { windows_.clear(); });
  window_ = MakeWindow(40, 30, [&] { ++calls_; });
  Present(window_);
  EXPECT_FALSE(Ready(window_));
  compositor_->SendFrames();
  EXPECT_TRUE(compositor_->Comes([&] { return calls_ == 1; }));
}

TEST_F(WaylandReaderTest, IsTriedAgainWhereItsThreadCouldNotBeMade) {
  Options options;
  options.sends_frames = false;
  Begin(options);
  OnWindowThread([] {});  // That thread is there.
  {
    const test::NoThreads none;
    window_ = MakeWindow(40, 30, [&] { ++calls_; });
  }
  ASSERT_NE(window_, nullptr);
  EXPECT_EQ(TakeLog(),
            (std::vector<std::string>{
                "the thread that listens to the Wayland compositor could not be created: views do not change"}));
  Present(window_);
  EXPECT_FALSE(Ready(window_)) << "which is where it is tried again";
  compositor_->SendFrames();
  EXPECT_TRUE(compositor_->Comes([&] { return calls_ == 1; }));
}

TEST_F(WaylandReaderTest, AForkHasNoneAndWaitsForNone) {
  std::atomic<int> arrivals{0};
  Begin();
  wl_event_queue* const queue = wl_display_create_queue(host_->display());
  {
    WaylandReader reader(host_->display(), queue, [&] { return ++arrivals > 0; });
    reader.Start();
    EXPECT_EQ(test::RunInFork([&] {
                reader.Stop();
                reader.Start();
                reader.End();
                return 7;
              }),
              7);
    reader.Stop();
    reader.End();
  }
  wl_event_queue_destroy(queue);
  EXPECT_EQ(arrivals, 0);
}

}  // namespace
