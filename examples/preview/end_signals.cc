#include "preview/end_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "studio/error.h"

namespace preview {
namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

int pipe_ends[2] = {-1, -1};

// Async-signal-safe.
void OnSignal(int /*signal*/) {
  const int saved = errno;
  const char byte = 0;
  if (write(pipe_ends[1], &byte, 1) < 0) {
  }
  errno = saved;
}

void Handle(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART | SA_RESETHAND;
  for (const int signal : kSignals) sigaction(signal, &action, nullptr);
}

}  // namespace

EndSignals::EndSignals(std::function<void()> end) {
  if (pipe2(pipe_ends, O_CLOEXEC | O_NONBLOCK) != 0) throw studio::Error("cannot make a pipe");
  notifier_ = std::make_unique<QSocketNotifier>(pipe_ends[0], QSocketNotifier::Read);
  QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(), [this, end = std::move(end)] {
    notifier_->setEnabled(false);
    end();
  });
  Handle(&OnSignal);
}

EndSignals::~EndSignals() {
  Handle(SIG_DFL);
  notifier_.reset();
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

}  // namespace preview
