// quarn-record: a host program of Quarn that records a film.
//
// Threads: main (command line, and with --offline the frames), the device's render thread, the output's own thread
// (FilmOutput::OnFrame), the mixer's (SoundMix::OnMixSamples), the encoder's, and one for each video and each sound.

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "record/options.h"
#include "record/recorder.h"
#include "studio/description.h"
#include "studio/error.h"
#include "studio/log.h"
#include "studio/media_length.h"
#include "studio/sound_format.h"

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

double Decibels(float level) { return 20 * std::log10(static_cast<double>(level)); }

std::string Bar(int done, int width) { return "[" + std::string(done, '#') + std::string(width - done, '.') + "]"; }

// The level of the sound on a scale of decibels.
std::string Meter(float level) {
  constexpr int kWidth = 10;
  constexpr double kLowest = -40;
  const double share = level > 0 ? 1 - Decibels(level) / kLowest : 0;
  char text[16];
  std::snprintf(text, sizeof(text), " %.2f", static_cast<double>(level));
  return ", sound " + Bar(static_cast<int>(std::lround(std::clamp(share, 0.0, 1.0) * kWidth)), kWidth) + text;
}

// On terminals only; cleared at the end.
class ProgressBar {
 public:
  explicit ProgressBar(std::uint64_t frames) : frames_(frames), shown_(isatty(STDERR_FILENO) != 0) {}
  ~ProgressBar() {
    if (shown_) std::fprintf(stderr, "\r\033[K");
  }

  void Show(const studio::Status& status) {
    if (!shown_) return;
    if (status.level) level_ = std::max(level_, *status.level);
    if (status.seconds <= 0 || status.seconds - last_s_ < 0.1) return;
    last_s_ = status.seconds;
    char counts[80];
    std::snprintf(counts, sizeof(counts), " %llu of %llu frames, %.1f fps",
                  static_cast<unsigned long long>(status.counts.delivered), static_cast<unsigned long long>(frames_),
                  static_cast<double>(status.counts.delivered) / status.seconds);
    const std::string text = counts + (status.level ? Meter(level_) : std::string());
    level_ = 0;
    // The whole of it fits a terminal's line.
    const int width = std::clamp(kLine - 2 - static_cast<int>(text.size()), 10, 40);
    const int done = static_cast<int>(status.counts.delivered * width / frames_);
    std::fprintf(stderr, "\r%s%s\033[K", Bar(done, width).c_str(), text.c_str());
  }

 private:
  static constexpr int kLine = 79;

  const std::uint64_t frames_;
  const bool shown_;
  double last_s_ = -1;
  float level_ = 0;  // Since it was shown last.
};

void PrintSound(const studio::Summary::Sound& sound) {
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  const float peak = std::min(sound.mix.peak, 1.0f);
  std::printf("  sound: %s, peak %.2f", sound.encoder.c_str(), static_cast<double>(peak));
  if (peak > 0) std::printf(" (%.1f dB)", Decibels(peak));
  std::printf(", %s\n", sound.mix.underruns.empty() ? "no underrun" : "underruns:");
  const auto seconds = [](std::uint64_t blocks) {
    return static_cast<double>(blocks) * studio::kSoundBlock / studio::kSoundRate;
  };
  for (const studio::MixReport::Underruns& underruns : sound.mix.underruns) {
    std::printf("    %s: %llu blocks (%.2f s) came late\n", underruns.file.c_str(), number(underruns.blocks),
                seconds(underruns.blocks));
  }
  if (sound.mix.clipped > 0) {
    std::printf("  sound clipped: %llu samples (peak %.2f)\n", number(sound.mix.clipped),
                static_cast<double>(sound.mix.peak));
  }
  if (sound.dropped_blocks > 0) {
    std::printf("  sound dropped by the host: %llu blocks (%.2f s)\n", number(sound.dropped_blocks),
                seconds(sound.dropped_blocks));
  }
}

void PrintSummary(const studio::Description& description, const studio::Summary& summary,
                  const studio::StageTimes& times) {
  const studio::FilmCounts& counts = summary.counts;
  const studio::Size size = description.OutputSize();
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  std::printf("%s: %dx%d, %s fps, %s%s\n", description.output.c_str(), size.width, size.height,
              description.fps.Text().c_str(), summary.encoder.c_str(), g_interrupted ? ", ended early" : "");
  std::printf("  frames: %llu delivered, %llu repeated, %llu dropped by the host\n", number(counts.delivered),
              number(counts.repeated), number(counts.dropped));
  if (summary.lost_packets > 0) {
    std::printf("  packets that no receiver took: %llu\n", number(summary.lost_packets));
  }
  if (summary.sound) PrintSound(*summary.sound);
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
  std::optional<studio::Description> description = studio::ParseCommandLine(argc, argv);
  if (!description) return EXIT_SUCCESS;
  studio::ShowLog(description->verbose ? studio::LogShown::kEverything : studio::LogShown::kNothing);
  studio::ResolveDuration(&*description);
  HandleSignals();

  studio::StageTimes times;
  studio::Summary summary;
  {
    ProgressBar bar(description->FrameCount());
    summary = studio::Record(
        *description,
        [&bar](const studio::Status& status) {
          bar.Show(status);
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
