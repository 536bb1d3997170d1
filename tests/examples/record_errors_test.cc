// What quarn-record says when it cannot do what it is asked: one line, no film.

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/examples/example_program.h"

namespace {

class RecordErrorsTest : public ExampleTest {
 protected:
  void ExpectSceneError(const std::string& json, const std::string& line) {
    std::ofstream(Path("scene.json")) << json;
    ExpectError({"--scene", "scene.json", "-o", "film.mp4"}, 2, "scene scene.json: " + line);
  }
};

TEST_F(RecordErrorsTest, BadMedia) {
  std::ofstream(Path("text.png")) << "this is no picture";
  Ffmpeg("-f lavfi -i sine=d=0.1 sound.wav");
  ExpectError({"--picture", "none.png", "-o", "film.mp4"}, 1, "cannot open none.png: No such file or directory");
  ExpectError({"--video", "sound.wav", "-o", "film.mp4"}, 1, "cannot decode sound.wav: no picture in it");
  const Ended ended = Run("quarn-record", {"--picture", "text.png", "-o", "film.mp4"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err.rfind("quarn-record: cannot ", 0), 0u) << ended.err;
  EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
  EXPECT_EQ(Files(), (std::vector<std::string>{"sound.wav", "text.png"}));
}

TEST_F(RecordErrorsTest, BadSizes) {
  ExpectError({"--canvas", "0x90", "-o", "film.mp4"}, 2, "canvas 0x90: each side must be 1 to 8192");
  ExpectError({"--canvas", "90x99999", "-o", "film.mp4"}, 2, "canvas 90x99999: each side must be 1 to 8192");
  ExpectError({"--canvas", "big", "-o", "film.mp4"}, 2, "\"big\" is not a size such as 640x360");
  ExpectError({"--canvas", "-4x4", "-o", "film.mp4"}, 2, "\"-4x4\" is not a size such as 640x360");
  ExpectError({"--output-size", "321x180", "-o", "film.mp4"}, 2,
              "output size 321x180: films, and stills as i420 or nv12, need even sides");
  ExpectError({"--canvas", "33x33", "--format", "nv12", "-o", "still.png"}, 2,
              "output size 33x33: films, and stills as i420 or nv12, need even sides");
  ExpectError({"--canvas", "320x180", "--output-size", "320x320", "--format", "i420", "-o", "film.mp4"}, 2,
              "i420 and nv12 have green bars around a canvas of another shape: take rgba, or another size");
  ExpectError({"--color", "#000000,size=0x0", "-o", "film.mp4"}, 2,
              "layer size 0x0: each side must be 1 to 8192, or one of them 0 to follow from the other");
}

TEST_F(RecordErrorsTest, BadNumbers) {
  ExpectError({"--fps", "0", "-o", "film.mp4"}, 2,
              "\"0\" is not a frame rate: must be 1 to 1000 frames a second, or a fraction such as 30000/1001");
  ExpectError({"--duration", "0", "-o", "film.mp4"}, 2, "duration: must be above 0 and at most 86400 seconds");
  ExpectError({"--duration", "nan", "-o", "film.mp4"}, 2, "duration: must be above 0 and at most 86400 seconds");
  ExpectError({"--start", "-1", "-o", "film.mp4"}, 2, "start: must be 0 to 86400 seconds");
  ExpectError({"--color", "#000000,opacity=1.5", "-o", "film.mp4"}, 2, "layer opacity: must be 0 to 1");
  for (const std::string place : {"pos=1e30:0", "drift=0:-2e9", "rotation=1e300", "spin=1e10"}) {
    ExpectError({"--color", "#000000," + place, "-o", "film.mp4"}, 2,
                "layer pos, drift, rotation and spin: must be -1000000000 to 1000000000");
  }
  ExpectError({"--color", "#000000,z=high", "-o", "film.mp4"}, 2, "\"high\" is not a number");
  ExpectError({"--color", "#000000,z=1.5", "-o", "film.mp4"}, 2, "\"1.5\" is not a whole number");
  ExpectError({"--color", "#000000,pos=7", "-o", "film.mp4"}, 2, "\"7\" is not a pair such as -20:35");
}

TEST_F(RecordErrorsTest, BadOptions) {
  const Ended ended = Run("quarn-record", {"--colour", "#000000", "-o", "film.mp4"});
  EXPECT_EQ(ended.exit_code, 2);
  EXPECT_EQ(ended.err, "quarn-record: unknown option \"--colour\" (--help lists them all)\n");
  for (const std::string word : {"film.mp4", "-", "-5"}) {
    ExpectError({word}, 2, "unexpected argument \"" + word + "\" (--help tells what goes)");
  }
  ExpectError({"--", "-x"}, 2, "unexpected argument \"-x\" (--help tells what goes)");
  ExpectError({"film.mp4", "--colour=red"}, 2, "unknown option \"--colour\" (--help lists them all)");
  ExpectError({"--color", "#000000"}, 2, "no output: name one with -o FILE or -o URL");
  ExpectError({"--color", "red", "-o", "film.mp4"}, 2, "\"red\" is not a colour such as #ff8000 or #ff800080");
  ExpectError({"--format", "yuy2", "-o", "film.mp4"}, 2,
              "unknown format \"yuy2\": there are i420, nv12, rgba and bgra");
  ExpectError({"--color", "#000000,filter=blur", "-o", "film.mp4"}, 2,
              "unknown layer option \"filter\" (a comma in a file's name is written \\,)");
  ExpectError({"--picture", "a.png,filter=sepia", "-o", "film.mp4"}, 2,
              "unknown filter \"sepia\": there are none, blur and grey");
  ExpectError({"--picture", "a.png,loop", "-o", "film.mp4"}, 2,
              "unknown layer option \"loop\" (a comma in a file's name is written \\,)");
  ExpectError({"--picture", ",z=1", "-o", "film.mp4"}, 2, "layer \",z=1\": no file is named");
}

TEST_F(RecordErrorsTest, BadLayers) {
  const std::string of_file = " (a comma in a file's name is written \\,)",
                    of_text = " (a comma in a text is written \\,)";
  const std::tuple<std::string, std::string, std::string> kCases[] = {
      {"--picture", "a.png,crop=1:2:3", "\"1:2:3\" is no crop such as 10:0:10:0 (left, top, right, bottom)"},
      {"--picture", "a.png,crop=1:2:3:-4", "\"1:2:3:-4\" is no crop such as 10:0:10:0 (left, top, right, bottom)"},
      {"--color", "#000000,crop=1:2:3:4", "unknown layer option \"crop\"" + of_file},
      {"--color", "#000000,fade=2", "\"2\" is no fade such as 1:0.5 (seconds of appearing, of going)"},
      {"--color", "#000000,fade=-1:0", "layer fade: must be 0 to 86400 seconds"},
      {"--text", "", "layer text: there is none"},
      {"--text", " \\n ,height=20", "layer text: there is none"},
      {"--text", "a,height=0", "layer height: letters must be 1 to 2000 pixels"},
      {"--text", "a,height=2001", "layer height: letters must be 1 to 2000 pixels"},
      {"--text", std::string(10001, 'a'), "layer text: must be at most 10000 bytes"},
      {"--text", "a\xff", "layer text: is not UTF-8"},
      {"--text", "a,align=top", "unknown alignment \"top\": there are left, center and right"},
      {"--text", "Hello, world", "unknown layer option \" world\"" + of_text}};
  for (const auto& [option, layer, line] : kCases) ExpectError({option, layer, "-o", "x.png"}, 2, line);
}

TEST_F(RecordErrorsTest, BadBitRates) {
  for (const std::string option : {"--bitrate", "--audio-bitrate"}) {
    ExpectError({option, "12Q", "-o", "film.mp4"}, 2, option + " 12Q: is no rate such as 800k or 6M");
    ExpectError({option, "5", "-o", "film.mp4"}, 2, "bit rate: must be 1k to 1000M");
  }
}

TEST_F(RecordErrorsTest, BadOutputs) {
  ExpectError(
      {"-o", "film.unknown"}, 2,
      "cannot tell the kind of film from the name film.unknown: it ends in .mp4, .mkv, .webm, .gif, .png or the like");
  ExpectError({"-o", "none/film.mp4"}, 1, "cannot write none/film.mp4: No such file or directory");
  std::filesystem::create_directory(Path("folder.mp4"));
  ExpectError({"-o", "folder.mp4"}, 1, "cannot write folder.mp4: it is not a plain file");
  // In FFmpeg's words, which tell what it is that does not fit.
  const std::string line = "quarn-record: cannot write film.mov: Invalid argument (";
  const Ended ended =
      Run("quarn-record", {"--color", "#000000", "--codec", "vp9", "-o", "film.mov", "--duration", "1"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err.substr(0, line.size()), line);
  EXPECT_NE(ended.err.find("vp9", line.size()), std::string::npos) << ended.err;
}

TEST_F(RecordErrorsTest, FailureKeepsAnOlderFilm) {
  std::ofstream(Path("film.mp4")) << "older";
  ExpectError({"--picture", "none.png", "-o", "film.mp4"}, 1, "cannot open none.png: No such file or directory");
  EXPECT_EQ(ReadFile(Path("film.mp4")), "older");
}

TEST_F(RecordErrorsTest, SwitchesTakeNoValueAndTheLastOneCounts) {
  std::ofstream(Path("still.png")) << "older";
  for (const std::string given : {"--overwrite=false", "--overwrite=0", "--no-overwrite=false", "--faststart=false"}) {
    const Ended ended = Run("quarn-record", {"--canvas", "32x32", given, "-o", "still.png"});
    EXPECT_EQ(ended.exit_code, 2) << given;
    EXPECT_NE(ended.err.find(given.substr(2, given.find('=') - 2)), std::string::npos) << ended.err;
    EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    EXPECT_EQ(ReadFile(Path("still.png")), "older") << given;
  }
  ExpectError({"--canvas", "32x32", "--overwrite", "--no-overwrite", "-o", "still.png"}, 2,
              "still.png is there already: leave out --no-overwrite, or take another name");
  EXPECT_EQ(ReadFile(Path("still.png")), "older");
  Record({"--canvas", "32x32", "--no-overwrite", "--overwrite", "-o", "still.png"});
  EXPECT_NE(ReadFile(Path("still.png")), "older");
}

TEST_F(RecordErrorsTest, FullDiskLeavesNoFilmWithoutAPicture) {
  const Ended ended =
      RunOnFullDisk(100, "quarn-record", {"--canvas", "320x180", "--duration", "2", "--offline", "-o", "film.y4m"});
  EXPECT_EQ(ended.exit_code, 1);
  EXPECT_EQ(ended.err, "quarn-record: cannot write film.y4m: File too large\n");
  EXPECT_TRUE(Files().empty());
}

TEST_F(RecordErrorsTest, BadSounds) {
  std::ofstream(Path("text.wav")) << "this is no sound";
  Ffmpeg("-f lavfi -i sine=d=0.1 sound.wav");
  Ffmpeg("-f lavfi -i color=red:s=8x8 -frames:v 1 picture.png");
  ExpectError({"--audio", "none.wav", "-o", "film.mp4"}, 1, "cannot open none.wav: No such file or directory");
  ExpectError({"--audio", "text.wav", "-o", "film.mp4"}, 1,
              "cannot open text.wav: Invalid data found when processing input");
  ExpectError({"--audio", "picture.png", "-o", "film.mp4"}, 1, "cannot decode picture.png: no sound in it");
  ExpectError({"--audio", "", "-o", "film.mp4"}, 2, "audio \"\": no file is named");
  ExpectError({"--audio", "@0.5", "-o", "film.mp4"}, 2, "audio \"@0.5\": no file is named");
  ExpectError({"--audio", "a.wav@loud", "-o", "film.mp4"}, 2,
              "audio \"a.wav@loud\": \"loud\" is not a number (an @ in a file's name is written \\@)");
  ExpectError({"--audio", "a.wav@", "-o", "film.mp4"}, 2,
              "audio \"a.wav@\": \"\" is not a number (an @ in a file's name is written \\@)");
  ExpectError({"--audio", "a.wav@1,soon", "-o", "film.mp4"}, 2,
              "audio \"a.wav@1,soon\": \"soon\" is not a number (an @ in a file's name is written \\@)");
  ExpectError({"--audio", "me@home.wav@1", "-o", "film.mp4"}, 2,
              "audio \"me@home.wav@1\": \"home.wav@1\" is not a number (an @ in a file's name is written \\@)");
  ExpectError({"--audio", "a.wav@-1", "-o", "film.mp4"}, 2, "audio gain: must be 0 to 100");
  ExpectError({"--audio", "a.wav@101", "-o", "film.mp4"}, 2, "audio gain: must be 0 to 100");
  ExpectError({"--audio", "a.wav@1,-1", "-o", "film.mp4"}, 2, "audio start: must be 0 to 86400 seconds");
  ExpectError({"--video", "a.mp4,volume=-1", "-o", "film.mp4"}, 2, "layer volume: must be 0 to 100");
  ExpectError({"--picture", "a.png,volume=1", "-o", "film.mp4"}, 2,
              "unknown layer option \"volume\" (a comma in a file's name is written \\,)");
}

TEST_F(RecordErrorsTest, SoundsOfFilmsThatHaveNone) {
  Ffmpeg("-f lavfi -i sine=d=0.1 sound.wav");
  ExpectError({"--audio", "sound.wav", "-o", "still.png"}, 2, "a still has no sound: leave out --audio");
  ExpectError({"--audio", "sound.wav", "-o", "film.y4m"}, 2,
              "cannot write film.y4m: this kind of film has no sound: leave out --audio");
}

TEST_F(RecordErrorsTest, BadSceneFiles) {
  ExpectError({"--scene", "none.json", "-o", "film.mp4"}, 1, "cannot read scene none.json: No such file or directory");
  std::filesystem::create_directory(Path("folder.json"));
  ExpectError({"--scene", "folder.json", "-o", "film.mp4"}, 1, "cannot read scene folder.json: Is a directory");
  std::ofstream(Path("scene.json")) << "[";
  const std::string place = "quarn-record: scene scene.json: parse error at line 1, column 2: ";
  EXPECT_EQ(Run("quarn-record", {"--scene", "scene.json", "-o", "film.mp4"}).err.substr(0, place.size()), place);
  ExpectSceneError("[]", "must hold an object");
  ExpectSceneError(R"({"size": [1, 2]})",
                   "size: unknown key: there are canvas, output_size, fps, duration, audio and layers");
  ExpectSceneError(R"({"canvas": "wide"})", "canvas: must be a pair of numbers such as [16, 9]");
  ExpectSceneError(R"({"canvas": [320.5, 180]})", "canvas: must be a pair of whole numbers such as [640, 360]");
  ExpectSceneError(R"({"fps": true})", "fps: must be a number");
  ExpectSceneError(
      R"({"fps": -1})",
      "fps: \"-1\" is not a frame rate: must be 1 to 1000 frames a second, or a fraction such as 30000/1001");
  ExpectSceneError(R"({"fps": "30/"})", "fps: \"\" is not a number");
  ExpectSceneError(R"({"duration": "long"})", "duration: must be a number");
  ExpectSceneError(R"({"layers": {}})", "layers: must be a list");
  ExpectSceneError(R"({"layers": [7]})", "layers[0]: must be an object");
  ExpectSceneError(R"({"layers": [{"z": 1}]})",
                   "layers[0]: must have one of \"color\", \"picture\", \"video\" and \"text\"");
  ExpectSceneError(
      R"({"layers": [{"color": "#000000", "tint": 1}]})",
      "layers[0].tint: unknown key: there are color, picture, video, text, pos, size, rotation, z, opacity, "
      "spin, drift, filter, crop, fade, visible, name, locked, loop, volume, track, trim, deinterlace, font, "
      "height and align");
  ExpectSceneError(R"({"layers": [{"color": 7}]})", "layers[0].color: must be a text");
  ExpectSceneError(R"({"layers": [{"color": "red"}]})",
                   "layers[0].color: \"red\" is not a colour such as #ff8000 or #ff800080");
  ExpectSceneError(R"({"layers": [{"picture": ""}]})", "layers[0].picture: no file is named");
  ExpectSceneError(R"({"layers": [{"color": "#000000", "filter": "blur"}]})", "layers[0]: a colour takes no filter");
  ExpectSceneError(R"({"layers": [{"color": "#000000", "loop": true}]})", "layers[0]: only a video loops");
  ExpectSceneError(R"({"layers": [{"video": "a.mp4", "loop": 1}]})", "layers[0].loop: must be true or false");

  ExpectSceneError(R"({"layers": [{"color": "#000000", "volume": 0.5}]})", "layers[0]: only a video has a volume");
  ExpectSceneError(R"({"layers": [{"video": "a.mp4", "volume": "low"}]})", "layers[0].volume: must be a number");
  ExpectSceneError(R"({"audio": {}})", "audio: must be a list");
  ExpectSceneError(R"({"audio": ["a.wav"]})", "audio[0]: must be an object");
  ExpectSceneError(R"({"audio": [{"gain": 1}]})", "audio[0]: must have a \"file\"");
  ExpectSceneError(R"({"audio": [{"file": ""}]})", "audio[0].file: no file is named");
  ExpectSceneError(R"({"audio": [{"file": "a.wav", "gain": "loud"}]})", "audio[0].gain: must be a number");
  ExpectSceneError(R"({"audio": [{"file": "a.wav", "pan": 1}]})",
                   "audio[0].pan: unknown key: there are file, gain, start, track, trim and fade");

  std::ofstream(Path("scene.json")) << "{\"fps\": 30,\n  oops}";
  const Ended ended = Run("quarn-record", {"--scene", "scene.json", "-o", "film.mp4"});
  EXPECT_EQ(ended.exit_code, 2);
  EXPECT_NE(ended.err.find("line 2"), std::string::npos) << ended.err;
  EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
}

}  // namespace
