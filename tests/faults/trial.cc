// A trial: the fault anywhere between the device's making and its end, then the same again without one.
#include "tests/faults/trial.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <sstream>
#include <thread>

#include <quarn/qn_log.h>

namespace faults {
namespace {

// Beyond what a run takes, under a sanitizer too.
constexpr unsigned int kWatchdogSeconds = 30;

std::mutex log_mutex;
std::string log_lines;

void Record(int level, const char* format, va_list args, void* /*user*/) {
  if (level > kQnLogWarning) return;
  char text[1024];
  std::vsnprintf(text, sizeof(text), format, args);
  if (std::strcmp(text, "device create success") == 0) return;  // The one good tidings at that level.
  std::lock_guard<std::mutex> lock(log_mutex);
  log_lines += std::string("    ") + text + "\n";
}

// Without the lines that are said in any case.
std::string Log(const std::string& in_any_case) {
  std::lock_guard<std::mutex> lock(log_mutex);
  std::istringstream lines(log_lines);
  std::string log;
  for (std::string line; std::getline(lines, line);) {
    if (in_any_case.find(line) == std::string::npos) log += line + "\n";
  }
  return log;
}

// Whether anything is lost, where a leak checker is at hand.
bool Leaks() {
  const auto check = reinterpret_cast<int (*)()>(dlsym(RTLD_DEFAULT, "__lsan_do_recoverable_leak_check"));
  return check && check() != 0;
}

// Whether a host that has ended has left windows behind. The thread that has them may be a moment behind.
bool LeftWindows() {
  for (int i = 0; i < 500 && WindowObjects() != 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  return WindowObjects() != 0;
}

// Ends and makes anew what is needed until the work comes out right. Returns what it took.
Outcome Recover(Host* host, const Expected& expected) {
  if (host->Work() == expected.digest) return kNextRound;
  host->MakeObjects();
  return host->Work() == expected.digest ? kNewObjects : kNewDevice;
}

Verdict Run(const Scenario& scenario, Kind kind, int number, const Expected& expected) {
  qn_set_log_handle(Record, nullptr);
  Verdict verdict;
  Outcome needed = kUnnoticed;
  bool device_was_hit = false;
  Arm(kind, number);
  {
    const std::unique_ptr<Host> host = scenario.make();
    host->MakeDevice();
    device_was_hit = !Failed().empty();
    host->MakeObjects();
    const Digest first = host->Work();
    const Digest second = host->Work();
    verdict.found.digest = first == second ? first : kNothing;
    if (number > 0 && !Failed().empty() && (first != expected.digest || second != expected.digest)) {
      needed = second == expected.digest ? kNextRound : Recover(host.get(), expected);
    }
  }
  const bool left_windows = LeftWindows();
  verdict.found.calls = Calls();
  Disarm();
  verdict.failed = Failed();
  verdict.log = Log(expected.log);
  verdict.outcome = left_windows ? kLeak : needed;
  verdict.found.log = verdict.log;
  if (number == 0) return verdict;
  if (verdict.failed.empty()) {
    verdict.outcome = verdict.found.digest == expected.digest ? kNotReached : kSilent;
    return verdict;
  }
  if (left_windows) return verdict;
  if (needed == kUnnoticed && !verdict.log.empty()) verdict.outcome = kTold;
  if (needed > kTold && verdict.log.empty()) verdict.outcome = kSilent;
  if (needed == kNewDevice && !device_was_hit) verdict.outcome = kStuck;
  {
    const std::unique_ptr<Host> host = scenario.make();
    host->MakeDevice();
    host->MakeObjects();
    bool right = false;
    for (int i = 0; i < 3 && !right && !WindowsAreGone(); ++i)
      right = host->Work() == expected.digest;  // A busy machine.
    if (!right) {
      const bool no_windows = WindowsAreGone() && host->WorksWithoutWindows();
      verdict.outcome = no_windows ? kNoWindows : kStuck;
    }
  }
  if (verdict.outcome == kStuck) verdict.log = Log(expected.log);
  return verdict;
}

void Send(int pipe, const Verdict& verdict) {
  std::string text = std::to_string(verdict.outcome) + " " + std::to_string(verdict.found.digest) + " " +
                     std::to_string(verdict.found.calls) + " " + (verdict.failed.empty() ? "-" : verdict.failed) +
                     "\n" + verdict.log;
  for (std::size_t sent = 0; sent < text.size();) {
    const ssize_t n = write(pipe, text.data() + sent, text.size() - sent);
    if (n <= 0) _exit(1);
    sent += static_cast<std::size_t>(n);
  }
}

bool Receive(int pipe, Verdict* verdict) {
  std::string text;
  char part[4096];
  for (ssize_t n = 0; (n = read(pipe, part, sizeof(part))) > 0;) text.append(part, static_cast<std::size_t>(n));
  int outcome = 0;
  unsigned long long digest = 0;
  char failed[200] = "";
  int header = 0;
  if (std::sscanf(text.c_str(), "%d %llu %d %199s%n", &outcome, &digest, &verdict->found.calls, failed, &header) != 4) {
    return false;
  }
  verdict->outcome = static_cast<Outcome>(outcome);
  verdict->found.digest = digest;
  verdict->failed = std::strcmp(failed, "-") == 0 ? "" : failed;
  verdict->log = text.substr(static_cast<std::size_t>(header) + 1);
  verdict->found.log = verdict->log;
  return true;
}

}  // namespace

bool NothingWasSaid() { return Log("").empty(); }

bool WindowsAreGone() {
  const std::string log = Log("");
  for (const char* const line :
       {"A view cannot be shown: there is no X11 display", "The X server is gone: views show nothing any more",
        "The Wayland compositor is gone: views show nothing any more"}) {
    if (log.find(line) != std::string::npos) return true;
  }
  return false;
}

Digest DigestOf(const void* data, std::size_t size, Digest before) {
  const auto* const bytes = static_cast<const unsigned char*>(data);
  Digest digest = before;
  for (std::size_t i = 0; i < size; ++i) digest = (digest ^ bytes[i]) * 1099511628211u;
  return digest;
}

Verdict TryHere(const Scenario& scenario, Kind kind, int number, const Expected& expected) {
  return Run(scenario, kind, number, expected);
}

Verdict Try(const Scenario& scenario, Kind kind, int number, const Expected& expected) {
  Verdict verdict;
  int ends[2];
  ShareFailed();
  if (pipe(ends) != 0) return verdict;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    close(ends[0]);
    alarm(kWatchdogSeconds);
    Verdict own = Run(scenario, kind, number, expected);
    Send(ends[1], own);
    // The verdict stands; a leak is told by how the process ends.
    _exit(Leaks() ? 3 : 0);
  }
  close(ends[1]);
  const bool told = child > 0 && Receive(ends[0], &verdict);
  close(ends[0]);
  int status = 0;
  if (child <= 0 || waitpid(child, &status, 0) != child) return Verdict();
  if (WIFSIGNALED(status)) {
    verdict.outcome = WTERMSIG(status) == SIGALRM ? kHang : kCrash;
    verdict.failed = Failed();
    verdict.log += std::string("    ended by signal: ") + strsignal(WTERMSIG(status)) + "\n";
  } else if (WEXITSTATUS(status) == 3) {
    verdict.outcome = kLeak;
  } else if (!told) {  // Once it was told, only the leak checker may still have failed, among a driver's threads.
    verdict.outcome = kCrash;
    verdict.log += "    ended with " + std::to_string(WEXITSTATUS(status)) + "\n";
  }
  return verdict;
}

}  // namespace faults
