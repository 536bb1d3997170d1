#include "graphics/opengl/cgl/window_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <future>
#include <string>
#include <thread>

#include "graphics/frame_times.h"
#include "graphics/opengl/cgl/view_worker.h"
#include "tests/support/log_capture.h"

namespace {

TEST(WindowThreadTest, IsAThreadOfItsOwnWithAName) {
  char name[16] = "";
  std::promise<std::thread::id> id;
  WindowThread::Get().HandOver([&] {
    pthread_getname_np(pthread_self(), name, sizeof(name));
    id.set_value(std::this_thread::get_id());
  });
  EXPECT_NE(id.get_future().get(), std::this_thread::get_id());
  EXPECT_EQ(std::string(name), "quarn-window");
}

TEST(WindowThreadTest, SaysWhatDoesNotHappenWithoutIt) {
  LogCapture log;
  ViewWorkerRole("name").log_no_thread();
  EXPECT_THAT(log.Lines(), ::testing::ElementsAre(LogCapture::Line{
                               Logger::Level::Error,
                               "the thread for windows could not be created: a view is not shown, or not resized"}));
}

TEST(WindowThreadTest, WaitForItIsAPartOfTheFrameThatWaits) {
  FrameTimes times;
  times.Begin(0);
  {
    const MeasuredFrames measured(&times);
    WindowThread::Get().HandOver([] {});
  }
  EXPECT_NE(times.End(1).window_wait_ns, kGsNotMeasured);
}

}  // namespace
