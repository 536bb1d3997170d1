// A host that loads and unloads a plugin which uses Quarn. This program links nothing of Quarn.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

namespace {

// The driver's threads stay when a device goes, and serve the next one.
constexpr int kRounds = 3;
constexpr auto kPatience = std::chrono::seconds(30);

int Threads() {
  const std::filesystem::directory_iterator tasks("/proc/self/task");
  return static_cast<int>(std::distance(begin(tasks), end(tasks)));
}

// Threads that were told to end may take a moment.
bool ThreadsBecomeAtMost(int count) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (Threads() > count) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool IsLoaded(const char* library) {
  void* const handle = dlopen(library, RTLD_NOW | RTLD_NOLOAD);
  if (handle) dlclose(handle);
  return handle != nullptr;
}

TEST(PluginTest, LeavesTheLibraryAndNoMoreThreadsEachTimeItIsUnloaded) {
  ASSERT_FALSE(IsLoaded(QUARN_TEST_LIBRARY));
  int threads = 0;
  for (int round = 1; round <= kRounds; ++round) {
    void* const plugin = dlopen(QUARN_TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(plugin) << dlerror();
    auto* const use_quarn = reinterpret_cast<bool (*)()>(dlsym(plugin, "use_quarn"));
    ASSERT_TRUE(use_quarn) << dlerror();
    EXPECT_TRUE(use_quarn());
    EXPECT_TRUE(IsLoaded(QUARN_TEST_LIBRARY));
    EXPECT_EQ(dlclose(plugin), 0);
    EXPECT_FALSE(IsLoaded(QUARN_TEST_PLUGIN));
    EXPECT_TRUE(IsLoaded(QUARN_TEST_LIBRARY)) << "in round " << round;
    if (round == 1) threads = Threads();
    EXPECT_TRUE(ThreadsBecomeAtMost(threads))
        << Threads() << " threads after round " << round << ", " << threads << " after the first";
  }
}

}  // namespace
