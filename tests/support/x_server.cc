#include "tests/support/x_server.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace test {

XServer::XServer() {
  int ends[2];
  if (pipe(ends) != 0) return;
  process_ = fork();
  if (process_ == 0) {
    close(ends[0]);
    const int null = open("/dev/null", O_RDWR);
    dup2(null, STDOUT_FILENO);
    dup2(null, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGKILL);  // It must not outlive a test that ends without its destructors.
    unsetenv("LD_PRELOAD");            // What the tests preload is not for a program that was not built with it.
    const std::string fd = std::to_string(ends[1]);
    execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "640x480x24", "-nolisten", "tcp",
           static_cast<char*>(nullptr));
    _exit(127);
  }
  close(ends[1]);
  // The server writes the number of its display and a line break once it takes connections.
  std::string number;
  char c = 0;
  while (process_ > 0 && read(ends[0], &c, 1) == 1 && c != '\n') number += c;
  close(ends[0]);
  if (c == '\n') display_ = ":" + number;
}

XServer::~XServer() { Kill(); }

void XServer::Kill() {
  if (process_ <= 0) return;
  kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = -1;
}

}  // namespace test
