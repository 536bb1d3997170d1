// Threads on POSIX. Start, Join and started belong to the thread's owner.
#include "foundation/thread.h"

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <cerrno>

#include "foundation/fork_count.h"

namespace {

class ThreadPosix : public Thread {
 public:
  void Start(Runable* r) override {
    if (started() || !r) return;
    fork_count_ = os::ForkCount();
    // What a failed creation leaves in the handle is unspecified.
    if (pthread_create(&handle_, nullptr, &ThreadPosix::Entry, r) != 0) handle_ = pthread_t{};
  }

  void Join() override {
    if (!started()) return;
    // A fork of the thread's process has no such thread, and would wait for ever.
    if (fork_count_ == os::ForkCount()) pthread_join(handle_, nullptr);
    handle_ = pthread_t{};
  }

  bool started() const override { return handle_ != pthread_t{}; }

 private:
  static void* Entry(void* runable) {
    static_cast<Runable*>(runable)->Run();
    return nullptr;
  }

  pthread_t handle_{};  // Null when not running.
  unsigned int fork_count_ = 0;
};

}  // namespace

Thread* Thread::Create() { return new ThreadPosix; }

void NameThisThread(const char* name) { pthread_setname_np(pthread_self(), name); }

int SetThisThreadRealtime(bool realtime) {
  sched_param param{};
  if (!realtime) return sched_setscheduler(0, SCHED_OTHER, &param) == 0 ? 0 : errno;
  param.sched_priority = sched_get_priority_min(SCHED_RR);
  return sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &param) == 0 ? 0 : errno;
}

void HaltThisThread() {
  for (;;) pause();
}
