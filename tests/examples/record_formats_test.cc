// Kinds of films that quarn-record makes, the pipes that it writes into, and what it says meanwhile.

#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/examples/film_sound.h"

namespace {

using Arguments = std::vector<std::string>;

Arguments operator+(Arguments left, const Arguments& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

const Arguments kScene = {"--canvas", "96x64", "--color", "#204060", "--color", "#e0a020,size=40x40"};
const Arguments kOffline = kScene + Arguments{"--fps", "10", "--duration", "0.3", "--offline"};

ReferenceFrame SceneReference() {
  return Reference(96, 64, {{0, 0, 96, 64, 0, 0x20, 0x40, 0x60, 1}, {0, 0, 40, 40, 0, 0xe0, 0xa0, 0x20, 1}});
}

class RecordFormatsTest : public SoundTest {
 protected:
  // Runs quarn-record in a shell, in which "$RECORD" is the program with the arguments.
  Ended Shell(const Arguments& arguments, const std::string& script) {
    std::string record = std::string(QUARN_BIN_DIR) + "/quarn-record";
    for (const std::string& argument : arguments) record += " '" + argument + "'";
    return Run("/bin/sh", {"-c", "record() { " + record + " \"$@\"; }; " + script});
  }

  // Decodes what FFmpeg tells the colours of.
  std::vector<RgbFrame> DecodeTagged(const std::string& film) {
    const Ended ended = Run(FFMPEG, {"-v", "error", "-nostdin", "-y", "-i", film, "-vf", "scale=flags=accurate_rnd",
                                     "-fps_mode", "passthrough", "-f", "rawvideo", "-pix_fmt", "rgb24", ".run-rgb"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    const std::string raw = ReadFile(Path(".run-rgb"));
    constexpr std::size_t kBytes = 96 * 64 * 3;
    std::vector<RgbFrame> frames;
    for (std::size_t at = 0; at + kBytes <= raw.size(); at += kBytes) {
      frames.push_back({96, 64, {raw.begin() + static_cast<long>(at), raw.begin() + static_cast<long>(at + kBytes)}});
    }
    return frames;
  }
};

TEST_F(RecordFormatsTest, EveryKindShowsTheScene) {
  const ReferenceFrame reference = SceneReference();
  for (const std::string film : {"film.gif", "film.apng"}) {
    SCOPED_TRACE(film);
    Record(kOffline + Arguments{"-o", film});
    const std::vector<RgbFrame> frames = DecodeTagged(film);
    EXPECT_EQ(frames.size(), 3u);
    for (const RgbFrame& frame : frames) ExpectNear(frame, reference, 1);
  }
  for (const std::string still : {"still.jpg", "still.tiff", "still.webp", "still.bmp", "still.jp2"}) {
    SCOPED_TRACE(still);
    Record(kScene + Arguments{"-o", still});
    const std::vector<RgbFrame> frames = DecodeTagged(still);
    ASSERT_EQ(frames.size(), 1u);
    ExpectNear(frames[0], reference, still == "still.jpg" || still == "still.webp" || still == "still.jp2" ? 6 : 1);
  }
}

// Some encoders print on their own.
TEST_F(RecordFormatsTest, EncodersKeepQuiet) {
  for (const std::string codec : {"hevc", "av1"}) {
    const Ended ended = Record(kOffline + Arguments{"--codec", codec, "-o", "film.mkv"});
    EXPECT_EQ(ended.out.rfind("film.mkv: ", 0), 0u) << ended.out;
  }
}

TEST_F(RecordFormatsTest, PicturesAreNumbered) {
  // At an odd size: nothing is halved.
  Record({"--canvas", "95x63", "--color", "#ff0000,size=20x20,drift=200:0", "--fps", "10", "--duration", "0.3",
          "--offline", "-o", "frame-%03d.png"});
  EXPECT_EQ(Files(), (Arguments{"frame-001.png", "frame-002.png", "frame-003.png"}));
  ExpectPixel(Decode("frame-001.png", 95, 63).at(0), 47, 31, 255, 0, 0);
  ExpectPixel(Decode("frame-003.png", 95, 63).at(0), 47, 31, 0, 0, 0);
  ExpectPixel(Decode("frame-003.png", 95, 63).at(0), 87, 31, 255, 0, 0);
  const Ended ended = Run("quarn-record", kOffline + Arguments{"-o", "none/frame-%d.png"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-record: cannot write none/frame-%d.png: No such file or directory\n");
}

TEST_F(RecordFormatsTest, PlaylistNamesItsSegments) {
  Record(kScene + Arguments{"--fps", "10", "--duration", "5", "--offline", "-o", "a film.m3u8"});
  EXPECT_EQ(Files(), (Arguments{"a film-00000.ts", "a film-00001.ts", "a film-00002.ts", "a film.m3u8"}));
  const std::string list = ReadFile(Path("a film.m3u8"));
  EXPECT_NE(list.find("\na film-00000.ts\n"), std::string::npos) << list;
  EXPECT_NE(list.find("\n#EXT-X-ENDLIST\n"), std::string::npos) << list;
  const std::vector<RgbFrame> frames = DecodeTagged("a film.m3u8");
  ASSERT_EQ(frames.size(), 50u);
  ExpectNear(frames.back(), SceneReference(), 12);

  std::filesystem::create_directories(Path("a.b"));
  Record(kOffline + Arguments{"--container", "hls", "-o", "a.b/film"});
  EXPECT_TRUE(std::filesystem::exists(Path("a.b/film-00000.ts")));
}

TEST_F(RecordFormatsTest, PipesGetTheFilmAndNothingElse) {
  for (const std::string container : {"y4m", "mkv", "ts", "nut", "raw"}) {
    SCOPED_TRACE(container);
    const Ended ended = Shell(kOffline, "record -o - --container " + container + " > piped");
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(ended.err.rfind("-: 96x64, 10 fps, ", 0), 0u) << ended.err;
    if (container == "raw") {
      EXPECT_EQ(ReadFile(Path("piped")).size(), 96u * 64 * 3 / 2 * 3);
      continue;
    }
    EXPECT_NE(Probe("piped").find(",96,64,10/1,3"), std::string::npos) << Probe("piped");
    if (container == "mkv" || container == "nut") continue;  // Files of them tell their length in front.
    Record(kOffline + Arguments{"-o", "film." + container});
    EXPECT_TRUE(ReadFile(Path("piped")) == ReadFile(Path("film." + container)));
  }
}

TEST_F(RecordFormatsTest, FifosAndDescriptorsAreWrittenInPlace) {
  Record(kOffline + Arguments{"-o", "film.y4m"});
  const Ended fifo =
      Shell(kOffline, "mkfifo fifo.y4m; cat fifo.y4m > got & record -o fifo.y4m; wait; test -p fifo.y4m");
  EXPECT_EQ(fifo.exit_code, 0) << fifo.err;
  EXPECT_EQ(fifo.out.rfind("fifo.y4m: 96x64", 0), 0u) << fifo.out;
  EXPECT_TRUE(ReadFile(Path("got")) == ReadFile(Path("film.y4m")));
  const std::string url = "file://" + Path("fifo.y4m");
  const Ended named = Shell(kOffline, "cat fifo.y4m > got & record -o " + url + "; wait; test -p fifo.y4m");
  EXPECT_EQ(named.exit_code, 0) << named.err;
  EXPECT_TRUE(ReadFile(Path("got")) == ReadFile(Path("film.y4m")));
  for (const std::string name : {"/dev/stdout", "/dev/fd/5"}) {
    SCOPED_TRACE(name);
    const std::string to = name == "/dev/fd/5" ? " 5> got" : " > got";
    const Ended ended = Shell(kOffline, "record --container y4m -o " + name + to);
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_TRUE(ReadFile(Path("got")) == ReadFile(Path("film.y4m")));
  }
  const Ended refused = Shell(kOffline, "record -o - --container mp4 > got");
  EXPECT_EQ(refused.exit_code, 2);
  EXPECT_EQ(refused.err,
            "quarn-record: cannot write -: mp4 needs a plain file: take --container matroska, mpegts, nut, y4m, gif or "
            "wav\n");
}

TEST_F(RecordFormatsTest, ReaderThatGoesAwayEndsTheFilm) {
  const Arguments arguments = kScene + Arguments{"--duration", "80000", "--container", "y4m", "-o", "-"};
  for (const std::string mode : {"--offline", ""}) {
    SCOPED_TRACE(mode);
    const Ended ended = Shell(arguments, "{ record " + mode + "; echo $? > code; } | head -c 50000 > got");
    EXPECT_EQ(ReadFile(Path("code")), "1\n");
    EXPECT_EQ(ended.err, "quarn-record: cannot write -: its reader went away\n");
    EXPECT_EQ(ReadFile(Path("got")).size(), 50000u);
  }
}

// The engine's chroma, and that of converted frames: each is the mean of the pixels around it, and the film says so.
TEST_F(RecordFormatsTest, ChromaLiesBetweenItsPixels) {
  for (const std::string format : {"i420", "rgba"}) {
    SCOPED_TRACE(format);
    // Blue in the columns up to 32: the chroma of 32 and 33 is in between, if it lies between them.
    Record({"--canvas", "96x64", "--color", "#ff0000", "--color", "#0000ff,size=33x64,pos=-31.5:0", "--format", format,
            "--fps", "10", "--duration", "0.1", "--offline", "-o", "film.y4m"});
    const std::string film = ReadFile(Path("film.y4m"));
    EXPECT_EQ(film.substr(0, film.find('\n')),
              "YUV4MPEG2 W96 H64 F10:1 Ip A0:0 C420jpeg XYSCSS=420JPEG "
              "XCOLORRANGE=LIMITED");
    const std::size_t u = film.find("FRAME\n") + 6 + 96 * 64;
    const auto at = [&](std::size_t column) { return static_cast<int>(static_cast<unsigned char>(film[u + column])); };
    EXPECT_EQ(at(10), 240);
    EXPECT_EQ(at(40), 102);
    EXPECT_NEAR(at(16), 171, 2);
    EXPECT_EQ(at(15), 240);
    EXPECT_EQ(at(17), 102);
  }
  Record(kOffline + Arguments{"-o", "film.mp4"});
  const Ended tags = Run(FFPROBE, {"-v", "error", "-show_entries",
                                   "stream=color_range,color_space,color_transfer,color_primaries,chroma_location",
                                   "-of", "csv=p=0", "film.mp4"});
  EXPECT_EQ(tags.out, "tv,bt709,bt709,bt709,center\n");
}

TEST_F(RecordFormatsTest, SoundAloneIsRecorded) {
  Ffmpeg("-f lavfi -i sine=440:r=48000:d=2 -ac 2 -filter:a volume=4 sine.wav");
  const Ended ended = Record({"--audio", "sine.wav", "--duration", "0.5", "-o", "sound.wav"});
  EXPECT_EQ(ended.out.rfind("sound.wav: 0.50 s\n  sound: pcm_s16le, peak 0.", 0), 0u) << ended.out;
  const FilmSound sound = DecodeSound("sound.wav");
  EXPECT_EQ(sound.rate, 48000);
  EXPECT_EQ(sound.planes[0].size(), 24000u);
  if (Underruns(ended.out) == 0) {
    // FFmpeg's tone has an eighth, and the mean power of one side on both. It is there from its first sample on.
    const double amplitude = 4 * 0.125 / std::sqrt(2.0);
    EXPECT_NEAR(sound.Tone(0, 440, 0, 0.5), amplitude, 0.005);
    EXPECT_NEAR(static_cast<double>(sound.planes[0][27]), amplitude, 0.005);
  }
  ExpectError({"--color", "#ffffff", "-o", "none.wav"}, 2,
              "there is nothing to hear in none.wav: name a sound with --audio, or a video");
}

TEST_F(RecordFormatsTest, ProgressIsTold) {
  const auto progress = [&](const std::string& how) {
    const Ended ended = Run("quarn-record", kOffline + Arguments{"--progress", how, "-o", "film.y4m"});
    EXPECT_EQ(ended.exit_code, 0);
    return ended.err;
  };
  EXPECT_EQ(progress("none"), "");
  EXPECT_EQ(progress("auto"), "");  // The error output is a file.
  const std::string bar = progress("bar");
  EXPECT_NE(bar.find(" of 3 frames, "), std::string::npos) << bar;
  std::istringstream lines(progress("lines"));
  std::string line, word;
  ASSERT_TRUE(std::getline(lines, line));
  std::istringstream words(line);
  std::string keys;
  while (words >> word) keys += word.substr(0, word.find('=') + 1);
  EXPECT_EQ(keys, "seconds=frames=of=fps=repeated=dropped=");
  EXPECT_NE(line.find(" of=3 "), std::string::npos) << line;
  ExpectError(kOffline + Arguments{"--progress", "loud", "-o", "film.y4m"}, 2,
              "--progress loud: must be auto, bar, lines or none");
}

TEST_F(RecordFormatsTest, NothingIsReplacedWhereThatIsForbidden) {
  std::ofstream(Path("film.y4m")) << "older";
  std::ofstream(Path("frame-2.png")) << "older";
  for (const std::string name : {"film.y4m", "frame-%d.png"}) {
    SCOPED_TRACE(name);
    const std::string there = name == "film.y4m" ? name : "frame-2.png";
    ExpectError(kOffline + Arguments{"--no-overwrite", "-o", name}, 2,
                there + " is there already: leave out --no-overwrite, or take another name");
    EXPECT_EQ(ReadFile(Path(there)), "older");
  }
  std::ofstream(Path("list-00000.ts")) << "older";
  for (const std::string& name : {"file://" + Path("film.y4m"), std::string("list.m3u8")}) {
    SCOPED_TRACE(name);
    const Ended ended = Run("quarn-record", kOffline + Arguments{"--no-overwrite", "-o", name});
    EXPECT_EQ(ended.exit_code, 2);
    EXPECT_NE(ended.err.find(" is there already: "), std::string::npos) << ended.err;
  }
  Record(kOffline + Arguments{"-o", "film.y4m"});
  EXPECT_NE(ReadFile(Path("film.y4m")), "older");
}

TEST_F(RecordFormatsTest, VersionsAndHelpAreTold) {
  for (const std::string program : {"quarn-record", "quarn-preview"}) {
    SCOPED_TRACE(program);
    const Ended ended = Run(program, {"--version"});
    EXPECT_EQ(ended.exit_code, 0) << ended.err;
    EXPECT_EQ(ended.out.rfind(program + " ", 0), 0u) << ended.out;
    for (const char* library : {"\n  libquarn ", "\n  libavformat ", "\n  libavcodec ", "\n  libswscale "}) {
      EXPECT_NE(ended.out.find(library), std::string::npos) << library;
    }
  }
  // Of files it names those that are installed.
  for (const std::string program : {"quarn-record", "quarn-preview"}) {
    SCOPED_TRACE(program);
    const Ended help = Run(program, {"--help"});
    EXPECT_NE(help.out.find("  " + program + " --scene scene.json"), std::string::npos) << help.out;
    EXPECT_EQ(help.out.find("examples/scenes"), std::string::npos) << help.out;
    EXPECT_NE(help.out.find("\nA scene file is a JSON object"), std::string::npos) << help.out;
    EXPECT_NE(help.out.find(" share/quarn/scenes/demo.json,"), std::string::npos) << help.out;
  }
  const Ended help = Record({"--help"});
  for (const char* word : {"\nScene:", "\nFilm:", "\nOutput:", "\nEncoding:", "\nProgram:", "--container", "--codec",
                           "--quality", "--bitrate", "--preset", "--audio-codec", "--audio-bitrate", "--faststart",
                           "--transparent", "--overwrite", "--progress", "--version"}) {
    EXPECT_NE(help.out.find(word), std::string::npos) << word;
  }
}

}  // namespace
