#include "studio/scene_file.h"

#include <cerrno>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <nlohmann/json.hpp>

#include "studio/error.h"
#include "studio/film_file.h"
#include "studio/film_inputs.h"
#include "studio/layer_text.h"
#include "studio/media_file.h"
#include "studio/scene_text.h"
#include "studio/sound_text.h"

namespace studio {
namespace {

using Json = nlohmann::json;

// What examples/README.md describes, in its order.
constexpr const char* kSceneKeys[] = {"canvas", "output_size", "fps", "duration", "audio", "layers"};
constexpr const char* kSoundKeys[] = {"file", "gain", "start", "track", "trim", "fade"};
constexpr const char* kLayerKeys[] = {"color",       "picture", "video",  "text",  "pos",    "size",  "rotation",
                                      "z",           "opacity", "spin",   "drift", "filter", "crop",  "fade",
                                      "visible",     "name",    "locked", "loop",  "volume", "track", "trim",
                                      "deinterlace", "font",    "height", "align"};

// A value and where it stands, for messages such as "layers[2].opacity: must be a number".
struct Node {
  const Json& json;
  std::string where;

  [[noreturn]] void Fail(const std::string& what) const { throw UsageError(where + ": " + what); }
  // Refuses what is none of the keys of this place.
  template <std::size_t size>
  void CheckKey(const std::string& key, const char* const (&keys)[size]) const {
    std::string list;
    for (std::size_t i = 0; i < size; ++i) {
      if (key == keys[i]) return;
      list += (i == 0 ? "" : i + 1 == size ? " and " : ", ") + std::string(keys[i]);
    }
    Fail("unknown key: there are " + list);
  }

  double Number() const {
    if (!json.is_number()) Fail("must be a number");
    return json.get<double>();
  }
  int Whole() const {
    const double value = Number();
    if (value != std::floor(value) || std::fabs(value) > 1e9) Fail("must be a whole number");
    return static_cast<int>(value);
  }
  bool Flag() const {
    if (!json.is_boolean()) Fail("must be true or false");
    return json.get<bool>();
  }
  std::string Text() const {
    if (!json.is_string()) Fail("must be a text");
    return json.get<std::string>();
  }
  Vec Pair() const {
    if (!json.is_array() || json.size() != 2 || !json[0].is_number() || !json[1].is_number()) {
      Fail("must be a pair of numbers such as [16, 9]");
    }
    return Vec{json[0].get<float>(), json[1].get<float>()};
  }
  studio::Size Size() const {
    const Vec pair = Pair();
    if (pair.x != std::floor(pair.x) || pair.y != std::floor(pair.y) || !(std::fabs(pair.x) < 1e6f) ||
        !(std::fabs(pair.y) < 1e6f)) {
      Fail("must be a pair of whole numbers such as [640, 360]");
    }
    return studio::Size{static_cast<int>(pair.x), static_cast<int>(pair.y)};
  }
  Crop CropSides() const {
    if (!json.is_array() || json.size() != 4) Fail("must be four numbers such as [10, 0, 10, 0]");
    const auto side = [this](std::size_t i) { return Node{json[i], where}.Whole(); };
    return Crop{side(0), side(1), side(2), side(3)};
  }
  template <class Parse>
  auto Parsed(Parse parse) const {
    return ParsedFrom(Text(), parse);
  }
  // A complaint of the parser's gets the place put in front.
  template <class Parse>
  auto ParsedFrom(const std::string& text, Parse parse) const {
    try {
      return parse(text);
    } catch (const UsageError& error) {
      Fail(error.what());
    }
  }
  // A number, or a text for what is none: "30000/1001".
  FrameRate Rate() const {
    if (json.is_string()) return Parsed(ParseFrameRate);
    Number();
    return ParsedFrom(json.dump(), ParseFrameRate);
  }
};

std::string MediaPath(const Node& node, const std::filesystem::path& folder) {
  const std::string name = node.Text();
  if (name.empty()) node.Fail("no file is named");
  return name.find("://") == std::string::npos && name != kStandardInput ? (folder / name).string() : name;
}

Layer ReadLayer(const Node& node, const std::filesystem::path& folder) {
  if (!node.json.is_object()) node.Fail("must be an object");
  Layer layer;
  int sources = 0;
  bool has_color = false;
  for (const auto& [key, json] : node.json.items()) {
    const Node value{json, node.where + "." + key};
    value.CheckKey(key, kLayerKeys);
    if (key == "color") {
      layer.color = value.Parsed(ParseColor);
      has_color = true;
    } else if (key == "text") {
      layer.kind = LayerKind::kText;
      layer.text = value.Text();
      ++sources;
    } else if (key == "picture" || key == "video") {
      layer.kind = key == "video" ? LayerKind::kVideo : LayerKind::kPicture;
      layer.file = MediaPath(value, folder);
      ++sources;
    } else if (key == "pos") {
      layer.pos = value.Pair();
    } else if (key == "size") {
      layer.size = value.Size();
    } else if (key == "rotation") {
      layer.rotation_deg = static_cast<float>(value.Number());
    } else if (key == "z") {
      layer.z = value.Whole();
    } else if (key == "opacity") {
      layer.opacity = static_cast<float>(value.Number());
    } else if (key == "visible") {
      layer.visible = value.Flag();
    } else if (key == "spin") {
      layer.spin_deg_s = static_cast<float>(value.Number());
    } else if (key == "drift") {
      layer.drift_px_s = value.Pair();
    } else if (key == "loop") {
      layer.loop = value.Flag();
    } else if (key == "filter") {
      layer.filter = value.Parsed(ParseFilter);
    } else if (key == "volume") {
      layer.volume = static_cast<float>(value.Number());
    } else if (key == "trim") {
      value.Parsed([&layer](const std::string& text) { ParseTrim(text, &layer.trim_start_s, &layer.trim_end_s); });
    } else if (key == "deinterlace") {
      layer.deinterlace = value.Parsed(ParseDeinterlace);
    } else if (key == "crop") {
      layer.crop = value.CropSides();
    } else if (key == "fade") {
      const Vec fade = value.Pair();
      layer.fade_in_s = fade.x;
      layer.fade_out_s = fade.y;
    } else if (key == "font") {
      layer.font = value.Text();
    } else if (key == "height") {
      layer.letter_px = static_cast<float>(value.Number());
    } else if (key == "align") {
      layer.align = value.Parsed(ParseAlign);
    } else if (key == "track") {
      layer.track = value.Whole();
    } else if (key == "name") {
      layer.name = value.Text();
    } else if (key == "locked") {
      layer.locked = value.Flag();
    }
  }
  // A text may have a colour; by itself a colour is a layer.
  const bool is_text = layer.kind == LayerKind::kText;
  if (has_color && !is_text) ++sources;
  if (is_text && !has_color) layer.color = kTextColor;
  if (sources != 1) node.Fail("must have one of \"color\", \"picture\", \"video\" and \"text\"");
  if (!is_text && (node.json.contains("font") || node.json.contains("height") || node.json.contains("align"))) {
    node.Fail("only a text has a font, a height and an alignment");
  }
  if (!HasMedia(layer.kind) && !layer.crop.IsNone()) node.Fail("only a picture or a video is cropped");
  if (layer.kind == LayerKind::kColor && layer.filter != LayerFilter::kNone) node.Fail("a colour takes no filter");
  if (layer.kind != LayerKind::kVideo && layer.loop) node.Fail("only a video loops");
  if (layer.kind != LayerKind::kVideo && layer.volume != 1) node.Fail("only a video has a volume");
  if (layer.kind != LayerKind::kVideo && !TrimText(layer).empty()) node.Fail("only a video is trimmed");
  if (layer.kind != LayerKind::kVideo && !layer.deinterlace) node.Fail("only a video is deinterlaced");
  if (layer.kind != LayerKind::kVideo && layer.track) node.Fail("only a video has a track");
  return layer;
}

Sound ReadSound(const Node& node, const std::filesystem::path& folder) {
  if (!node.json.is_object()) node.Fail("must be an object");
  Sound sound;
  for (const auto& [key, json] : node.json.items()) {
    const Node value{json, node.where + "." + key};
    value.CheckKey(key, kSoundKeys);
    if (key == "file") {
      sound.file = MediaPath(value, folder);
    } else if (key == "gain") {
      sound.gain = static_cast<float>(value.Number());
    } else if (key == "start") {
      sound.start_s = value.Number();
    } else if (key == "track") {
      sound.track = value.Whole();
    } else if (key == "trim") {
      value.Parsed([&sound](const std::string& text) { ParseTrim(text, &sound.trim_start_s, &sound.trim_end_s); });
    } else if (key == "fade") {
      value.Parsed([&sound](const std::string& text) { ParseFade(text, &sound); });
    }
  }
  if (sound.file.empty()) node.Fail("must have a \"file\"");
  return sound;
}

void ReadScene(const Json& root, const std::filesystem::path& folder, Description* description) {
  if (!root.is_object()) throw UsageError("must hold an object");
  for (const auto& [key, json] : root.items()) {
    const Node value{json, key};
    value.CheckKey(key, kSceneKeys);
    if (key == "canvas") {
      description->canvas = value.Size();
    } else if (key == "output_size") {
      description->output_size = value.Size();
    } else if (key == "fps") {
      description->fps = value.Rate();
    } else if (key == "duration") {
      description->duration_auto = json == "auto";
      if (!description->duration_auto) description->duration_s = value.Number();
    } else if (key == "audio") {
      if (!json.is_array()) value.Fail("must be a list");
      for (std::size_t i = 0; i < json.size(); ++i) {
        description->sounds.push_back(ReadSound(Node{json[i], "audio[" + std::to_string(i) + "]"}, folder));
      }
    } else if (key == "layers") {
      if (!json.is_array()) value.Fail("must be a list");
      for (std::size_t i = 0; i < json.size(); ++i) {
        description->layers.push_back(ReadLayer(Node{json[i], "layers[" + std::to_string(i) + "]"}, folder));
      }
    }
  }
}

}  // namespace

const char kSceneHelp[] = R"(
A scene file is a JSON object with "canvas" ([1280, 720]), "output_size", "fps", "duration", "layers" and "audio". Its
layers are objects with "picture", "video", "text" or "color" and the keys of layers above, pairs as lists ("pos": [0,
-250]), and "loop", "locked" and "visible" as true or false; its sounds have "file", "gain", "start", "track", "trim"
and "fade". Files are looked for from its folder. A scene to begin with is installed as share/quarn/scenes/demo.json,
beside the folder bin of this program; examples/README.md in Quarn's sources describes every key.
)";

void ReadSceneFile(const std::string& path, Description* description) {
  errno = 0;
  std::ifstream file(path);
  const int failure = !file ? (errno != 0 ? errno : EIO) : std::filesystem::is_directory(path) ? EISDIR : 0;
  if (failure != 0) throw Error("cannot read scene " + path + ": " + std::generic_category().message(failure));
  try {
    description->scene_file = path;
    ReadScene(Json::parse(file), std::filesystem::path(path).parent_path(), description);
  } catch (const Json::exception& error) {
    const std::string text = error.what();  // Its own name stands in front, in brackets.
    throw UsageError("scene " + path + ": " + text.substr(text.rfind("[json.", 0) == 0 ? text.find("] ") + 2 : 0));
  } catch (const UsageError& error) {
    throw UsageError("scene " + path + ": " + error.what());
  }
}

std::string LayersText(const std::vector<Layer>& layers) {
  try {
    return LayerListText(layers, {});
  } catch (const std::exception& error) {  // A name that is not UTF-8, a folder that is gone.
    throw Error(std::string("cannot copy: ") + error.what());
  }
}

std::vector<Layer> ParseLayersText(const std::string& text) {
  Description description;
  try {
    ReadScene(Json::parse(text), {}, &description);
    ValidateScene(description);
  } catch (const Json::exception&) {
    throw UsageError("cannot paste: this is no scene");
  } catch (const UsageError& error) {
    throw UsageError(std::string("cannot paste: ") + error.what());
  }
  return description.layers;
}

void WriteSceneFile(const std::string& path, const Description& description) {
  namespace fs = std::filesystem;
  const auto fail = [&path](const std::string& why) { throw Error("cannot write " + path + ": " + why); };
  RefuseMedia(description, path);
  std::string text;
  try {
    text = SceneText(description, fs::absolute(path).parent_path());
  } catch (const Json::exception&) {
    fail("the name of a media file is not UTF-8");
  } catch (const fs::filesystem_error& failure) {
    fail(failure.code().message());
  }

  FilmFile scene(path);
  errno = 0;
  std::ofstream file(scene.path(), std::ios::binary);
  file << text;
  file.close();
  if (!file) fail(std::generic_category().message(errno != 0 ? errno : EIO));
  if (const std::error_code error = scene.Publish()) fail(error.message());
}

}  // namespace studio
