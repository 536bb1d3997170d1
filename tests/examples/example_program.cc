#include "tests/examples/example_program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

ExampleTest::ExampleTest() {
  std::string folder = (fs::temp_directory_path() / "quarn-example-XXXXXX").string();
  if (!mkdtemp(folder.data())) std::abort();
  folder_ = folder;
}

ExampleTest::~ExampleTest() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

std::vector<std::string> ExampleTest::Files() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder_)) {
    const std::string name = entry.path().filename().string();
    if (name.rfind(".run-", 0) != 0) names.push_back(name);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The output goes to files: no pipe can fill up.
pid_t ExampleTest::Start(const std::string& program, const std::vector<std::string>& arguments) {
  const std::string path = program[0] == '/' ? program : std::string(QUARN_BIN_DIR) + "/" + program;
  std::vector<std::string> words = {"sh", "-c", "cd \"$0\" && exec \"$@\" >\".run-$$.out\" 2>\".run-$$.err\"", folder_,
                                    path};
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  EXPECT_EQ(posix_spawn(&pid, "/bin/sh", nullptr, nullptr, argv.data(), environ), 0);
  return pid;
}

Ended ExampleTest::Wait(pid_t pid) {
  int status = 0;
  EXPECT_EQ(waitpid(pid, &status, 0), pid);
  Ended ended;
  ended.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  const std::string stem = Path(".run-" + std::to_string(pid));
  ended.out = ReadFile(stem + ".out");
  ended.err = ReadFile(stem + ".err");
  return ended;
}

Ended ExampleTest::Run(const std::string& program, const std::vector<std::string>& arguments) {
  return Wait(Start(program, arguments));
}

Ended ExampleTest::RunOnFullDisk(int blocks, const std::string& program, const std::vector<std::string>& arguments) {
  // A program that counts its coverage writes the counts at its end. Cut short, they would spoil those of all other
  // runs: here they go elsewhere.
  std::vector<std::string> words = {"-c",
                                    "trap '' XFSZ; ulimit -f " + std::to_string(blocks) +
                                        "; export GCOV_PREFIX=\"$PWD/.run-profile\" GCOV_ERROR_FILE=/dev/null; "
                                        "exec \"$0\" \"$@\"",
                                    std::string(QUARN_BIN_DIR) + "/" + program};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return Run("/bin/sh", words);
}

void ExampleTest::ExpectError(const std::vector<std::string>& arguments, int exit_code, const std::string& line) {
  const std::vector<std::string> before = Files();
  const Ended ended = Run("quarn-record", arguments);
  EXPECT_EQ(ended.exit_code, exit_code) << line;
  EXPECT_EQ(ended.out, "");
  EXPECT_EQ(ended.err, "quarn-record: " + line + "\n");
  EXPECT_EQ(Files(), before);
}

Ended ExampleTest::Record(const std::vector<std::string>& arguments) {
  const Ended ended = Run("quarn-record", arguments);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  return ended;
}

void ExampleTest::Ffmpeg(const std::string& arguments) {
  std::istringstream words("-v error -nostdin -y " + arguments);
  const Ended ended = Run(FFMPEG, {std::istream_iterator<std::string>(words), {}});
  ASSERT_EQ(ended.exit_code, 0) << ended.err;
}

std::string ExampleTest::Probe(const std::string& film) {
  const Ended ended =
      Run(FFPROBE, {"-v", "error", "-count_frames", "-show_entries",
                    "stream=codec_name,width,height,r_frame_rate,nb_read_frames", "-of", "csv=p=0", film});
  EXPECT_EQ(ended.err, "");
  return ended.out.substr(0, ended.out.find('\n'));
}

std::vector<RgbFrame> ExampleTest::Decode(const std::string& film, int width, int height) {
  const bool is_rgb = film.find(".png") != std::string::npos;
  const char* const scale = "scale=in_color_matrix=bt709:in_range=tv:flags=accurate_rnd+bitexact";
  const Ended ended = Run(FFMPEG, {"-v", "error", "-nostdin", "-y", "-i", film, "-vf", is_rgb ? "null" : scale,
                                   "-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", "rgb24", ".run-raw"});
  EXPECT_EQ(ended.exit_code, 0) << ended.err;
  const std::string raw = ReadFile(Path(".run-raw"));
  const std::size_t bytes = static_cast<std::size_t>(width) * height * 3;
  EXPECT_EQ(raw.size() % bytes, 0u);
  std::vector<RgbFrame> frames;
  for (std::size_t at = 0; at + bytes <= raw.size(); at += bytes) {
    frames.push_back(RgbFrame{
        width,
        height,
        {raw.begin() + static_cast<std::ptrdiff_t>(at), raw.begin() + static_cast<std::ptrdiff_t>(at + bytes)}});
  }
  return frames;
}

std::string ReadFile(const std::string& path) {
  std::ostringstream content;
  content << std::ifstream(path, std::ios::binary).rdbuf();
  return content.str();
}

ReferenceFrame Reference(int width, int height, const std::vector<Rect>& rects) {
  ReferenceFrame frame;
  frame.width = width;
  frame.height = height;
  frame.rgb.resize(static_cast<std::size_t>(width) * height * 3);
  for (const Rect& rect : rects) {
    const double angle = rect.rotation_deg * std::acos(-1.0) / 180;
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        const double dx = x + 0.5 - width / 2.0 - rect.x, dy = y + 0.5 - height / 2.0 - rect.y;
        const double u = dx * std::cos(angle) + dy * std::sin(angle), v = dy * std::cos(angle) - dx * std::sin(angle);
        if (std::fabs(u) > rect.width / 2 || std::fabs(v) > rect.height / 2) continue;
        std::uint8_t* pixel = &frame.rgb[(static_cast<std::size_t>(y) * width + x) * 3];
        const int color[3] = {rect.r, rect.g, rect.b};
        for (int c = 0; c < 3; ++c) {
          pixel[c] = static_cast<std::uint8_t>(std::lround(color[c] * rect.alpha + pixel[c] * (1 - rect.alpha)));
        }
      }
    }
  }
  constexpr int kMargin = 3;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      bool flat = true;
      for (int ny = std::max(0, y - kMargin); ny <= std::min(height - 1, y + kMargin) && flat; ++ny) {
        for (int nx = std::max(0, x - kMargin); nx <= std::min(width - 1, x + kMargin) && flat; ++nx) {
          flat = std::equal(frame.At(x, y), frame.At(x, y) + 3, frame.At(nx, ny));
        }
      }
      frame.flat.push_back(flat);
    }
  }
  return frame;
}

void ExpectNear(const RgbFrame& frame, const ReferenceFrame& reference, int tolerance) {
  ASSERT_EQ(frame.width, reference.width);
  ASSERT_EQ(frame.height, reference.height);
  int worst = 0, worst_x = 0, worst_y = 0, compared = 0, over = 0;
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < frame.width; ++x) {
      if (!reference.flat[static_cast<std::size_t>(y) * frame.width + x]) continue;
      int difference = 0;
      for (int c = 0; c < 3; ++c) {
        difference = std::max(difference, std::abs(frame.At(x, y)[c] - reference.At(x, y)[c]));
      }
      ++compared;
      if (difference > tolerance) ++over;
      if (difference > worst) worst = difference, worst_x = x, worst_y = y;
    }
  }
  EXPECT_GT(compared, frame.width * frame.height * 7 / 10) << "the reference has too few flat places";
  EXPECT_LE(over, compared / 200);
  EXPECT_LE(worst, tolerance * 3) << "at (" << worst_x << ", " << worst_y << "): is (" << +frame.At(worst_x, worst_y)[0]
                                  << ", " << +frame.At(worst_x, worst_y)[1] << ", " << +frame.At(worst_x, worst_y)[2]
                                  << "), should be (" << +reference.At(worst_x, worst_y)[0] << ", "
                                  << +reference.At(worst_x, worst_y)[1] << ", " << +reference.At(worst_x, worst_y)[2]
                                  << ")";
}

void ExpectPixel(const RgbFrame& frame, int x, int y, int r, int g, int b) {
  const std::uint8_t* pixel = frame.At(x, y);
  EXPECT_NEAR(pixel[0], r, 6) << "red at (" << x << ", " << y << ")";
  EXPECT_NEAR(pixel[1], g, 6) << "green at (" << x << ", " << y << ")";
  EXPECT_NEAR(pixel[2], b, 6) << "blue at (" << x << ", " << y << ")";
}
