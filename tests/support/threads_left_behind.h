// For a process that ends, in a death test, with threads that it leaves behind on purpose.
#ifndef QUARN_TESTS_SUPPORT_THREADS_LEFT_BEHIND_H_
#define QUARN_TESTS_SUPPORT_THREADS_LEFT_BEHIND_H_

#include <cstdlib>
#include <string>

namespace test {

// ThreadSanitizer would call such threads leaked. It reads its options when a process starts: those that start while
// one of these lives are told otherwise.
class ThreadsLeftBehind {
 public:
  ThreadsLeftBehind() {
    if (const char* const set = std::getenv("TSAN_OPTIONS")) options_ = set;
    setenv("TSAN_OPTIONS", (options_ + ":report_thread_leaks=0").c_str(), 1);
  }
  ~ThreadsLeftBehind() { setenv("TSAN_OPTIONS", options_.c_str(), 1); }
  ThreadsLeftBehind(const ThreadsLeftBehind&) = delete;
  ThreadsLeftBehind& operator=(const ThreadsLeftBehind&) = delete;

 private:
  std::string options_;
};

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_THREADS_LEFT_BEHIND_H_
