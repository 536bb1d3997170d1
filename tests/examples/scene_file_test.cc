// Scene files, written and read back.
#include "studio/scene_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "studio/error.h"

namespace studio {
namespace {

namespace fs = std::filesystem;

class SceneFileTest : public testing::Test {
 protected:
  SceneFileTest() {
    std::string folder = (fs::temp_directory_path() / "quarn-scene-XXXXXX").string();
    if (!mkdtemp(folder.data())) std::abort();
    folder_ = folder;
  }
  ~SceneFileTest() override { fs::remove_all(folder_); }

  std::string Path(const std::string& name) const { return (folder_ / name).string(); }

  static Description Read(const std::string& path) {
    Description description;
    ReadSceneFile(path, &description);
    return description;
  }

  void ExpectError(const std::string& path, const Description& description, const std::string& line) {
    try {
      WriteSceneFile(path, description);
      ADD_FAILURE() << "no error";
    } catch (const Error& error) {
      EXPECT_EQ(error.what(), line);
    }
  }

  fs::path folder_;
};

std::string Text(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void ExpectSame(const Vec& a, const Vec& b) {
  EXPECT_EQ(a.x, b.x);
  EXPECT_EQ(a.y, b.y);
}

void ExpectSame(const std::optional<Size>& a, const std::optional<Size>& b) {
  ASSERT_EQ(a.has_value(), b.has_value());
  if (!a) return;
  EXPECT_EQ(a->width, b->width);
  EXPECT_EQ(a->height, b->height);
}

// Names of files may differ as long as they mean the same.
void ExpectSame(const Layer& a, const Layer& b) {
  EXPECT_EQ(a.kind, b.kind);
  EXPECT_EQ(fs::path(a.file).lexically_normal(), fs::path(b.file).lexically_normal());
  EXPECT_EQ(a.color.r, b.color.r);
  EXPECT_EQ(a.color.g, b.color.g);
  EXPECT_EQ(a.color.b, b.color.b);
  EXPECT_EQ(a.color.a, b.color.a);
  ExpectSame(a.pos, b.pos);
  ExpectSame(a.size, b.size);
  EXPECT_EQ(a.rotation_deg, b.rotation_deg);
  EXPECT_EQ(a.z, b.z);
  EXPECT_EQ(a.opacity, b.opacity);
  EXPECT_EQ(a.visible, b.visible);
  EXPECT_EQ(a.spin_deg_s, b.spin_deg_s);
  ExpectSame(a.drift_px_s, b.drift_px_s);
  EXPECT_EQ(a.loop, b.loop);
  EXPECT_EQ(a.filter, b.filter);
  EXPECT_EQ(a.volume, b.volume);
  EXPECT_EQ(a.trim_start_s, b.trim_start_s);
  EXPECT_EQ(a.trim_end_s, b.trim_end_s);
  EXPECT_EQ(a.deinterlace, b.deinterlace);
  EXPECT_EQ(a.crop.left, b.crop.left);
  EXPECT_EQ(a.crop.top, b.crop.top);
  EXPECT_EQ(a.crop.right, b.crop.right);
  EXPECT_EQ(a.crop.bottom, b.crop.bottom);
  EXPECT_EQ(a.fade_in_s, b.fade_in_s);
  EXPECT_EQ(a.fade_out_s, b.fade_out_s);
  EXPECT_EQ(a.text, b.text);
  EXPECT_EQ(a.font, b.font);
  EXPECT_EQ(a.letter_px, b.letter_px);
  EXPECT_EQ(a.align, b.align);
  EXPECT_EQ(a.track, b.track);
}

void ExpectSame(const Sound& a, const Sound& b) {
  EXPECT_EQ(fs::path(a.file).lexically_normal(), fs::path(b.file).lexically_normal());
  EXPECT_EQ(a.gain, b.gain);
  EXPECT_EQ(a.start_s, b.start_s);
  EXPECT_EQ(a.track, b.track);
  EXPECT_EQ(a.trim_start_s, b.trim_start_s);
  EXPECT_EQ(a.trim_end_s, b.trim_end_s);
  EXPECT_EQ(a.fade_in_s, b.fade_in_s);
  EXPECT_EQ(a.fade_out_s, b.fade_out_s);
}

TEST_F(SceneFileTest, EveryKeyReadsBackAsItWasWritten) {
  Description scene;
  scene.canvas = {1918, 1080};
  scene.output_size = Size{640, 362};
  scene.fps = {24000, 1001};
  scene.duration_s = 12.34567890123;
  Layer color;
  color.color = {1, 128 / 255.0f, 0, 1};
  scene.layers.push_back(color);
  color.color = {17 / 255.0f, 34 / 255.0f, 51 / 255.0f, 68 / 255.0f};
  color.size = Size{5, 7};
  color.visible = false;
  scene.layers.push_back(color);
  Layer picture;
  picture.kind = LayerKind::kPicture;
  picture.file = Path("a \"b\" \xc3\xa4.png");
  picture.size = Size{0, 33};
  picture.pos = {-0.1f, 1234.5678f};
  picture.rotation_deg = 359.99997f;
  picture.z = -7;
  picture.opacity = 0.3f;
  picture.filter = LayerFilter::kGrey;
  picture.crop = {1, 2, 3, 4};
  scene.layers.push_back(picture);
  Layer video;
  video.kind = LayerKind::kVideo;
  video.file = Path("clip.mp4");
  video.pos = {0, 1e-7f};
  video.spin_deg_s = -12.5f;
  video.drift_px_s = {1 / 3.0f, 0};
  video.loop = true;
  video.volume = 0.7f;
  video.fade_in_s = 0.1f;
  video.track = 3;
  video.filter = LayerFilter::kBlur;
  scene.layers.push_back(video);
  video.loop = false;
  video.filter = LayerFilter::kNone;
  video.trim_start_s = 1 / 3.0;
  video.deinterlace = false;
  scene.layers.push_back(video);
  video.file = "-";
  video.trim_end_s = 1e3 / 7;
  scene.layers.push_back(video);
  Layer letters;
  letters.kind = LayerKind::kText;
  letters.text = "One \"two\",\n\tthr\xc3\xa4\\n";
  letters.color = kTextColor;
  scene.layers.push_back(letters);
  letters.color = {0, 0, 0, 0};
  letters.font = "DejaVu Serif Bold 7";
  letters.letter_px = 0.1f;
  letters.align = TextAlign::kRight;
  letters.fade_out_s = 1 / 3.0f;
  scene.layers.push_back(letters);
  letters.align = TextAlign::kCenter;
  scene.layers.push_back(letters);

  scene.sounds = {Sound{Path("a.wav"), 1, 0}, Sound{Path("b \"c\".wav"), 0.1f, 1 / 3.0}};
  scene.sounds.push_back(Sound{Path("c.wav"), 1, 0, 2, 1 / 3.0, 1e-7 + 1, 0, 1e-7});
  scene.sounds.push_back(Sound{Path("d.wav"), 1, 0, 0, 0.25});

  WriteSceneFile(Path("scene.json"), scene);
  const Description read = Read(Path("scene.json"));
  ExpectSame(read.canvas, scene.canvas);
  ExpectSame(read.output_size, scene.output_size);
  EXPECT_EQ(read.fps, scene.fps);
  EXPECT_EQ(read.duration_s, scene.duration_s);
  ASSERT_EQ(read.layers.size(), scene.layers.size());
  for (std::size_t i = 0; i < scene.layers.size(); ++i) {
    SCOPED_TRACE(i);
    ExpectSame(read.layers[i], scene.layers[i]);
  }
  ASSERT_EQ(read.sounds.size(), scene.sounds.size());
  for (std::size_t i = 0; i < scene.sounds.size(); ++i) ExpectSame(read.sounds[i], scene.sounds[i]);

  const std::string text = Text(Path("scene.json"));
  WriteSceneFile(Path("scene.json"), read);
  EXPECT_EQ(Text(Path("scene.json")), text);
}

TEST_F(SceneFileTest, DurationMayBeAuto) {
  Description scene;
  scene.duration_auto = true;
  WriteSceneFile(Path("scene.json"), scene);
  EXPECT_NE(Text(Path("scene.json")).find("\"duration\": \"auto\""), std::string::npos);
  EXPECT_TRUE(Read(Path("scene.json")).duration_auto);
}

TEST_F(SceneFileTest, VisibleIsYesOrNo) {
  std::ofstream(Path("scene.json")) << R"({"layers": [{"color": "#000000", "visible": 1}]})";
  try {
    Read(Path("scene.json"));
    ADD_FAILURE() << "no error";
  } catch (const UsageError& error) {
    EXPECT_EQ(error.what(), "scene " + Path("scene.json") + ": layers[0].visible: must be true or false");
  }
}

TEST_F(SceneFileTest, KeysBelongToTheirKindsOfLayers) {
  const auto expect = [this](const std::string& layer, const std::string& line) {
    std::ofstream(Path("scene.json")) << "{\"layers\": [" + layer + "]}";
    try {
      Read(Path("scene.json"));
      ADD_FAILURE() << "no error";
    } catch (const UsageError& error) {
      EXPECT_EQ(error.what(), "scene " + Path("scene.json") + ": layers[0]" + line);
    }
  };
  expect(R"({"text": "a", "picture": "b.png"})", ": must have one of \"color\", \"picture\", \"video\" and \"text\"");
  expect(R"({"color": "#000000", "picture": "b.png"})",
         ": must have one of \"color\", \"picture\", \"video\" and \"text\"");
  expect(R"({"picture": "b.png", "height": 20})", ": only a text has a font, a height and an alignment");
  expect(R"({"text": "a", "crop": [0, 0, 1, 0]})", ": only a picture or a video is cropped");
  expect(R"({"text": "a", "align": "top"})", ".align: unknown alignment \"top\": there are left, center and right");
  expect(R"({"picture": "b.png", "crop": [0, 0, 1]})", ".crop: must be four numbers such as [10, 0, 10, 0]");
  expect(R"({"picture": "b.png", "crop": [0, 0, 1.5, 0]})", ".crop: must be a whole number");
  expect(R"({"picture": "b.png", "fade": 1})", ".fade: must be a pair of numbers such as [16, 9]");
}

TEST_F(SceneFileTest, LeavesOutWhatIsAsUsual) {
  Description scene;
  WriteSceneFile(Path("empty.json"), scene);
  EXPECT_EQ(Text(Path("empty.json")),
            "{\n  \"canvas\": [1280, 720],\n  \"fps\": 30,\n  \"duration\": 10,\n  \"layers\": []\n}\n");
  scene.layers.emplace_back();
  scene.layers.emplace_back();
  scene.layers[1].opacity = 0.1f;
  WriteSceneFile(Path("two.json"), scene);
  EXPECT_EQ(Text(Path("two.json")),
            "{\n  \"canvas\": [1280, 720],\n  \"fps\": 30,\n  \"duration\": 10,\n  \"layers\": [\n"
            "    {\"color\": \"#000000\"},\n    {\"color\": \"#000000\", \"opacity\": 0.1}\n  ]\n}\n");
}

TEST_F(SceneFileTest, NamesMediaAsSeenFromTheSceneFile) {
  fs::create_directories(folder_ / "scenes");
  fs::create_directories(folder_ / "media" / "deep");
  fs::create_directory_symlink(folder_ / "media" / "deep", folder_ / "link");
  std::ofstream(Path("media/a.png")) << "a";
  std::ofstream(Path("media/deep/b.png")) << "b";
  fs::create_symlink("b.png", folder_ / "media" / "deep" / "newest.png");

  Description scene;
  const auto add = [&scene](const std::string& file) {
    scene.layers.emplace_back();
    scene.layers.back().kind = LayerKind::kPicture;
    scene.layers.back().file = file;
  };
  add(Path("media/a.png"));
  add(Path("scenes/../media/a.png"));
  add(Path("link/../a.png"));  // The folder above the one that the link leads to.
  add(Path("media/deep/newest.png"));
  add(Path("scenes/own.png"));
  add("http://example.org/a.png");
  WriteSceneFile(Path("scenes/scene.json"), scene);
  const std::string text = Text(Path("scenes/scene.json"));
  const auto count = [&text](const std::string& part) {
    int found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++found;
    return found;
  };
  EXPECT_EQ(count("{\"picture\": \"../media/a.png\"}"), 3) << text;
  EXPECT_EQ(count("{\"picture\": \"../media/deep/newest.png\"}"), 1) << text;
  EXPECT_EQ(count("{\"picture\": \"own.png\"}"), 1) << text;
  EXPECT_EQ(count("{\"picture\": \"http://example.org/a.png\"}"), 1) << text;
  for (const Layer& layer : Read(Path("scenes/scene.json")).layers) {
    if (layer.file.find("own") == std::string::npos && layer.file[0] == '/') {
      EXPECT_TRUE(fs::exists(layer.file)) << layer.file;
    }
  }
}

TEST_F(SceneFileTest, NamesMediaFromTheWorkingFolder) {
  const fs::path before = fs::current_path();
  fs::create_directories(folder_ / "scenes");
  fs::current_path(folder_);
  Description scene;
  scene.layers.emplace_back();
  scene.layers.back().kind = LayerKind::kVideo;
  scene.layers.back().file = "clip.mp4";
  WriteSceneFile("scene.json", scene);
  WriteSceneFile("scenes/scene.json", scene);
  fs::current_path(before);
  EXPECT_NE(Text(Path("scene.json")).find("\"clip.mp4\""), std::string::npos);
  EXPECT_NE(Text(Path("scenes/scene.json")).find("\"../clip.mp4\""), std::string::npos);
}

TEST_F(SceneFileTest, LeavesNothingElseBehind) {
  std::ofstream(Path("scene.json.part")) << "mine";
  WriteSceneFile(Path("scene.json"), Description());
  WriteSceneFile(Path("scene.json"), Description());
  EXPECT_EQ(Text(Path("scene.json.part")), "mine");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 2);
}

TEST_F(SceneFileTest, WritesThroughALink) {
  fs::create_directories(folder_ / "real");
  std::ofstream(Path("real/scene.json")) << "{}";
  fs::create_symlink("real/scene.json", folder_ / "scene.json");
  Description scene;
  scene.fps = {24, 1};
  scene.layers.emplace_back();
  scene.layers.back().kind = LayerKind::kPicture;
  scene.layers.back().file = Path("a.png");
  WriteSceneFile(Path("scene.json"), scene);
  EXPECT_TRUE(fs::is_symlink(folder_ / "scene.json"));
  EXPECT_EQ(Read(Path("real/scene.json")).fps, (FrameRate{24, 1}));
  // It is read through the link: media are looked for beside that.
  EXPECT_NE(Text(Path("scene.json")).find("\"a.png\""), std::string::npos);
}

TEST_F(SceneFileTest, AFailureLeavesTheOlderFile) {
  std::ofstream(Path("scene.json")) << "older";
  Description scene;
  scene.layers.emplace_back();
  scene.layers.back().kind = LayerKind::kPicture;
  scene.layers.back().file = "\xff.png";
  ExpectError(Path("scene.json"), scene,
              "cannot write " + Path("scene.json") + ": the name of a media file is not UTF-8");
  EXPECT_EQ(Text(Path("scene.json")), "older");
}

TEST_F(SceneFileTest, SaysWhyItCannotBeWritten) {
  ExpectError(Path("none/scene.json"), Description(),
              "cannot write " + Path("none/scene.json") + ": No such file or directory");
  ExpectError(folder_.string(), Description(), "cannot write " + folder_.string() + ": it is not a plain file");
}

// As on a disk that is full: no file may have a byte.
TEST_F(SceneFileTest, AFullDiskIsNoticed) {
  std::ofstream(Path("scene.json")) << "older";
  rlimit before;
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit none = {0, before.rlim_max};
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
  ExpectError(Path("scene.json"), Description(), "cannot write " + Path("scene.json") + ": File too large");
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(Text(Path("scene.json")), "older");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_), {}), 1);
}

}  // namespace
}  // namespace studio
