// Films of many files: where none may be replaced, no file that comes to be there meanwhile is.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/film_writer.h"
#include "tests/examples/example_program.h"

namespace studio {
namespace {

class FilmFilesTest : public ExampleTest {
 protected:
  // Makes a film of some pictures without looking first what is there, as if that had come just now. Returns what went
  // wrong.
  std::string Make(const std::string& name, int pictures, bool overwrite) {
    Description description;
    description.canvas = {32, 32};
    description.fps = {10, 1};
    description.output = Path(name);
    description.overwrite = overwrite;
    description.offline = true;
    try {
      FilmWriter writer(description);
      for (int n = 0; n < pictures; ++n) {
        const AvFrame frame = writer.NewFrame();
        for (int plane = 0; frame->buf[plane]; ++plane)
          std::memset(frame->buf[plane]->data, n, frame->buf[plane]->size);
        writer.Write(frame.get(), n);
      }
      writer.Finish();
    } catch (const Error& error) {
      return error.what();
    }
    return "";
  }

  // A playlist, if there is one, names nothing but files of the film, which `other` is not.
  void ExpectListNamesFilm(const std::string& other) {
    std::ifstream list(Path("list.m3u8"));
    const std::vector<std::string> files = Files();
    for (std::string line; std::getline(list, line);) {
      if (line.empty() || line[0] == '#') continue;
      EXPECT_NE(line, other);
      EXPECT_EQ(std::count(files.begin(), files.end(), line), 1) << line;
    }
  }

  void ExpectKept(const std::string& film, int pictures, const std::string& name) {
    SCOPED_TRACE(name);
    std::ofstream(Path(name)) << "older";
    EXPECT_EQ(Make(film, pictures, false), "cannot write " + Path(name) + ": it is there by now");
    EXPECT_EQ(ReadFile(Path(name)), "older");
    if (name != "list.m3u8") ExpectListNamesFilm(name);
    for (const std::string& file : Files()) {
      EXPECT_EQ(file.find(".part"), std::string::npos) << file;
      EXPECT_EQ(file.find(".tmp"), std::string::npos) << file;
    }
    EXPECT_EQ(Make(film, pictures, true), "");
    EXPECT_NE(ReadFile(Path(name)), "older");
  }
};

TEST_F(FilmFilesTest, NumberedPicturesReplaceNothingThatCameMeanwhile) {
  ExpectKept("frame-%d.png", 5, "frame-3.png");
  EXPECT_EQ(Files(),
            (std::vector<std::string>{"frame-1.png", "frame-2.png", "frame-3.png", "frame-4.png", "frame-5.png"}));
}

TEST_F(FilmFilesTest, NothingFollowsThePictureThatCouldNotBeWritten) {
  std::ofstream(Path("frame-2.jpg")) << "older";
  EXPECT_NE(Make("frame-%d.jpg", 5, false), "");
  EXPECT_EQ(Files(), (std::vector<std::string>{"frame-1.jpg", "frame-2.jpg"}));
}

TEST_F(FilmFilesTest, ASegmentReplacesNothingThatCameMeanwhile) { ExpectKept("list.m3u8", 50, "list-00001.ts"); }

TEST_F(FilmFilesTest, APlaylistReplacesNothingThatCameMeanwhile) { ExpectKept("list.m3u8", 50, "list.m3u8"); }

// Which FFmpeg writes after each segment.
TEST_F(FilmFilesTest, APlaylistReplacesItself) {
  EXPECT_EQ(Make("list.m3u8", 50, false), "");
  EXPECT_EQ(Files(), (std::vector<std::string>{"list-00000.ts", "list-00001.ts", "list.m3u8"}));
  const std::string list = ReadFile(Path("list.m3u8"));
  EXPECT_NE(list.find("list-00000.ts\n"), std::string::npos) << list;
  EXPECT_NE(list.find("#EXT-X-ENDLIST"), std::string::npos) << list;
  EXPECT_EQ(Probe("list.m3u8"), "h264,32,32,10/1,50");
}

}  // namespace
}  // namespace studio
