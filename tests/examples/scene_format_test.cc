// What examples/README.md tells of scene files is what they may hold.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/scene_file.h"

namespace studio {
namespace {

namespace fs = std::filesystem;

const fs::path kExamples = QUARN_EXAMPLES_DIR;

class SceneFormatTest : public testing::Test {
 protected:
  SceneFormatTest() {
    std::ifstream file(kExamples / "README.md");
    page_.assign(std::istreambuf_iterator<char>(file), {});
    page_.erase(0, page_.find("## Scene files\n"));
    page_.erase(page_.find("\n## ", 1));
    std::string folder = (fs::temp_directory_path() / "quarn-format-XXXXXX").string();
    if (!mkdtemp(folder.data())) std::abort();
    folder_ = folder;
  }
  ~SceneFormatTest() override { fs::remove_all(folder_); }

  Description Read(const std::string& json) const {
    std::ofstream(folder_ / "scene.json") << json;
    Description description;
    ReadSceneFile((folder_ / "scene.json").string(), &description);
    ValidateScene(description);
    return description;
  }

  // What is said of the scene, but for its name.
  std::string Refusal(const std::string& json) const {
    try {
      Read(json);
    } catch (const UsageError& error) {
      const std::string start = "scene " + (folder_ / "scene.json").string() + ": ", line = error.what();
      return line.rfind(start, 0) == 0 ? line.substr(start.size()) : line;
    }
    return "not refused";
  }

  std::string page_;
  fs::path folder_;
};

TEST_F(SceneFormatTest, ExampleIsAScene) {
  const std::string begin = "```json\n";
  const std::size_t at = page_.find(begin);
  ASSERT_NE(at, std::string::npos);
  const std::string json = page_.substr(at + begin.size(), page_.find("```\n", at + 1) - at - begin.size());
  const Description scene = Read(json);
  EXPECT_EQ(scene.canvas.width, 1280);
  EXPECT_EQ(scene.duration_s, 5);
  ASSERT_EQ(scene.sounds.size(), 1u);
  EXPECT_EQ(scene.sounds[0].fade_out_s, 2);
  ASSERT_EQ(scene.layers.size(), 3u);
  EXPECT_EQ(scene.layers[2].kind, LayerKind::kText);
  // Saved beside the page it shows what there is.
  for (const std::string& file : {scene.sounds[0].file, scene.layers[0].file, scene.layers[1].file}) {
    EXPECT_TRUE(fs::exists(kExamples / fs::path(file).lexically_relative(folder_))) << file;
  }
}

// Whoever mistypes a key is told which there are. Each of these is read, and described.
TEST_F(SceneFormatTest, EveryKeyIsNamedReadAndDescribed) {
  const struct {
    std::string before, after, where;
    std::size_t count;
  } kPlaces[] = {
      {"{", "}", "", 6}, {R"({"layers": [{)", "}]}", "layers[0].", 25}, {R"({"audio": [{)", "}]}", "audio[0].", 6}};
  for (const auto& [before, after, where, count] : kPlaces) {
    SCOPED_TRACE(where);
    const std::string line = Refusal(before + R"("colr": "#ff8000")" + after);
    const std::string start = where + "colr: unknown key: there are ";
    ASSERT_EQ(line.substr(0, start.size()), start);
    std::istringstream words(line.substr(start.size()));
    std::vector<std::string> keys;
    for (std::string word; words >> word;) {
      if (word != "and") keys.push_back(word.substr(0, word.find(',')));
    }
    EXPECT_EQ(keys.size(), count);
    for (const std::string& key : keys) {
      EXPECT_EQ(Refusal(before + "\"" + key + "\": null" + after).rfind(where + key + ": must be ", 0), 0u) << key;
      EXPECT_NE(page_.find("\n| `" + key + "` | "), std::string::npos) << key;
    }
  }
}

// The numbers of the page, at both their ends.
TEST_F(SceneFormatTest, RangesAreThoseOfThePage) {
  const auto layer = [](const std::string& rest) { return R"({"layers": [{"color": "#000000", )" + rest + "}]}"; };
  const auto video = [](const std::string& rest) { return R"({"layers": [{"video": "a.mp4", )" + rest + "}]}"; };
  const auto sound = [](const std::string& rest) { return R"({"audio": [{"file": "a.wav", )" + rest + "}]}"; };
  for (const std::string& json :
       {std::string(R"({"canvas": [1, 8192], "fps": 1})"), std::string(R"({"fps": "30000/1001"})"),
        layer(R"("size": [0, 8192], "opacity": 0, "fade": [0, 86400])"),
        layer(R"("pos": [-1000000000, 1000000000], "z": -1000000000)"), video(R"("crop": [0, 0, 32768, 0])"),
        video(R"("volume": 100, "trim": "0:86400", "track": 0)"),
        sound(R"("gain": 100, "start": 86400, "fade": "0:86400")"),
        std::string(R"({"layers": [{"text": "a", "height": 2000, "font": "Serif Bold Italic"}]})")}) {
    EXPECT_EQ(Refusal(json), "not refused") << json;
  }
  for (const std::string& json :
       {std::string(R"({"canvas": [0, 9]})"), std::string(R"({"canvas": [9, 8193]})"), std::string(R"({"fps": 1001})"),
        layer(R"("size": [0, 0])"), layer(R"("opacity": 1.1)"), layer(R"("fade": [0, 86401])"),
        layer(R"("spin": 2000000000)"), video(R"("crop": [0, 0, 32769, 0])"), video(R"("volume": 100.5)"),
        video(R"("trim": "0:86401")"), video(R"("track": -1)"), sound(R"("gain": 101)"), sound(R"("start": 86401)"),
        sound(R"("fade": "0:86401")"), std::string(R"({"layers": [{"text": "a", "height": 0.5}]})")}) {
    EXPECT_NE(Refusal(json), "not refused") << json;
  }
}

}  // namespace
}  // namespace studio
