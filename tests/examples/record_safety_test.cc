// That quarn-record loses nothing: neither what was there before, nor what it has recorded when things go wrong.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/examples/example_program.h"

namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

class RecordSafetyTest : public ExampleTest {
 protected:
  // What no encoder makes small: some 17 KB a picture, of which there are only six a second.
  Arguments Noise() {
    Ffmpeg("-f lavfi -i nullsrc=s=320x180,geq=random(1)*255:128:128 -frames:v 1 noise.png");
    return {"--canvas", "320x180", "--fps", "6", "--picture", "noise.png,spin=4000"};
  }

  // The files that films are written to before they are complete.
  std::vector<std::string> Parts() const {
    std::vector<std::string> parts;
    for (const std::string& name : Files()) {
      if (fs::path(name).extension() == ".part") parts.push_back(name);
    }
    return parts;
  }

  // Waits until a film has `bytes` on the disk, and returns the name of its file.
  std::string WaitForPart(std::uintmax_t bytes) {
    for (int i = 0; i < 12000; ++i) {
      std::error_code error;
      const std::vector<std::string> parts = Parts();
      if (!parts.empty() && fs::file_size(Path(parts[0]), error) > bytes && !error) return parts[0];
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ADD_FAILURE() << "no film of " << bytes << " bytes";
    return "";
  }

  // How many pictures of a film can be decoded.
  int Frames(const std::string& film) {
    const std::string probed = Probe(film);
    const std::string::size_type comma = probed.rfind(',');
    return comma == std::string::npos ? 0 : std::atoi(probed.c_str() + comma + 1);
  }

  void ExpectRefused(const Arguments& arguments, const std::string& line) { ExpectError(arguments, 2, line); }
};

Arguments operator+(Arguments left, const Arguments& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

TEST_F(RecordSafetyTest, NoFilmIsWrittenOverWhatItIsMadeOf) {
  Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10:d=0.3 -f lavfi -i sine=d=0.3 clip.mkv");
  const std::string clip = ReadFile(Path("clip.mkv"));
  fs::create_symlink("clip.mkv", Path("soft.mkv"));
  fs::create_hard_link(Path("clip.mkv"), Path("hard.mkv"));
  for (const std::string name : {"clip.mkv", "./clip.mkv", "soft.mkv", "hard.mkv"}) {
    SCOPED_TRACE(name);
    ExpectRefused({"--canvas", "32x32", "--video", "clip.mkv", "-o", name},
                  "cannot write " + name + ": the scene reads it");
  }
  const std::string url = "file://" + Path("clip.mkv");
  ExpectRefused({"--video", "hard.mkv", "-o", url}, "cannot write " + url + ": the scene reads it");
  ExpectRefused({"--video", "soft.mkv,hidden", "-o", "clip.mkv"}, "cannot write clip.mkv: the scene reads it");
  ExpectRefused({"--audio", "clip.mkv", "-o", "hard.mkv"}, "cannot write hard.mkv: the scene reads it");
  std::ofstream(Path("scene.mp4")) << R"({"layers": [{"video": "clip.mkv"}]})";
  ExpectRefused({"--scene", "scene.mp4", "-o", "scene.mp4"}, "cannot write scene.mp4: the scene reads it");
  ExpectRefused({"--scene", "scene.mp4", "-o", "soft.mkv"}, "cannot write soft.mkv: the scene reads it");
  EXPECT_TRUE(ReadFile(Path("clip.mkv")) == clip);
}

TEST_F(RecordSafetyTest, NoFileOfAFilmIsWrittenOverWhatItIsMadeOf) {
  Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10:d=0.3 clip-00000.ts");
  Ffmpeg("-f lavfi -i testsrc2=s=32x32 -frames:v 1 frame10002.png");
  fs::create_symlink(".", Path("here"));
  fs::create_symlink("clip-00000.ts", Path("soft.ts"));
  ExpectRefused({"--picture", "frame10002.png", "-o", "frame1%04d.png"},
                "cannot write frame10002.png: the scene reads it");
  ExpectRefused({"--picture", "here/frame10002.png", "-o", "frame%d.png"},
                "cannot write frame10002.png: the scene reads it");
  ExpectRefused({"--video", "here/clip-00000.ts", "-o", "clip.m3u8"}, "cannot write clip-00000.ts: the scene reads it");
  ExpectRefused({"--video", "soft.ts", "--container", "hls", "-o", "clip"},
                "cannot write clip-00000.ts: the scene reads it");
  Record(
      {"--canvas", "32x32", "--picture", "frame10002.png", "--duration", "0.1", "--offline", "-o", "frame-%04d.png"});
}

TEST_F(RecordSafetyTest, WhatAppearsMeanwhileIsNotReplaced) {
  for (const std::string film : {"film.mp4", "film.ts"}) {
    SCOPED_TRACE(film);
    const pid_t pid =
        Start("quarn-record", Noise() + Arguments{"--duration", "600", "--offline", "--no-overwrite", "-o", film});
    const std::string part = WaitForPart(100000);
    std::ofstream(Path(film)) << "theirs";
    kill(pid, SIGINT);
    const Ended ended = Wait(pid);
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_EQ(ended.err, "quarn-record: cannot write " + film + ": it is there by now; the film is in " + part + "\n");
    EXPECT_EQ(ReadFile(Path(film)), "theirs");
    EXPECT_EQ(Parts(), std::vector<std::string>{part});
    EXPECT_GE(Frames(part), 1);
    fs::remove(Path(part));
  }
}

TEST_F(RecordSafetyTest, FilmsOfOneNameDoNotMeet) {
  const auto start = [this](const std::string& color) {
    return Start("quarn-record",
                 {"--canvas", "320x180", "--color", color, "--duration", "2", "--offline", "-o", "film.mp4"});
  };
  const pid_t red = start("#ff0000"), blue = start("#0000ff");
  EXPECT_EQ(Wait(red).exit_code, 0);
  EXPECT_EQ(Wait(blue).exit_code, 0);
  EXPECT_EQ(Files(), std::vector<std::string>{"film.mp4"});
  const std::vector<RgbFrame> frames = Decode("film.mp4", 320, 180);
  ASSERT_EQ(frames.size(), 60u);
  const bool is_red = frames[0].At(160, 90)[0] > 128;
  for (const RgbFrame& frame : frames) ExpectPixel(frame, 160, 90, is_red ? 255 : 0, 0, is_red ? 0 : 255);
}

TEST_F(RecordSafetyTest, FilmsGoToWhereALinkPoints) {
  fs::create_directory(Path("disk"));
  std::ofstream(Path("disk/older.y4m")) << "older";
  fs::create_symlink("disk/older.y4m", Path("film.y4m"));
  Record({"--canvas", "32x32", "--duration", "0.1", "--offline", "-o", "film.y4m"});
  EXPECT_TRUE(fs::is_symlink(Path("film.y4m")));
  EXPECT_EQ(Frames("disk/older.y4m"), 3);
}

TEST_F(RecordSafetyTest, WhatIsWrittenCanBeReadWhenTheProgramIsKilled) {
  const Arguments arguments = Noise() + Arguments{"--duration", "600", "--offline"};
  for (const std::string film : {"film.mp4", "film.mov", "film.mkv", "film.ts", "film.y4m"}) {
    SCOPED_TRACE(film);
    const pid_t pid = Start("quarn-record", arguments + Arguments{"-o", film});
    const std::string part = WaitForPart(400000);
    kill(pid, SIGKILL);
    EXPECT_EQ(Wait(pid).exit_code, 128 + SIGKILL);
    EXPECT_EQ(part.rfind(film + ".", 0), 0u) << part;
    EXPECT_EQ(Parts(), std::vector<std::string>{part});
    const Ended probed = Run(FFPROBE, {"-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                                       "stream=nb_read_frames", "-of", "csv=p=0", part});
    EXPECT_GE(std::atoi(probed.out.c_str()), film == "film.y4m" ? 4 : 11) << probed.out << probed.err;
    fs::remove(Path(part));
  }
}

TEST_F(RecordSafetyTest, LiveFilmIsReadableWhenTheProgramIsKilled) {
  const pid_t pid = Start("quarn-record", Noise() + Arguments{"--duration", "600", "-o", "film.mp4"});
  const std::string part = WaitForPart(150000);
  kill(pid, SIGKILL);
  Wait(pid);
  EXPECT_GE(Frames(part), 6);
}

TEST_F(RecordSafetyTest, FilmOnAFullDiskIsKept) {
  const Arguments arguments = Noise() + Arguments{"--duration", "8", "--offline"};
  for (const std::string film : {"film.mp4", "film.mkv", "film.ts", "film.y4m", "film.avi"}) {
    SCOPED_TRACE(film);
    const Ended ended = RunOnFullDisk(600, "quarn-record", arguments + Arguments{"-o", film});
    EXPECT_EQ(ended.exit_code, 1);
    EXPECT_EQ(Parts(), std::vector<std::string>{});
    const int frames = Frames(film);  // Without a complaint of the decoder.
    EXPECT_GE(frames, film == "film.y4m" ? 3 : 11);
    char length[16];
    std::snprintf(length, sizeof(length), "%.1f", frames / 6.0);
    EXPECT_EQ(ended.err, "quarn-record: cannot write " + film + ": File too large; its first " + length + " s are in " +
                             film + "\n");
    EXPECT_LE(fs::file_size(Path(film)), 600u * 512);
  }
}

TEST_F(RecordSafetyTest, BrokenFilmLeavesTheOlderOne) {
  std::ofstream(Path("film.ts")) << "older";
  const Ended ended =
      RunOnFullDisk(600, "quarn-record", Noise() + Arguments{"--duration", "8", "--offline", "-o", "film.ts"});
  EXPECT_EQ(ended.exit_code, 1);
  ASSERT_EQ(Parts().size(), 1u);
  EXPECT_NE(ended.err.find(" s are in " + Parts()[0] + "\n"), std::string::npos) << ended.err;
  EXPECT_EQ(ReadFile(Path("film.ts")), "older");
  EXPECT_GE(Frames(Parts()[0]), 10);
}

TEST_F(RecordSafetyTest, CompleteFilmIsOrdinaryAndItsIndexStandsInFront) {
  for (const Arguments& road : {Arguments{"--offline"}, Arguments{}}) {
    Record(Arguments{"--canvas", "64x64", "--duration", "1.5", "-o", "film.mp4"} + road);
    const std::string bytes = ReadFile(Path("film.mp4"));
    EXPECT_EQ(bytes.find("moof"), std::string::npos);
    EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
    EXPECT_EQ(Files(), std::vector<std::string>{"film.mp4"});
  }
  const Ended probed = Run(
      FFPROBE, {"-v", "error", "-show_entries", "stream=start_time,duration,nb_frames", "-of", "csv=p=0", "film.mp4"});
  EXPECT_EQ(probed.out.rfind("0.000000,1.500000,", 0), 0u) << probed.out;
}

TEST_F(RecordSafetyTest, EachSignalEndsTheFilm) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    const pid_t pid = Start("quarn-record", {"--canvas", "64x64", "--duration", "600", "-o", "film.ts"});
    WaitForPart(1000);
    kill(pid, signal);
    const Ended ended = Wait(pid);
    EXPECT_EQ(ended.exit_code, 0);
    EXPECT_EQ(ended.err, "");
    EXPECT_NE(ended.out.find("ended early"), std::string::npos) << ended.out;
    EXPECT_EQ(Files(), std::vector<std::string>{"film.ts"});
    EXPECT_GE(Frames("film.ts"), 1);
    fs::remove(Path("film.ts"));
  }
}

// So too while the film waits for a sender that says nothing.
TEST_F(RecordSafetyTest, SignalEndsAFilmThatWaits) {
  Ffmpeg("-f lavfi -i testsrc2=s=32x32:r=10:d=6.4 -c:v mpeg2video -g 1 clip.nut");
  const std::string clip = ReadFile(Path("clip.nut"));
  ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
  const int writer = open(Path("fifo").c_str(), O_RDWR | O_CLOEXEC);  // Never the last writer: it stays open.
  ASSERT_GE(writer, 0);
  std::thread sender([&] { EXPECT_GT(write(writer, clip.data(), clip.size() * 15 / 16), 0); });
  const pid_t pid = Start("quarn-record", {"--canvas", "32x32", "--fps", "10", "--video", "fifo", "--duration", "600",
                                           "--offline", "-o", "film.ts"});
  WaitForPart(1000);
  sender.join();
  kill(pid, SIGTERM);
  EXPECT_EQ(Wait(pid).exit_code, 0);
  close(writer);
  EXPECT_GE(Frames("film.ts"), 1);
}

TEST_F(RecordSafetyTest, SecondSignalEndsTheProgram) {
  const pid_t pid = Start("quarn-record", {"--canvas", "64x64", "--duration", "600", "-o", "film.ts"});
  WaitForPart(1000);
  // It finds both when it goes on, in any order.
  for (const int signal : {SIGSTOP, SIGINT, SIGTERM, SIGCONT}) kill(pid, signal);
  const int exit_code = Wait(pid).exit_code;
  EXPECT_TRUE(exit_code == 128 + SIGINT || exit_code == 128 + SIGTERM) << exit_code;
  EXPECT_GE(Frames(Parts().at(0)), 1);
}

}  // namespace
