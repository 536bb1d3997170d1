#include "graphics/opengl/cgl/window_thread.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <future>
#include <string>
#include <thread>

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

TEST(WindowThreadTest, WorksAreDoneInTheirOrderAndPostDoesNotWait) {
  std::promise<void> go_on;
  std::string done;
  EXPECT_TRUE(WindowThread::Get().Post([&] {
    go_on.get_future().wait();
    done += 'a';
  }));
  EXPECT_TRUE(WindowThread::Get().Post([&] { done += 'b'; }));
  go_on.set_value();
  while (!WindowThread::Get().HandOver([] {})) {
  }
  EXPECT_EQ(done, "ab");
}

}  // namespace
