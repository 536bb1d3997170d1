// The options of how a film is written: where to, and packed and encoded with what.
#ifndef QUARN_EXAMPLES_RECORD_FILM_OPTIONS_H_
#define QUARN_EXAMPLES_RECORD_FILM_OPTIONS_H_

#include <string>

#include <CLI/CLI.hpp>

#include "studio/command_help.h"
#include "studio/description.h"

namespace studio {

// Adds itself to a command line, and after that was parsed, to a description.
class FilmOptions {
 public:
  explicit FilmOptions(CLI::App* app);
  FilmOptions(const FilmOptions&) = delete;
  FilmOptions& operator=(const FilmOptions&) = delete;

  // What shells complete values to.
  static OptionWords Words();

  // Throws UsageError.
  void ApplyTo(Description* description) const;

 private:
  Encoding encoding_;  // But for the numbers.
  std::string output_, bitrate_, audio_bitrate_;
  int quality_ = 0;
  bool transparent_ = false;
  bool overwrite_ = true;
  CLI::Option* quality_option_ = nullptr;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_FILM_OPTIONS_H_
