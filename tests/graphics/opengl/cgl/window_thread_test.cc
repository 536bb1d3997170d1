#include "graphics/opengl/cgl/window_thread.h"

#include <pthread.h>

#include <future>
#include <string>
#include <thread>

#include <gtest/gtest.h>

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
