// The count of forks. Any thread asks; a forked child counts before it returns from fork.
#include "foundation/fork_count.h"

#include <pthread.h>

#include <atomic>

namespace os {

namespace {

std::atomic<unsigned int> fork_count{0};

[[maybe_unused]] const int registered =
    pthread_atfork(nullptr, nullptr, [] { fork_count.fetch_add(1, std::memory_order_relaxed); });

}  // namespace

unsigned int ForkCount() { return fork_count.load(std::memory_order_relaxed); }

}  // namespace os
