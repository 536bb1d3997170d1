// Tells a process from its forks.
#ifndef QUARN_FOUNDATION_FORK_COUNT_H_
#define QUARN_FOUNDATION_FORK_COUNT_H_

namespace os {

// How many forks lie between the process that loaded the library and this one. A forked child has none of its parent's
// other threads, and must not wait for them: what was made at another count belongs to another process.
//
// Thread: any.
unsigned int ForkCount();

}  // namespace os

#endif  // QUARN_FOUNDATION_FORK_COUNT_H_
