// quarn-record: a host program of Quarn that records a film.
//
// Threads: main (command line, and with --offline the frames), the device's render thread, the output's own thread
// (FilmOutput::OnFrame), the mixer's (SoundMix::OnMixSamples), the encoder's, and one for each video and each sound.

#include <unistd.h>

#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>

#include "record/options.h"
#include "record/progress.h"
#include "record/recorder.h"
#include "studio/description.h"
#include "studio/error.h"
#include "studio/log.h"
#include "studio/media_length.h"
#include "studio/output_name.h"
#include "studio/sound_format.h"

namespace {

std::atomic<int> g_signals{0};
static_assert(std::atomic<int>::is_always_lock_free);

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The first ends the film; the second, whichever it is, ends the program.
void OnSignal(int number) {
  if (g_signals++ == 0) return;
  std::signal(number, SIG_DFL);
  std::raise(number);
}

void HandleSignals() {
  struct sigaction action = {};
  action.sa_handler = OnSignal;
  for (const int signal : kEndingSignals) {
    struct sigaction before = {};
    sigaction(signal, nullptr, &before);
    // Who started the program may want it to outlive a terminal.
    if (signal != SIGHUP || before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);
  }
  // A receiver that goes away, and a file as large as files may be, are errors of writing.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

void PrintSound(const studio::Summary::Sound& sound) {
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  const float peak = std::min(sound.mix.peak, 1.0f);
  std::printf("  sound: %s, peak %.2f", sound.encoder.c_str(), static_cast<double>(peak));
  if (peak > 0) std::printf(" (%.1f dB)", studio::Decibels(peak));
  std::printf(", %s\n", sound.mix.underruns.empty() ? "no underrun" : "underruns:");
  const auto seconds = [](std::uint64_t blocks) {
    return static_cast<double>(blocks) * studio::kSoundBlock / studio::kSoundRate;
  };
  for (const studio::MixReport::Underruns& underruns : sound.mix.underruns) {
    std::printf("    %s: %llu blocks (%.2f s) came late\n", studio::Printable(underruns.file).c_str(),
                number(underruns.blocks), seconds(underruns.blocks));
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

void PrintLost(const studio::Summary& summary) {
  if (summary.lost_packets == 0) return;
  std::printf("  packets that no receiver took: %llu\n", static_cast<unsigned long long>(summary.lost_packets));
}

void PrintSummary(const studio::Description& description, const studio::Summary& summary,
                  const studio::StageTimes& times) {
  if (!description.HasPicture()) {
    std::printf("%s: %.2f s%s\n", description.output.c_str(), summary.seconds, g_signals ? ", ended early" : "");
    PrintLost(summary);
    if (summary.sound) PrintSound(*summary.sound);
    return;
  }
  const studio::FilmCounts& counts = summary.counts;
  const studio::Size size = description.OutputSize();
  const auto number = [](std::uint64_t value) { return static_cast<unsigned long long>(value); };
  const bool is_still = description.IsStill();
  std::printf("%s: %dx%d, %s%s%s\n", description.output.c_str(), size.width, size.height,
              is_still ? "" : (description.fps.Text() + " fps, ").c_str(), summary.encoder.c_str(),
              g_signals > 0 ? ", ended early" : "");
  std::printf("  frames: %llu delivered, %llu repeated, %llu dropped by the host\n", number(counts.delivered),
              number(counts.repeated), number(counts.dropped));
  PrintLost(summary);
  for (const studio::Summary::Damage& damage : summary.damage) {
    std::printf("  damaged: %s: %llu packets could not be decoded\n", studio::Printable(damage.file).c_str(),
                number(damage.packets));
  }
  if (summary.sound) PrintSound(*summary.sound);
  if (!is_still) {
    std::printf("  measured: %.2f fps (%llu different pictures in %.2f s)\n",
                static_cast<double>(counts.delivered - counts.repeated) / summary.seconds,
                number(counts.delivered - counts.repeated), summary.seconds);
  }

  const auto milliseconds = [&](std::uint64_t sum_ns) {
    return static_cast<double>(sum_ns) * 1e-6 / static_cast<double>(counts.delivered);
  };
  std::printf("  ms a frame: tick %.2f, filter %.2f, scene %.2f, ", milliseconds(times.tick),
              milliseconds(times.filter), milliseconds(times.scene));
  if (description.offline) std::printf("output %.2f, ", milliseconds(times.output));
  std::printf("delivery %.2f, encode %.2f\n", milliseconds(times.delivery), milliseconds(times.encode));
}

// A film that goes to the standard output has it for itself: all else is printed to the error output.
void KeepOutputForFilm(studio::Description* description) {
  const std::optional<int> descriptor = studio::DescriptorOf(description->output);
  if (!descriptor) return;
  description->output_descriptor = dup(*descriptor);
  if (description->output_descriptor < 0) throw studio::Error("cannot write " + description->output + ": it is closed");
  dup2(STDERR_FILENO, STDOUT_FILENO);
}

int Run(int argc, char** argv) {
  std::optional<studio::Options> options = studio::ParseCommandLine(argc, argv);
  if (!options) return EXIT_SUCCESS;
  studio::Description& description = options->description;
  studio::ShowLog(description.verbose ? studio::LogShown::kEverything : studio::LogShown::kNothing);
  studio::ResolveDuration(&description);
  HandleSignals();
  KeepOutputForFilm(&description);

  studio::StageTimes times;
  studio::Summary summary;
  {
    studio::ProgressDisplay display(options->progress, description);
    summary = studio::Record(
        description,
        [&display](const studio::Status& status) {
          display.Show(status);
          return g_signals == 0;
        },
        &times);
  }
  PrintSummary(description, summary, times);
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const studio::UsageError& error) {
    std::fprintf(stderr, "quarn-record: %s\n", studio::Printable(error.what()).c_str());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarn-record: %s\n", studio::Printable(studio::ErrorText(error)).c_str());
    return 1;
  }
}
