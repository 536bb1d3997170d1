#include "studio/sound_text.h"

#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "studio/error.h"
#include "studio/layer_text.h"

namespace studio {
namespace {

constexpr double kMaxTrack = 9999;
constexpr const char* kKeys[] = {"track", "trim", "fade"};

bool IsOption(const std::string& field) {
  for (const std::string key : kKeys) {
    if (field.rfind(key + "=", 0) == 0) return true;
  }
  return false;
}

// Cuts the options off the end of a text. Other commas belong to the file's name, or to gain and start.
std::vector<std::string> TakeOptions(std::string* text) {
  std::vector<std::string> options;
  for (;;) {
    const std::size_t comma = text->rfind(',');
    if (comma == std::string::npos || (comma > 0 && (*text)[comma - 1] == '\\')) return options;
    std::string field = text->substr(comma + 1);
    if (!IsOption(field)) return options;
    options.insert(options.begin(), std::move(field));
    text->erase(comma);
  }
}

void SetOption(Sound* sound, const std::string& option) {
  const std::size_t equals = option.find('=');
  const std::string key = option.substr(0, equals), value = option.substr(equals + 1);
  if (key == "track") {
    sound->track = ParseTrack(value);
  } else if (key == "trim") {
    ParseTrim(value, &sound->trim_start_s, &sound->trim_end_s);
  } else {
    ParseFade(value, sound);
  }
}

}  // namespace

const char kSoundHelp[] = R"(
A sound is given as FILE[@GAIN[,START]][,key=value]...: GAIN is a factor (1), START the second of the scene at which it
begins (0).
  track=N         which sound of the file, 0 the first (the one that FFmpeg likes best)
  trim=A:B        from second A of the file to second B; either may be left out
  fade=IN:OUT     seconds in which it comes and goes, evenly; it is gone at its end, or at the film's
An @ in a file's name is written "\@", and a comma before one of these keys "\,". Videos bring their own sound.
)";

Sound ParseSound(const std::string& text) {
  Sound sound;
  try {
    std::string head = text;
    for (const std::string& option : TakeOptions(&head)) SetOption(&sound, option);
    std::size_t at = 0;
    for (; at < head.size() && head[at] != '@'; ++at) {
      if (head[at] == '\\' && at + 1 < head.size() && (head[at + 1] == '@' || head[at + 1] == ',')) ++at;
      sound.file += head[at];
    }
    if (sound.file.empty()) throw UsageError("no file is named");
    if (at == head.size()) return sound;
    try {
      const std::size_t comma = head.find(',', at);
      sound.gain = static_cast<float>(ParseNumber(head.substr(at + 1, comma - at - 1)));
      if (comma != std::string::npos) sound.start_s = ParseNumber(head.substr(comma + 1));
    } catch (const UsageError& error) {
      throw UsageError(error.what() + std::string(" (an @ in a file's name is written \\@)"));
    }
  } catch (const UsageError& error) {
    throw UsageError("audio \"" + text + "\": " + error.what());
  }
  return sound;
}

int ParseTrack(const std::string& text) {
  const double number = ParseNumber(text);
  if (!(number >= 0 && number <= kMaxTrack) || number != std::floor(number)) {
    throw UsageError("\"" + text + "\" is not the number of a track: 0 is the first");
  }
  return static_cast<int>(number);
}

void ParseFade(const std::string& text, Sound* sound) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) throw UsageError("\"" + text + "\" is not a pair of seconds such as 1:2");
  sound->fade_in_s = ParseNumber(text.substr(0, colon));
  sound->fade_out_s = ParseNumber(text.substr(colon + 1));
}

}  // namespace studio
