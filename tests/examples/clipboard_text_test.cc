// Layers as a text, for a clipboard.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "studio/error.h"
#include "studio/layer_text.h"
#include "studio/scene_file.h"

namespace studio {
namespace {

TEST(ClipboardTextTest, LayersReadBackAsTheyWereCopied) {
  Layer color = ParseLayer(LayerKind::kColor, "#11223344,pos=3:-4.5,size=10x20,hidden,name=a \"name\",locked");
  Layer video = ParseLayer(LayerKind::kVideo, "some where/clip.mp4,loop,volume=0.5,opacity=0.25,rotation=12.5,z=-3");
  const std::vector<Layer> read = ParseLayersText(LayersText({color, video}));
  ASSERT_EQ(read.size(), 2u);
  EXPECT_EQ(read[0].kind, LayerKind::kColor);
  EXPECT_EQ(read[0].color.a, color.color.a);
  EXPECT_EQ(read[0].pos.y, -4.5f);
  EXPECT_EQ(read[0].size->height, 20);
  EXPECT_EQ(read[0].name, "a \"name\"");
  EXPECT_TRUE(read[0].locked);
  EXPECT_FALSE(read[0].visible);
  EXPECT_EQ(read[1].kind, LayerKind::kVideo);
  EXPECT_EQ(read[1].file, std::filesystem::absolute("some where/clip.mp4").string());
  EXPECT_EQ(read[1].volume, 0.5f);
  EXPECT_EQ(read[1].opacity, 0.25f);
  EXPECT_EQ(read[1].rotation_deg, 12.5f);
  EXPECT_EQ(read[1].z, -3);
  EXPECT_TRUE(read[1].loop);
  EXPECT_FALSE(read[1].locked);
  EXPECT_EQ(read[1].name, "");
}

TEST(ClipboardTextTest, NoLayersAreAText) { EXPECT_TRUE(ParseLayersText(LayersText({})).empty()); }

TEST(ClipboardTextTest, AWholeSceneIsTakenToo) {
  const auto read =
      ParseLayersText(R"({"canvas": [64, 36], "fps": 25, "layers": [{"color": "#fff000", "name": "x"}]})");
  ASSERT_EQ(read.size(), 1u);
  EXPECT_EQ(read[0].name, "x");
}

std::string ErrorOf(const std::string& text) {
  try {
    ParseLayersText(text);
  } catch (const UsageError& error) {
    return error.what();
  }
  return "none";
}

TEST(ClipboardTextTest, AnythingElseIsAnError) {
  EXPECT_EQ(ErrorOf("Hello!"), "cannot paste: this is no scene");
  EXPECT_EQ(ErrorOf(""), "cannot paste: this is no scene");
  EXPECT_EQ(ErrorOf("[1, 2]"), "cannot paste: must hold an object");
  EXPECT_EQ(ErrorOf(R"({"layers": [{"color": "#fff000", "locked": 1}]})"),
            "cannot paste: layers[0].locked: must be true or false");
  EXPECT_EQ(ErrorOf(R"({"layers": [{"color": "#fff000", "name": 1}]})"),
            "cannot paste: layers[0].name: must be a text");
  EXPECT_EQ(ErrorOf(R"({"layers": [{"color": "#fff000", "opacity": 2}]})"),
            "cannot paste: layer opacity: must be 0 to 1");
}

TEST(ClipboardTextTest, ANameThatIsNotUtf8IsAnError) {
  Layer layer;
  layer.name = "\xe4";
  EXPECT_THROW(LayersText({layer}), Error);
}

}  // namespace
}  // namespace studio
