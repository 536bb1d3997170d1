// quarn-record: a host program of Quarn that records a film.
//
// Threads: main (command line, and with --offline the frames), the device's render thread, the output's own thread
// (FilmOutput::OnFrame), the encoder's, and one for each video.

#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include <quarn/qn_log.h>

#include "record/options.h"
#include "record/recorder.h"
#include "studio/av.h"
#include "studio/description.h"
#include "studio/error.h"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void OnSignal(int) { g_interrupted = 1; }

// The first Ctrl-C ends the film; the second one ends the program.
void HandleSignals() {
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_RESETHAND;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
}

void PrintLog(int level, const char* format, va_list args, void* /*user*/) {
  char text[1024];
  std::vsnprintf(text, sizeof(text), format, args);
  const char tag = level == kQnLogError ? 'E' : level == kQnLogWarning ? 'W' : level == kQnLogInfo ? 'I' : 'D';
  std::fprintf(stderr, "%c: %s\n", tag, text);
}

// On terminals only; cleared at the end.
class ProgressBar {
 public:
  explicit ProgressBar(std::uint64_t frames) : frames_(frames), shown_(isatty(STDERR_FILENO) != 0) {}
  ~ProgressBar() {
    if (shown_) std::fprintf(stderr, "\r\033[K");
  }

  void Show(const studio::FilmCounts& counts, double seconds) {
    if (!shown_ || seconds - last_s_ < 0.1) return;
    last_s_ = seconds;
    constexpr int kWidth = 40;
    const int done = static_cast<int>(counts.delivered * kWidth / frames_);
    std::fprintf(stderr, "\r[%s%s] %llu of %llu frames, %.1f fps", std::string(done, '#').c_str(),
                 std::string(kWidth - done, '.').c_str(), static_cast<unsigned long long>(counts.delivered),
                 static_cast<unsigned long long>(frames_), static_cast<double>(counts.delivered) / seconds);
  }

 private:
  const std::uint64_t frames_;
  const bool shown_;
  double last_s_ = -1;
};

void PrintSummary(const studio::Description& description, const studio::Summary& summary,
                  const studio::StageTimes& times) {
  const studio::FilmCounts& counts = summary.counts;
  const studio::Size size = description.OutputSize();
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  std::printf("%s: %dx%d, %u fps, %s%s\n", description.output.c_str(), size.width, size.height, description.fps,
              summary.encoder.c_str(), g_interrupted ? ", ended early" : "");
  std::printf("  frames: %llu delivered, %llu repeated, %llu dropped by the host\n", number(counts.delivered),
              number(counts.repeated), number(counts.dropped));
  if (summary.lost_packets > 0) {
    std::printf("  packets that no receiver took: %llu\n", number(summary.lost_packets));
  }
  std::printf("  measured: %.2f fps (%llu different pictures in %.2f s)\n",
              static_cast<double>(counts.delivered - counts.repeated) / summary.seconds,
              number(counts.delivered - counts.repeated), summary.seconds);

  const auto milliseconds = [&](std::uint64_t sum_ns) {
    return static_cast<double>(sum_ns) * 1e-6 / static_cast<double>(counts.delivered);
  };
  std::printf("  ms a frame: tick %.2f, filter %.2f, scene %.2f, ", milliseconds(times.tick),
              milliseconds(times.filter), milliseconds(times.scene));
  if (description.offline) std::printf("output %.2f, ", milliseconds(times.output));
  std::printf("delivery %.2f, encode %.2f\n", milliseconds(times.delivery), milliseconds(times.encode));
}

int Run(int argc, char** argv) {
  const std::optional<studio::Description> description = studio::ParseCommandLine(argc, argv);
  if (!description) return EXIT_SUCCESS;
  if (!description->verbose) av_log_set_level(AV_LOG_QUIET);
  qn_set_log_handle(description->verbose ? &PrintLog : nullptr, nullptr);
  HandleSignals();

  studio::StageTimes times;
  studio::Summary summary;
  {
    ProgressBar bar(description->FrameCount());
    summary = studio::Record(
        *description,
        [&bar](const studio::FilmCounts& counts, double seconds) {
          bar.Show(counts, seconds);
          return g_interrupted == 0;
        },
        &times);
  }
  PrintSummary(*description, summary, times);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const studio::UsageError& error) {
    std::fprintf(stderr, "quarn-record: %s\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarn-record: %s\n", error.what());
    return 1;
  }
}
