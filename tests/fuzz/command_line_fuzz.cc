// Command lines of quarn-record, a word a line; a byte above 0x7F stands for a whole word.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "record/options.h"
#include "studio/error.h"
#include "tests/fuzz/fuzz_check.h"

namespace {

// Nothing here names a file that reading would not end of.
constexpr const char* kWords[] = {
    "--color",
    "--picture",
    "--video",
    "--text",
    "--audio",
    "--canvas",
    "--fps",
    "--duration",
    "--start",
    "--output-size",
    "--format",
    "--offline",
    "-o",
    "--container",
    "--transparent",
    "--overwrite",
    "--no-overwrite",
    "--faststart",
    "--no-faststart",
    "--codec",
    "--quality",
    "--bitrate",
    "--preset",
    "--audio-codec",
    "--audio-bitrate",
    "--progress",
    "--verbose",
    "--version",
    "--help",
    "film.mp4",
    "film.gif",
    "still.png",
    "f%04d.png",
    "sound.wav",
    "-",
    "#102030",
    "clip.mp4,loop",
    "size=640x0",
    "auto",
    "i420",
    "nv12",
    "rgba",
    "30000/1001",
    "86400",
    "1e308",
    "nan",
    "1000",
    "0",
    "-1",
    "1280x720",
    "8192x8192",
    "h264",
    "ffv1",
    "matroska",
    "webm",
    "6M",
    "800k",
    "a.wav@0.5,2",
    "trim=1:2",
    "f%d.jpg",
    "out.m3u8",
    "lines",
    "hls",
    "udp://127.0.0.1:1",
};
constexpr std::size_t kWordCount = sizeof(kWords) / sizeof(kWords[0]);

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::string> words = {"quarn-record", ""};
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] == '\n') {
      words.emplace_back();
    } else if (data[i] >= 0x80) {
      if (!words.back().empty()) words.emplace_back();
      words.back() = kWords[(data[i] - 0x80u) % kWordCount];
      words.emplace_back();
    } else if (data[i] != 0) {
      words.back() += static_cast<char>(data[i]);
    }
  }
  if (words.back().empty()) words.pop_back();
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  try {
    const std::optional<studio::Options> options =
        studio::ParseCommandLine(static_cast<int>(words.size()), arguments.data());
    if (options) FUZZ_CHECK(options->description.FrameCount() > 0);
  } catch (const studio::Error&) {
  }
  return 0;
}
