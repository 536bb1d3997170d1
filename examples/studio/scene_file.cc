#include "studio/scene_file.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <initializer_list>

#include <nlohmann/json.hpp>

#include "studio/error.h"
#include "studio/layer_text.h"

namespace studio {
namespace {

using Json = nlohmann::json;

// A value and where it stands, for messages such as "layers[2].opacity: must be a number".
struct Node {
  const Json& json;
  std::string where;

  [[noreturn]] void Fail(const std::string& what) const { throw UsageError(where + ": " + what); }

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
  // Parses the text of the value; a complaint gets the place put in front.
  template <class Parse>
  auto Parsed(Parse parse) const {
    const std::string text = Text();
    try {
      return parse(text);
    } catch (const UsageError& error) {
      Fail(error.what());
    }
  }
};

std::string MediaPath(const Node& node, const std::filesystem::path& folder) {
  const std::string name = node.Text();
  if (name.empty()) node.Fail("no file is named");
  return name.find("://") == std::string::npos ? (folder / name).string() : name;
}

Layer ReadLayer(const Node& node, const std::filesystem::path& folder) {
  if (!node.json.is_object()) node.Fail("must be an object");
  Layer layer;
  int sources = 0;
  for (const auto& [key, json] : node.json.items()) {
    const Node value{json, node.where + "." + key};
    if (key == "color") {
      layer.kind = LayerKind::kColor;
      layer.color = value.Parsed(ParseColor);
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
    } else if (key == "spin") {
      layer.spin_deg_s = static_cast<float>(value.Number());
    } else if (key == "drift") {
      layer.drift_px_s = value.Pair();
    } else if (key == "loop") {
      layer.loop = value.Flag();
    } else if (key == "filter") {
      layer.filter = value.Parsed(ParseFilter);
    } else {
      value.Fail("unknown key");
    }
  }
  if (sources != 1) node.Fail("must have one of \"color\", \"picture\" and \"video\"");
  if (layer.kind == LayerKind::kColor && layer.filter != LayerFilter::kNone) node.Fail("a colour takes no filter");
  if (layer.kind != LayerKind::kVideo && layer.loop) node.Fail("only a video loops");
  return layer;
}

void ReadScene(const Json& root, const std::filesystem::path& folder, Description* description) {
  if (!root.is_object()) throw UsageError("must hold an object");
  for (const auto& [key, json] : root.items()) {
    const Node value{json, key};
    if (key == "canvas") {
      description->canvas = value.Size();
    } else if (key == "output_size") {
      description->output_size = value.Size();
    } else if (key == "fps") {
      const int fps = value.Whole();
      if (fps < 1) value.Fail("must be at least 1");
      description->fps = static_cast<unsigned int>(fps);
    } else if (key == "duration") {
      description->duration_s = value.Number();
    } else if (key == "layers") {
      if (!json.is_array()) value.Fail("must be a list");
      for (std::size_t i = 0; i < json.size(); ++i) {
        description->layers.push_back(ReadLayer(Node{json[i], "layers[" + std::to_string(i) + "]"}, folder));
      }
    } else {
      value.Fail("unknown key");
    }
  }
}

}  // namespace

void ReadSceneFile(const std::string& path, Description* description) {
  std::ifstream file(path);
  if (!file || std::filesystem::is_directory(path)) throw Error("cannot read scene " + path);
  try {
    ReadScene(Json::parse(file), std::filesystem::path(path).parent_path(), description);
  } catch (const Json::exception& error) {
    throw UsageError("scene " + path + ": " + error.what());
  } catch (const UsageError& error) {
    throw UsageError("scene " + path + ": " + error.what());
  }
}

}  // namespace studio
