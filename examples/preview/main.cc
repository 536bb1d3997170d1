// quarn-preview: a host program of Quarn that edits a scene in a window and records it.
//
// Threads: main (events, and what they make of the scene), the device's render thread, and one for each video; while
// recording also the output's own (FilmOutput::OnFrame) and the encoder's.

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <utility>

#include "preview/app.h"
#include "preview/keys.h"
#include "preview/options.h"
#include "studio/error.h"
#include "studio/log.h"

namespace {

int Run(int argc, char** argv) {
  std::optional<preview::Options> options = preview::ParseCommandLine(argc, argv);
  if (!options) return EXIT_SUCCESS;
  studio::ShowLog(options->description.verbose ? studio::LogShown::kEverything : studio::LogShown::kNothing);
  std::signal(SIGPIPE, SIG_IGN);  // Streams outlive their receivers.
  std::signal(SIGXFSZ, SIG_IGN);  // A film that may not get larger ends.
  preview::App app(std::move(*options));
  std::fputs(preview::KeyHelp().c_str(), stdout);
  std::fflush(stdout);
  app.Run();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const studio::UsageError& error) {
    std::fprintf(stderr, "quarn-preview: %s\n", error.what());
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "quarn-preview: %s\n", error.what());
    return 1;
  }
}
