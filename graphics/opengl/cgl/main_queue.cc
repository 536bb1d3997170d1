// The main queue: the host's, or a thread of the library's own. Render threads post, hosts name their queue.
#include "graphics/opengl/cgl/main_queue.h"

#include <cstdint>
#include <unordered_map>
#include <utility>

#include <quarn/qn_main_queue.h>

#include "foundation/mutex.h"
#include "foundation/never_destroyed.h"
#include "foundation/no_memory.h"
#include "foundation/worker.h"
#include "graphics/opengl/cgl/view_worker.h"

namespace {

// The works that were posted to a host's queue. One that the host never runs stays here.
class HandedOut {
 public:
  // Keeps the work and returns what the host passes to Run.
  void* Add(std::function<void()> work) {
    MutexLocker<Mutex> lock(mutex_);
    void* const ticket = reinterpret_cast<void*>(++last_ticket_);
    works_.emplace(ticket, std::move(work));
    return ticket;
  }

  // Runs the work of a ticket; a ticket that was used before does nothing.
  void Run(void* ticket) {
    std::function<void()> work;
    {
      MutexLocker<Mutex> lock(mutex_);
      const auto found = works_.find(ticket);
      if (found == works_.end()) return;
      work = std::move(found->second);
      works_.erase(found);
    }
    EvenWithoutMemory("Work on the main queue", work);
  }

 private:
  Mutex mutex_;
  std::unordered_map<void*, std::function<void()>> works_ QUARN_GUARDED_BY(mutex_);
  std::uintptr_t last_ticket_ QUARN_GUARDED_BY(mutex_) = 0;
};

class MainQueue {
 public:
  // Outlives everything that might still draw at exit; only its thread ends then.
  static MainQueue& Get() {
    static NeverDestroyed<MainQueue> queue;
    struct AtExit {
      // A work that waits for an engine that the host has left running is left where it is.
      ~AtExit() { queue.get().worker_.StopWithin(kViewWorkPatience); }
    };
    static const AtExit at_exit;
    return queue.get();
  }

  void Post(std::function<void()> work) {
    MutexLocker<Mutex> lock(mutex_);
    if (post_) {
      post_(&MainQueue::RunHandedOut, handed_out_.Add(std::move(work)), user_);
    } else {
      worker_.Post(std::move(work));
    }
  }

  void Set(QnMainQueuePost post, void* user) {
    MutexLocker<Mutex> lock(mutex_);
    post_ = post;
    user_ = user;
  }

 private:
  static void RunHandedOut(void* ticket) { Get().handed_out_.Run(ticket); }

  Mutex mutex_;  // Held while the host's post runs, so that Set waits for it.
  QnMainQueuePost post_ QUARN_GUARDED_BY(mutex_) = nullptr;
  void* user_ QUARN_GUARDED_BY(mutex_) = nullptr;
  Worker worker_{ViewWorkerRole("quarn-mainqueue")};  // Does the works while no host has named a queue.
  HandedOut handed_out_;
};

}  // namespace

void PostToMainQueue(std::function<void()> work) { MainQueue::Get().Post(std::move(work)); }

void qn_set_main_queue(QnMainQueuePost post, void* user) { MainQueue::Get().Set(post, user); }
