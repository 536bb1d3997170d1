// Views and the host's main loop: the second stage of a resize runs there, soon, late, or never.
#include <atomic>
#include <thread>

#include "tests/x11/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::HostLoop;
using test::XWindow;

class ViewMainQueueTest : public host::ViewTest {};

TEST_F(ViewMainQueueTest, RunsOnAThreadOfItsOwnByDefault) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  window.Resize(160, 120);
  view.Resize(160, 120);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 160, 120)));
}

TEST_F(ViewMainQueueTest, MayRunLongAfter) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  for (const auto& [width, height] : {std::pair(160, 120), std::pair(100, 100), std::pair(240, 90)}) {
    window.Resize(width, height);
    view.Resize(static_cast<unsigned int>(width), static_cast<unsigned int>(height));
    Frames(10);
  }
  EXPECT_EQ(queue.size(), 3u);
  EXPECT_EQ(queue.Run(), 3u);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 240, 90)));
  EXPECT_EQ(queue.size(), 0u);
}

// The work is built for the size that is asked for when it runs, not when it was queued.
TEST_F(ViewMainQueueTest, TakesTheSizeOfTheMomentItRunsIn) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  window.Resize(160, 120);
  view.Resize(160, 120);
  Frame();
  ASSERT_EQ(queue.size(), 1u);
  window.Resize(200, 150);
  view.Resize(200, 150);
  queue.Run();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 150)));
}

TEST_F(ViewMainQueueTest, MayRunAfterTheViewIsGone) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  {
    View view(window.handle(), 120, 90, scene.scene());
    Frame();
    view.Resize(160, 120);
    Frame();
    view.Resize(150, 120);
    Frame();
    ASSERT_EQ(queue.size(), 2u);
  }
  EXPECT_EQ(queue.Run(), 2u);
  const View view(window.handle(), 120, 90, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 90)));
}

TEST_F(ViewMainQueueTest, MayRunWhileTheViewIsDetached) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  window.Resize(160, 120);
  view.Resize(160, 120);
  Frame();
  view.Detach();
  EXPECT_EQ(queue.Run(), 1u);
  view.Attch();
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 160, 120)));
}

TEST_F(ViewMainQueueTest, MayRunAfterTheWindowIsGone) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  std::string complaints;
  {
    XWindow window(x11, 120, 90);
    View view(window.handle(), 120, 90, scene.scene());
    Frame();
    view.Resize(160, 120);
    Frame();
    window.Destroy();
    EXPECT_EQ(queue.Run(), 1u);
    FramesUntilComplaint();
    EXPECT_EQ(TakeComplaints(view, &complaints), 1) << complaints;
  }
  EXPECT_TRUE(host::DrivenDeviceWorks(device));
}

TEST_F(ViewMainQueueTest, MayNeverRun) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  for (unsigned int i = 1; i <= 50; ++i) {
    view.Resize(120 + i, 90);
    Frame();
  }
  EXPECT_GE(queue.size(), 1u);
  EXPECT_TRUE(host::DrivenDeviceWorks(device));
}

TEST_F(ViewMainQueueTest, MayDropItsWork) {
  qn_set_main_queue([](QnMainQueueFunction, void*, void*) {}, nullptr);
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  view.Resize(160, 120);
  Frames(5);
  qn_set_main_queue(nullptr, nullptr);
  window.Resize(200, 160);
  view.Resize(200, 160);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 160)));
}

TEST_F(ViewMainQueueTest, KeepsWhatWasQueuedWhereItWasQueued) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  HostLoop first;
  View view(window.handle(), 120, 90, scene.scene());
  Frame();
  view.Resize(160, 120);
  Frame();
  EXPECT_EQ(first.size(), 1u);
  {
    HostLoop second;
    view.Resize(200, 150);
    Frame();
    EXPECT_EQ(first.size(), 1u);
    EXPECT_EQ(second.size(), 1u);
    EXPECT_EQ(second.Run(), 1u);
  }
  window.Resize(200, 150);
  EXPECT_EQ(first.Run(), 1u);
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 150)));
}

TEST_F(ViewMainQueueTest, HandsTheHostItsOwnPointer) {
  struct Record {
    std::atomic<int> posts{0};
    QnMainQueueFunction function = nullptr;
    void* argument = nullptr;
  } record;
  qn_set_main_queue(
      [](QnMainQueueFunction function, void* argument, void* user) {
        auto* const seen = static_cast<Record*>(user);
        ++seen->posts;
        seen->function = function;
        seen->argument = argument;
      },
      &record);
  const XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90);
  view.Resize(130, 90);
  Frames(3);
  qn_set_main_queue(nullptr, nullptr);
  EXPECT_EQ(record.posts, 1);
  ASSERT_NE(record.function, nullptr);
  record.function(record.argument);
}

// The device goes with work of its views still queued, which then runs, and is dropped.
TEST(ViewMainQueueDeviceTest, MayRunAfterTheDeviceIsGone) {
  host::log::Clear();
  const test::XConnection x11;
  HostLoop queue;
  for (const bool run : {true, false}) {
    ASSERT_TRUE(GsDevice::CreateDefaultDevice(true));
    {
      const PatternScene scene(64, 48, GsDevice::DefaultDevice());
      XWindow window(x11, 120, 90);
      View view(window.handle(), 120, 90, scene.scene());
      ASSERT_TRUE(host::PassFrames(GsDevice::DefaultDevice(), 2));
      view.Resize(160, 120);
      ASSERT_TRUE(host::PassFrames(GsDevice::DefaultDevice(), 2));
      EXPECT_EQ(queue.size(), 1u);
    }
    GsDevice::DestroyDefaultDevice();
    if (run) {
      EXPECT_EQ(queue.Run(), 1u);
    }
  }
  EXPECT_EQ(host::log::Complaints(), "");
}

class LiveMainQueueTest : public host::LiveViewTest {};

// A host's loop on a thread of its own, which runs each work when the test lets it.
class SlowLoop {
 public:
  SlowLoop() : thread_([this] { Loop(); }) { qn_set_main_queue(Post, this); }
  ~SlowLoop() {
    qn_set_main_queue(nullptr, nullptr);
    {
      std::lock_guard<std::mutex> lock(mutex_);
      ends_ = true;
    }
    changed_.notify_all();
    thread_.join();
  }
  void Allow(int count) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      allowed_ += count;
    }
    changed_.notify_all();
  }
  std::size_t waiting() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return works_.size();
  }

 private:
  static void Post(QnMainQueueFunction function, void* argument, void* user) {
    auto* const loop = static_cast<SlowLoop*>(user);
    {
      std::lock_guard<std::mutex> lock(loop->mutex_);
      loop->works_.emplace_back(function, argument);
    }
    loop->changed_.notify_all();
  }
  void Loop() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return ends_ || (allowed_ > 0 && !works_.empty()); });
      if (ends_) return;
      --allowed_;
      const auto work = works_.front();
      works_.pop_front();
      lock.unlock();
      work.first(work.second);
      lock.lock();
    }
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::pair<QnMainQueueFunction, void*>> works_;
  int allowed_ = 0;
  bool ends_ = false;
  std::thread thread_;
};

TEST_F(LiveMainQueueTest, OutputsKeepTheirRateWhileItIsBlocked) {
  const PatternScene scene(64, 48, device);
  host::Receiver receiver(scene.scene(), 64, 48, kGsFormatRGBA, device);
  receiver.keep_planes = false;
  ASSERT_TRUE(receiver.Start());
  const int ticks = scene.item()->ticks.value();
  SlowLoop loop;
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  for (unsigned int i = 1; i <= 10; ++i) {
    view.Resize(120 + 4 * i, 90);
    ASSERT_TRUE(host::PassFrames(device, 2));
  }
  EXPECT_GE(loop.waiting(), 1u);
  receiver.WaitFor(receiver.deliveries().size() + 50);
  EXPECT_TRUE(scene.item()->ticks.WaitFor(ticks + 20)) << "new frames are drawn all the while";
  loop.Allow(1000);
  window.Resize(160, 90);
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 160, 90).picture(), host::kViewTolerance));
  receiver.Stop();
  EXPECT_TRUE(host::IsContiguous(receiver.timestamps(), 10'000'000));
}

TEST_F(LiveMainQueueTest, MayBeSlow) {
  const PatternScene scene(64, 48, device);
  SlowLoop loop;
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  for (int i = 1; i <= 20; ++i) {
    window.Resize(120 + 4 * i, 90 + 2 * i);
    view.Resize(static_cast<unsigned int>(120 + 4 * i), static_cast<unsigned int>(90 + 2 * i));
    ASSERT_TRUE(host::PassFrames(device, 2));
    if (i % 4 == 0) loop.Allow(1);
  }
  loop.Allow(1000);
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 200, 130).picture(), host::kViewTolerance));
}

// The work runs on one thread while another destroys the view.
TEST_F(LiveMainQueueTest, RunsWhileViewsAreDestroyed) {
  const PatternScene scene(64, 48, device);
  SlowLoop loop;
  loop.Allow(1'000'000);
  const XWindow window(x11, 120, 90);
  for (unsigned int i = 0; i < 40; ++i) {
    View view(window.handle(), 120, 90, scene.scene());
    view.Resize(100 + i, 80);
    ASSERT_TRUE(host::PassFrames(device, 1));
    view.Resize(101 + i, 80);
    if (i % 2) {
      ASSERT_TRUE(host::PassFrames(device, 1));
    }
  }
}

TEST_F(LiveMainQueueTest, SurvivesAStormOfResizes) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  std::atomic<bool> ends{false};
  std::vector<std::thread> storm;
  for (unsigned int seed = 0; seed < 2; ++seed) {
    storm.emplace_back([&, seed] {
      for (unsigned int i = seed; !ends; ++i) view.Resize(i * 37 % 300, i * 61 % 200);
    });
  }
  for (int i = 0; i < 60; ++i) {
    window.Resize(1 + i * 41 % 250, 1 + i * 53 % 180);
    ASSERT_TRUE(host::PassFrames(device, 1));
  }
  ends = true;
  for (std::thread& thread : storm) thread.join();
  window.Resize(200, 150);
  view.Resize(200, 150);
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 200, 150).picture(), host::kViewTolerance));
}

// The queue changes hands while views are resized.
TEST_F(LiveMainQueueTest, MayChangeAtAnyTime) {
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 90);
  View view(window.handle(), 120, 90, scene.scene());
  for (unsigned int i = 0; i < 40; ++i) {
    SlowLoop loop;
    loop.Allow(1000);
    view.Resize(100 + i, 90);
    ASSERT_TRUE(host::PassFrames(device, 1));
  }
  window.Resize(200, 150);
  view.Resize(200, 150);
  EXPECT_TRUE(window.ComesToShow(ViewOf(scene.picture(), 200, 150).picture(), host::kViewTolerance));
}

}  // namespace
