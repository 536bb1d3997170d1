// Films and stills of quarn-record, judged by FFmpeg's tools and a plain CPU reference.

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/examples/example_program.h"

namespace {

using Arguments = std::vector<std::string>;

// A scene of overlapping, turned and half-transparent rectangles, and its reference.
const Arguments kScene = {"--canvas", "320x180",
                          "--color",  "#204060",
                          "--color",  "#e0a020,size=120x80,pos=-70:-20,rotation=30",
                          "--color",  "#c03050,size=140x60,pos=20:25,opacity=0.5",
                          "--color",  "#20c080,size=60x120,pos=100:0,rotation=-10,opacity=0.75"};

ReferenceFrame SceneReference() {
  return Reference(320, 180,
                   {{0, 0, 320, 180, 0, 0x20, 0x40, 0x60, 1},
                    {-70, -20, 120, 80, 30, 0xe0, 0xa0, 0x20, 1},
                    {20, 25, 140, 60, 0, 0xc0, 0x30, 0x50, 0.5},
                    {100, 0, 60, 120, -10, 0x20, 0xc0, 0x80, 0.75}});
}

Arguments operator+(Arguments left, const Arguments& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

class RecordTest : public ExampleTest {
 protected:
  // A second of red, then a second of green, ten pictures a second, at an odd size.
  void MakeClip() {
    Ffmpeg(
        "-f lavfi -i color=red:s=67x51:r=10:d=1 -f lavfi -i color=lime:s=67x51:r=10:d=1 -filter_complex "
        "concat,scale=out_color_matrix=bt709,format=yuv444p -c:v libx264 -crf 10 -color_range tv -colorspace bt709 "
        "clip.mp4");
  }
};

// One frame each time, live and offline; and what is delivered lies on the places that the rate has.
TEST_F(RecordTest, RatesOfTelevisionAreExact) {
  const Ended offline =
      Record(kScene + Arguments{"--duration", "2", "--fps", "29.97", "--offline", "-o", "offline.mp4"});
  EXPECT_NE(offline.out.find("offline.mp4: 320x180, 30000/1001 fps, "), std::string::npos) << offline.out;
  EXPECT_NE(Probe("offline.mp4").find(",320,180,30000/1001,60"), std::string::npos) << Probe("offline.mp4");

  const Ended live = Record(kScene + Arguments{"--duration", "2", "--fps", "24000/1001", "-o", "live.mp4"});
  if (live.out.find("0 dropped by the host") != std::string::npos) {
    EXPECT_NE(Probe("live.mp4").find(",320,180,24000/1001,48"), std::string::npos) << Probe("live.mp4");
  }
}

TEST_F(RecordTest, FilmIsWholeAndShowsTheScene) {
  const Ended ended = Record(kScene + Arguments{"--duration", "1", "--fps", "30", "-o", "film.mp4"});
  EXPECT_NE(ended.out.find("film.mp4: 320x180, 30 fps, "), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("frames: 30 delivered, "), std::string::npos) << ended.out;
  EXPECT_NE(ended.out.find("ms a frame: tick "), std::string::npos) << ended.out;
  EXPECT_EQ(Files(), std::vector<std::string>{"film.mp4"});

  const std::string probed = Probe("film.mp4");
  if (ended.out.find("0 dropped by the host") != std::string::npos) {
    EXPECT_NE(probed.find(",320,180,30/1,30"), std::string::npos) << probed;
  }
  const ReferenceFrame reference = SceneReference();
  const std::vector<RgbFrame> frames = Decode("film.mp4", 320, 180);
  ASSERT_FALSE(frames.empty());
  for (const RgbFrame& frame : frames) ExpectNear(frame, reference, 12);
}

TEST_F(RecordTest, OfflineFilmHasEveryFrameExactlyOnce) {
  const Ended ended = Record(kScene + Arguments{"--duration", "1.5", "--fps", "24", "--offline", "-o", "film.mp4"});
  EXPECT_NE(ended.out.find("frames: 36 delivered, 0 repeated, 0 dropped by the host"), std::string::npos) << ended.out;
  const std::string probed = Probe("film.mp4");
  EXPECT_NE(probed.find(",320,180,24/1,36"), std::string::npos) << probed;
  const ReferenceFrame reference = SceneReference();
  for (const RgbFrame& frame : Decode("film.mp4", 320, 180)) ExpectNear(frame, reference, 12);
}

TEST_F(RecordTest, EveryFormatShowsTheSamePicture) {
  const ReferenceFrame reference = SceneReference();
  for (const std::string format : {"i420", "nv12", "rgba", "bgra"}) {
    SCOPED_TRACE(format);
    for (const std::string film : {"film.y4m", "film.mp4"}) {
      SCOPED_TRACE(film);
      Record(kScene + Arguments{"--duration", "0.1", "--offline", "--format", format, "-o", film});
      const std::vector<RgbFrame> frames = Decode(film, 320, 180);
      EXPECT_EQ(frames.size(), 3u);
      for (const RgbFrame& frame : frames) ExpectNear(frame, reference, film == "film.y4m" ? 4 : 12);
    }
    const std::string still = format + ".png";
    Record(kScene + Arguments{"--format", format, "-o", still});
    const std::vector<RgbFrame> frames = Decode(still, 320, 180);
    ASSERT_EQ(frames.size(), 1u);
    ExpectNear(frames[0], reference, format == "rgba" || format == "bgra" ? 1 : 4);
  }
}

TEST_F(RecordTest, OfflineFilmIsTheSameBytesOnEveryRun) {
  MakeClip();
  Ffmpeg("-f lavfi -i testsrc2=s=120x90 -frames:v 1 picture.png");
  for (const std::string film : {"film.y4m", "film.mp4"}) {
    SCOPED_TRACE(film);
    const Arguments arguments = {"--canvas",   "320x180",
                                 "--video",    "clip.mp4,size=320x180,filter=blur,loop",
                                 "--picture",  "picture.png,spin=90,drift=30:0,filter=grey",
                                 "--video",    "clip.mp4,pos=100:40,spin=-45",
                                 "--duration", "1",
                                 "--fps",      "15",
                                 "--offline",  "-o",
                                 film};
    Record(arguments);
    const std::string first = ReadFile(Path(film));
    Record(arguments);
    EXPECT_FALSE(first.empty());
    EXPECT_TRUE(first == ReadFile(Path(film)));
  }
}

TEST_F(RecordTest, StillIsOpaqueAndOfAnySize) {
  Record({"--canvas", "321x181", "--color", "#ff0000,opacity=0.5", "-o", "still.png"});
  const Ended probed = Run(FFPROBE, {"-v", "error", "-show_entries", "stream=codec_name,width,height,pix_fmt", "-of",
                                     "csv=p=0", "still.png"});
  EXPECT_EQ(probed.out, "png,321,181,rgb24\n");
  const std::vector<RgbFrame> frames = Decode("still.png", 321, 181);
  ASSERT_EQ(frames.size(), 1u);
  ExpectNear(frames[0], Reference(321, 181, {{0, 0, 321, 181, 0, 255, 0, 0, 0.5}}), 1);
}

TEST_F(RecordTest, CanvasOfAnotherShapeIsFittedBetweenBlackBars) {
  Record({"--canvas", "320x180", "--color", "#00ff00", "--output-size", "160x160", "--duration", "0.1", "--offline",
          "-o", "film.y4m"});
  const std::vector<RgbFrame> frames = Decode("film.y4m", 160, 160);
  ASSERT_EQ(frames.size(), 3u);
  ExpectNear(frames[0], Reference(160, 160, {{0, 0, 160, 90, 0, 0, 255, 0, 1}}), 4);
}

TEST_F(RecordTest, LayersLieInTheOrderGivenUnlessZSaysOtherwise) {
  const Arguments head = {"--canvas", "64x64"};
  Ffmpeg("-f lavfi -i color=blue:s=64x64 -frames:v 1 blue.png");
  Record(head + Arguments{"--picture", "blue.png", "--color", "#ff0000", "-o", "a.png"});
  ExpectPixel(Decode("a.png", 64, 64)[0], 32, 32, 255, 0, 0);
  Record(head + Arguments{"--color", "#ff0000", "--picture", "blue.png", "-o", "b.png"});
  ExpectPixel(Decode("b.png", 64, 64)[0], 32, 32, 0, 0, 255);
  Record(head + Arguments{"--color", "#ff0000,z=1", "--picture", "blue.png", "-o", "c.png"});
  ExpectPixel(Decode("c.png", 64, 64)[0], 32, 32, 255, 0, 0);
}

TEST_F(RecordTest, HiddenLayersAreNotShown) {
  Record({"--canvas", "64x32", "--color", "#204060", "--color", "#ff0000,hidden", "-o", "still.png"});
  ExpectNear(Decode("still.png", 64, 32).at(0), Reference(64, 32, {{0, 0, 64, 32, 0, 0x20, 0x40, 0x60, 1}}), 1);
  std::ofstream(Path("scene.json")) << R"({"canvas": [64, 32], "layers": [
    {"color": "#204060", "visible": true}, {"color": "#ff0000", "visible": false}]})";
  Record({"--scene", "scene.json", "-o", "other.png"});
  EXPECT_TRUE(ReadFile(Path("other.png")) == ReadFile(Path("still.png")));
}

TEST_F(RecordTest, VideoKeepsItsOwnTime) {
  MakeClip();
  const Arguments head = {"--canvas", "80x60", "--fps", "20", "--duration", "3", "--offline"};
  Record(head + Arguments{"--video", "clip.mp4", "-o", "once.y4m"});
  Record(head + Arguments{"--video", "clip.mp4,loop", "-o", "loop.y4m"});
  const std::vector<RgbFrame> once = Decode("once.y4m", 80, 60);
  const std::vector<RgbFrame> loop = Decode("loop.y4m", 80, 60);
  ASSERT_EQ(once.size(), 60u);
  ASSERT_EQ(loop.size(), 60u);
  for (int i = 0; i < 60; ++i) {
    SCOPED_TRACE(i);
    ExpectPixel(once[i], 40, 30, i < 20 ? 255 : 0, i < 20 ? 0 : 255, 0);
    ExpectPixel(loop[i], 40, 30, i < 20 || i >= 40 ? 255 : 0, i < 20 || i >= 40 ? 0 : 255, 0);
    ExpectPixel(once[i], 2, 30, 0, 0, 0);  // The clip is 67 pixels wide.
  }
}

TEST_F(RecordTest, VideoPlaysInRealTime) {
  MakeClip();
  Record({"--canvas", "80x60", "--fps", "20", "--duration", "2", "--video", "clip.mp4", "-o", "film.y4m"});
  const std::vector<RgbFrame> frames = Decode("film.y4m", 80, 60);
  ASSERT_EQ(frames.size(), 40u);
  ExpectPixel(frames.front(), 40, 30, 255, 0, 0);
  ExpectPixel(frames.back(), 40, 30, 0, 255, 0);
}

TEST_F(RecordTest, StartIsTheSceneTimeOfTheFirstFrame) {
  MakeClip();
  Record({"--canvas", "80x60", "--video", "clip.mp4", "--start", "1.5", "-o", "still.png"});
  ExpectPixel(Decode("still.png", 80, 60)[0], 40, 30, 0, 255, 0);
}

TEST_F(RecordTest, LayersMoveAndTurnWithTime) {
  Record({"--canvas", "100x100", "--color", "#ffffff,size=20x60,spin=90,drift=20:-10", "--start", "1", "-o", "a.png"});
  ExpectNear(Decode("a.png", 100, 100)[0], Reference(100, 100, {{20, -10, 60, 20, 0, 255, 255, 255, 1}}), 1);
}

TEST_F(RecordTest, TransparentPicturesShowWhatLiesBehind) {
  // Its left half is transparent.
  Ffmpeg("-f lavfi -i color=white:s=80x40,format=rgba,geq=r=255:g=255:b=255:a=255*gte(X\\,40) -frames:v 1 half.png");
  for (const std::string filter : {"none", "grey"}) {
    SCOPED_TRACE(filter);
    Record({"--canvas", "80x40", "--color", "#0000ff", "--picture", "half.png,filter=" + filter, "-o", "still.png"});
    const RgbFrame frame = Decode("still.png", 80, 40)[0];
    ExpectPixel(frame, 10, 20, 0, 0, 255);
    ExpectPixel(frame, 70, 20, 255, 255, 255);
  }
}

TEST_F(RecordTest, FiltersChangeThePicture) {
  Ffmpeg("-f lavfi -i color=red:s=80x80 -frames:v 1 red.png");
  Record({"--canvas", "80x80", "--picture", "red.png,filter=grey", "-o", "grey.png"});
  ExpectPixel(Decode("grey.png", 80, 80)[0], 40, 40, 54, 54, 54);

  // Red above, blue below: blurred, the border is in between, and what is far from it stays.
  Ffmpeg("-f lavfi -i color=red:s=80x40 -f lavfi -i color=blue:s=80x40 -filter_complex vstack -frames:v 1 two.png");
  Record({"--canvas", "80x80", "--picture", "two.png,filter=blur", "-o", "blur.png"});
  const RgbFrame blurred = Decode("blur.png", 80, 80)[0];
  ExpectPixel(blurred, 40, 10, 255, 0, 0);
  ExpectPixel(blurred, 40, 70, 0, 0, 255);
  EXPECT_NEAR(blurred.At(40, 40)[0], 128, 40);
  EXPECT_NEAR(blurred.At(40, 40)[2], 128, 40);
}

TEST_F(RecordTest, StillsAreFilteredInEveryFrame) {
  Ffmpeg("-f lavfi -i color=red:s=80x80 -frames:v 1 red.png");
  Record({"--canvas", "80x80", "--picture", "red.png,filter=grey", "--duration", "0.2", "--offline", "-o", "f.y4m"});
  const std::vector<RgbFrame> frames = Decode("f.y4m", 80, 80);
  ASSERT_EQ(frames.size(), 6u);
  for (const RgbFrame& frame : frames) ExpectPixel(frame, 40, 40, 54, 54, 54);
}

TEST_F(RecordTest, PhotosAreTakenAsTheyAre) {
  // Larger than any screen, drawn at its own size; and shrunk, from a name with a comma, a colon and a space.
  Ffmpeg("-f lavfi -i color=0x3070b0:s=8000x6000 -frames:v 1 -q:v 2 big.jpg");
  std::filesystem::rename(Path("big.jpg"), Path("my: big, photo.jpg"));
  Record({"--canvas", "160x120", "--picture", "my: big\\, photo.jpg", "-o", "own.png"});
  ExpectPixel(Decode("own.png", 160, 120)[0], 80, 60, 0x30, 0x70, 0xb0);
  Record({"--canvas", "160x120", "--picture", "my: big\\, photo.jpg,size=80x0", "-o", "small.png"});
  const RgbFrame frame = Decode("small.png", 160, 120)[0];
  ExpectPixel(frame, 80, 60, 0x30, 0x70, 0xb0);
  ExpectPixel(frame, 42, 60, 0x30, 0x70, 0xb0);
  ExpectPixel(frame, 37, 60, 0, 0, 0);
  ExpectPixel(frame, 80, 27, 0, 0, 0);
}

TEST_F(RecordTest, VideosHeldSidewaysStandUpright) {
  // Red above, blue below; shown turned by a quarter clockwise, red is on the right.
  Ffmpeg(
      "-f lavfi -i color=red:s=80x40:d=0.2 -f lavfi -i color=blue:s=80x40:d=0.2 -filter_complex vstack -c:v libx264 "
      "-pix_fmt yuv420p flat.mp4");
  Ffmpeg("-i flat.mp4 -c copy -metadata:s:v rotate=270 turned.mp4");
  const Ended tags =
      Run(FFPROBE, {"-v", "error", "-show_entries", "stream_side_data=rotation", "-of", "csv=p=0", "turned.mp4"});
  if (tags.out.find("90") == std::string::npos) GTEST_SKIP() << "this ffmpeg does not write the tag";
  Record({"--canvas", "80x80", "--video", "turned.mp4", "-o", "still.png"});
  const RgbFrame frame = Decode("still.png", 80, 80)[0];
  const bool clockwise = tags.out.find("-90") != std::string::npos;
  ExpectPixel(frame, clockwise ? 70 : 10, 40, 254, 0, 0);
  ExpectPixel(frame, clockwise ? 10 : 70, 40, 0, 0, 254);
}

TEST_F(RecordTest, SceneFileDoesWhatTheOptionsDo) {
  std::filesystem::create_directory(Path("scene"));
  Ffmpeg("-f lavfi -i testsrc2=s=120x90 -frames:v 1 scene/picture.png");
  std::ofstream(Path("scene/scene.json")) << R"({
    "canvas": [160, 90], "output_size": [320, 180], "fps": 10, "duration": 0.5,
    "layers": [
      {"color": "#204060"},
      {"picture": "picture.png", "size": [60, 0], "pos": [-20, 5], "rotation": 15, "opacity": 0.5, "spin": 10,
       "drift": [3, 4], "z": 2, "filter": "grey"},
      {"color": "#ff8000", "size": [50, 20], "z": 1}
    ]
  })";
  Record({"--scene", "scene/scene.json", "--offline", "-o", "a.y4m"});
  Record({"--canvas", "160x90", "--output-size", "320x180", "--fps", "10", "--duration", "0.5", "--color", "#204060",
          "--picture",
          "scene/picture.png,size=60x0,pos=-20:5,rotation=15,opacity=0.5,spin=10,drift=3:4,z=2,filter=grey", "--color",
          "#ff8000,size=50x20,z=1", "--offline", "-o", "b.y4m"});
  EXPECT_EQ(Probe("a.y4m"), "rawvideo,320,180,10/1,5");
  EXPECT_TRUE(ReadFile(Path("a.y4m")) == ReadFile(Path("b.y4m")));
  // Options win over the file.
  Record({"--scene", "scene/scene.json", "--fps", "20", "--offline", "-o", "c.y4m"});
  EXPECT_EQ(Probe("c.y4m"), "rawvideo,320,180,20/1,10");
}

TEST_F(RecordTest, DemoSceneIsMade) {
  const std::string scene = std::string(QUARN_EXAMPLES_DIR) + "/scenes/demo.json";
  Record({"--scene", scene, "--output-size", "320x180", "--duration", "0.2", "--offline", "-o", "demo.mp4"});
  EXPECT_NE(Probe("demo.mp4").find(",320,180,30/1,6"), std::string::npos);
}

TEST_F(RecordTest, InterruptedFilmIsFinished) {
  const pid_t pid = Start("quarn-record", kScene + Arguments{"--duration", "600", "-o", "film.y4m"});
  // The file grows by a frame at a time.
  std::error_code error;
  const auto started = [&] {
    const std::vector<std::string> files = Files();
    return !files.empty() && std::filesystem::file_size(Path(files[0]), error) > 100000 && !error;
  };
  for (int i = 0; i < 6000 && !started(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  kill(pid, SIGINT);
  const Ended ended = Wait(pid);
  EXPECT_EQ(ended.exit_code, 0);
  EXPECT_EQ(ended.err, "");
  EXPECT_NE(ended.out.find("ended early"), std::string::npos) << ended.out;
  EXPECT_EQ(Files(), std::vector<std::string>{"film.y4m"});
  EXPECT_NE(Probe("film.y4m").find("rawvideo,320,180,30/1,"), std::string::npos);
  const std::vector<RgbFrame> frames = Decode("film.y4m", 320, 180);
  ASSERT_FALSE(frames.empty());
  ExpectNear(frames.back(), SceneReference(), 4);
}

TEST_F(RecordTest, ProgressIsShownOnTerminalsOnly) {
  const Arguments arguments = kScene + Arguments{"--duration", "0.5", "--offline", "-o", "film.mp4"};
  Record(arguments);  // Silent: the error output is a file.

  int terminal = -1, program_side = -1;
  char name[64];
  ASSERT_EQ(openpty(&terminal, &program_side, name, nullptr, nullptr), 0);
  std::string command = std::string(QUARN_BIN_DIR) + "/quarn-record";
  for (const std::string& argument : arguments) command += " '" + argument + "'";
  EXPECT_EQ(Run("/bin/sh", {"-c", command + " 2>" + name}).exit_code, 0);
  fcntl(terminal, F_SETFL, O_NONBLOCK);
  char text[4096] = "";
  EXPECT_GT(read(terminal, text, sizeof(text) - 1), 0);
  EXPECT_NE(std::string(text).find(" of 15 frames, "), std::string::npos) << text;
  close(program_side);
  close(terminal);
}

TEST_F(RecordTest, HelpTellsAboutLayers) {
  const Ended ended = Record({"--help"});
  for (const char* word :
       {"--picture", "--video", "--color", "--audio", "--offline", "volume=V", "pos=X:Y", "opacity=A", "filter=F"}) {
    EXPECT_NE(ended.out.find(word), std::string::npos) << word;
  }
}

}  // namespace
