// The adapters from main loops to the main queue, alone: this program has a qn_set_main_queue of its own, and posts as
// the library does. The programs that use them are tried in main_loop_programs_test.cc.
#include <SDL.h>
#include <glib.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <QCoreApplication>

#include "examples/main-loop/glib_main_queue.h"
#include "examples/main-loop/qt_main_queue.h"
#include "examples/main-loop/sdl_main_queue.h"

namespace {

// Where the library would keep what it was given.
std::mutex main_queue_mutex;
QnMainQueuePost main_queue_post = nullptr;
void* main_queue_user = nullptr;

}  // namespace

void qn_set_main_queue(QnMainQueuePost post, void* user) {
  std::lock_guard<std::mutex> lock(main_queue_mutex);
  main_queue_post = post;
  main_queue_user = user;
}

namespace {

bool IsInstalled() {
  std::lock_guard<std::mutex> lock(main_queue_mutex);
  return main_queue_post != nullptr;
}

void Post(QnMainQueueFunction function, void* argument) {
  std::lock_guard<std::mutex> lock(main_queue_mutex);
  main_queue_post(function, argument, main_queue_user);
}

// A loop of each kind, run on the thread that calls Run.
class GLibLoop {
 public:
  // Until the loop has run some work after which `done` is true.
  void Run(const std::function<bool()>& done) {
    while (!done()) g_main_context_iteration(nullptr, TRUE);
  }
  // What is there now, without waiting for more.
  void RunWhatIsThere() {
    while (g_main_context_iteration(nullptr, FALSE)) continue;
  }

 private:
  GLibMainQueue queue_;
};

class QtLoop {
 public:
  void Run(const std::function<bool()>& done) {
    while (!done()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
  }
  void RunWhatIsThere() { QCoreApplication::processEvents(); }

 private:
  int argc_ = 1;
  char name_[5] = "test";
  char* argv_[2] = {name_, nullptr};
  QCoreApplication application_{argc_, argv_};
  QtMainQueue queue_;
};

class SdlLoop {
 public:
  SdlLoop() { queue_.emplace(); }
  ~SdlLoop() {
    queue_.reset();
    SDL_Quit();
  }
  void Run(const std::function<bool()>& done) {
    SDL_Event event;
    while (!done() && SDL_WaitEvent(&event)) queue_->Handle(event);
  }
  void RunWhatIsThere() {
    SDL_Event event;
    while (SDL_PollEvent(&event)) queue_->Handle(event);
  }
  const SdlMainQueue& queue() const { return *queue_; }

 private:
  const int started_ = SDL_Init(SDL_INIT_EVENTS);
  std::optional<SdlMainQueue> queue_;
};

template <class Loop>
class MainLoopTest : public testing::Test {};

using Loops = testing::Types<GLibLoop, QtLoop, SdlLoop>;
class LoopName {
 public:
  template <class Loop>
  static std::string GetName(int) {
    if constexpr (std::is_same_v<Loop, GLibLoop>) return "GLib";
    if constexpr (std::is_same_v<Loop, QtLoop>) return "Qt";
    if constexpr (std::is_same_v<Loop, SdlLoop>) return "SDL";
  }
};
TYPED_TEST_SUITE(MainLoopTest, Loops, LoopName);

// What ran, in order, and on which threads.
struct Record {
  struct Entry {
    int poster;
    int number;
    std::thread::id thread;
  };
  void Add(int poster, int number) {
    std::lock_guard<std::mutex> lock(mutex);
    entries.push_back({poster, number, std::this_thread::get_id()});
  }
  std::size_t size() {
    std::lock_guard<std::mutex> lock(mutex);
    return entries.size();
  }
  std::mutex mutex;
  std::vector<Entry> entries;
};

struct Work {
  Record* record;
  int poster;
  int number;
};

void RunWork(void* argument) {
  const Work* const work = static_cast<Work*>(argument);
  work->record->Add(work->poster, work->number);
}

TYPED_TEST(MainLoopTest, RunsOnItsThreadAndInOrderWhatManyThreadsPost) {
  constexpr int kPosters = 4;
  constexpr int kEach = 500;
  Record record;
  std::vector<std::vector<Work>> works(kPosters);
  for (int poster = 0; poster < kPosters; ++poster) {
    for (int i = 0; i < kEach; ++i) works[poster].push_back({&record, poster, i});
  }
  TypeParam loop;
  std::vector<std::thread> posters;
  for (int poster = 0; poster < kPosters; ++poster) {
    posters.emplace_back([&works, poster] {
      for (Work& work : works[poster]) Post(RunWork, &work);
    });
  }
  loop.Run([&] { return record.size() == kPosters * kEach; });
  for (std::thread& poster : posters) poster.join();
  loop.RunWhatIsThere();
  EXPECT_EQ(record.size(), static_cast<std::size_t>(kPosters * kEach)) << "something ran twice";
  std::vector<int> next(kPosters, 0);
  for (const Record::Entry& entry : record.entries) {
    EXPECT_EQ(entry.thread, std::this_thread::get_id());
    ASSERT_EQ(entry.number, next[entry.poster]) << "of poster " << entry.poster;
    ++next[entry.poster];
  }
}

// The library posts with locks held.
TYPED_TEST(MainLoopTest, PostsWithoutRunningEvenOnItsOwnThread) {
  TypeParam loop;
  Record record;
  Work works[] = {{&record, 0, 0}, {&record, 0, 1}};
  for (Work& work : works) Post(RunWork, &work);
  EXPECT_EQ(record.size(), 0u);
  loop.Run([&] { return record.size() == 2; });
  ASSERT_EQ(record.size(), 2u);
  EXPECT_EQ(record.entries[0].number, 0);
  EXPECT_EQ(record.entries[1].number, 1);
}

struct Chain {
  std::atomic<int> left;
};

void RunChain(void* argument) {
  Chain* const chain = static_cast<Chain*>(argument);
  if (--chain->left > 0) Post(RunChain, chain);
}

TYPED_TEST(MainLoopTest, TakesWorkThatWorkPosts) {
  TypeParam loop;
  Chain chain{{20}};
  Post(RunChain, &chain);
  loop.Run([&] { return chain.left == 0; });
  EXPECT_EQ(chain.left, 0);
}

TYPED_TEST(MainLoopTest, WakesALoopThatWaits) {
  TypeParam loop;
  Record record;
  Work works[] = {{&record, 0, 0}, {&record, 0, 1}};
  Post(RunWork, &works[0]);
  std::thread poster([&] {
    while (record.size() == 0) std::this_thread::yield();  // By now the loop has nothing left to do.
    Post(RunWork, &works[1]);
  });
  loop.Run([&] { return record.size() == 2; });
  poster.join();
  EXPECT_EQ(record.size(), 2u);
}

TYPED_TEST(MainLoopTest, GoesBackToTheDefaultAtItsEnd) {
  {
    TypeParam loop;
    EXPECT_TRUE(IsInstalled());
  }
  EXPECT_FALSE(IsInstalled());
}

TYPED_TEST(MainLoopTest, MayEndWithWorkThatNeverRan) {
  Record record;
  Work work = {&record, 0, 0};
  {
    TypeParam loop;
    Post(RunWork, &work);
  }
  {
    TypeParam next;
    next.RunWhatIsThere();
  }
  // GLib's default context stays; the others' queues end with their loops.
  EXPECT_EQ(record.size(), (std::is_same_v<TypeParam, GLibLoop> ? 1u : 0u));
}

TEST(GLibMainQueueTest, RunsOnTheLoopOfAnotherContext) {
  GMainContext* const context = g_main_context_new();
  Record record;
  Work work = {&record, 0, 0};
  {
    GLibMainQueue queue(context);
    Post(RunWork, &work);
    while (g_main_context_iteration(nullptr, FALSE)) continue;
    EXPECT_EQ(record.size(), 0u) << "it ran on the default loop";
    std::thread loop([&] {
      g_main_context_push_thread_default(context);
      while (record.size() == 0) g_main_context_iteration(context, TRUE);
      g_main_context_pop_thread_default(context);
    });
    const std::thread::id id = loop.get_id();
    loop.join();
    ASSERT_EQ(record.size(), 1u);
    EXPECT_EQ(record.entries[0].thread, id);
    Post(RunWork, &work);
  }
  g_main_context_unref(context);
  EXPECT_EQ(record.size(), 1u) << "it is dropped with the context";
}

TEST(QtMainQueueTest, RunsInTheLoopOfTheApplication) {
  int argc = 1;
  char name[] = "test";
  char* argv[] = {name, nullptr};
  QCoreApplication application(argc, argv);
  QtMainQueue queue;
  Record record;
  Work work = {&record, 0, 0};
  std::thread poster([&] {
    Post(RunWork, &work);
    Post([](void*) { QCoreApplication::quit(); }, nullptr);
  });
  EXPECT_EQ(application.exec(), 0);
  poster.join();
  EXPECT_EQ(record.size(), 1u);
}

TEST(SdlMainQueueTest, LeavesEventsOfOthersToTheHost) {
  SdlLoop loop;
  SDL_Event event = {};
  event.type = SDL_RegisterEvents(1);
  EXPECT_FALSE(loop.queue().Handle(event));
  event.type = SDL_QUIT;
  EXPECT_FALSE(loop.queue().Handle(event));
}

}  // namespace
