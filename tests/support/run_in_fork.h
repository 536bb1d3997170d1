// What a forked child makes of what it has copies of.
#ifndef QUARN_TESTS_SUPPORT_RUN_IN_FORK_H_
#define QUARN_TESTS_SUPPORT_RUN_IN_FORK_H_

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace test {

// Runs `child` in a fork of this process, which has a minute for it. Returns what the child returns, 0 to 255; 1000 and
// the signal when one has ended it, -1 when there was no child.
inline int RunInFork(const std::function<int()>& child) {
  const pid_t pid = fork();
  if (pid == 0) {
    alarm(60);
    _exit(child());
  }
  int status = 0;
  if (pid == -1 || waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

}  // namespace test

#endif  // QUARN_TESTS_SUPPORT_RUN_IN_FORK_H_
