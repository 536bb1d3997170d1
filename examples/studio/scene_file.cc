#include "studio/scene_file.h"

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

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
    } else if (key == "name") {
      layer.name = value.Text();
    } else if (key == "locked") {
      layer.locked = value.Flag();
    } else {
      value.Fail("unknown key");
    }
  }
  if (sources != 1) node.Fail("must have one of \"color\", \"picture\" and \"video\"");
  if (layer.kind == LayerKind::kColor && layer.filter != LayerFilter::kNone) node.Fail("a colour takes no filter");
  if (layer.kind != LayerKind::kVideo && layer.loop) node.Fail("only a video loops");
  if (layer.kind != LayerKind::kVideo && layer.volume != 1) node.Fail("only a video has a volume");
  return layer;
}

Sound ReadSound(const Node& node, const std::filesystem::path& folder) {
  if (!node.json.is_object()) node.Fail("must be an object");
  Sound sound;
  for (const auto& [key, json] : node.json.items()) {
    const Node value{json, node.where + "." + key};
    if (key == "file") {
      sound.file = MediaPath(value, folder);
    } else if (key == "gain") {
      sound.gain = static_cast<float>(value.Number());
    } else if (key == "start") {
      sound.start_s = value.Number();
    } else {
      value.Fail("unknown key");
    }
  }
  if (sound.file.empty()) node.Fail("must have a \"file\"");
  return sound;
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
      description->fps = value.Rate();
    } else if (key == "duration") {
      description->duration_s = value.Number();
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
    } else {
      value.Fail("unknown key");
    }
  }
}

// The shortest text that reads back as the same value.
template <class T>
std::string Number(T value) {
  char text[64];
  return {text, std::to_chars(text, text + sizeof(text), value).ptr};
}

template <class T>
std::string Pair(T first, T second) {
  return "[" + Number(first) + ", " + Number(second) + "]";
}

std::string Quoted(const std::string& text) { return Json(text).dump(); }

std::string ColorText(const Color& color) {
  const auto channel = [](float value) { return static_cast<int>(std::lround(value * 255)); };
  char text[16];
  std::snprintf(text, sizeof(text), "\"#%02x%02x%02x", channel(color.r), channel(color.g), channel(color.b));
  std::string quoted = text;
  if (channel(color.a) != 255) {
    std::snprintf(text, sizeof(text), "%02x", channel(color.a));
    quoted += text;
  }
  return quoted + '"';
}

// How a file is named in a scene file of `folder`.
std::string NameFrom(const std::filesystem::path& folder, const std::string& file) {
  if (file.find("://") != std::string::npos) return file;
  namespace fs = std::filesystem;
  const fs::path path(file);
  // Links to folders are followed, so that ".." leads where it seems to; a file that is a link keeps its name.
  const fs::path parent = fs::weakly_canonical(fs::absolute(path).parent_path());
  return (parent / path.filename()).lexically_proximate(fs::weakly_canonical(folder)).string();
}

std::string LayerText(const Layer& layer, const std::filesystem::path& folder) {
  const Layer defaults;
  std::string text;
  const auto add = [&text](const char* key, const std::string& value) {
    text += (text.empty() ? "" : ", ") + Quoted(key) + ": " + value;
  };
  switch (layer.kind) {
    case LayerKind::kColor: add("color", ColorText(layer.color)); break;
    case LayerKind::kPicture: add("picture", Quoted(NameFrom(folder, layer.file))); break;
    case LayerKind::kVideo: add("video", Quoted(NameFrom(folder, layer.file))); break;
  }
  const auto has = [](const Vec& pair) { return pair.x != 0 || pair.y != 0; };
  if (layer.size) add("size", Pair(layer.size->width, layer.size->height));
  if (has(layer.pos)) add("pos", Pair(layer.pos.x, layer.pos.y));
  if (layer.rotation_deg != defaults.rotation_deg) add("rotation", Number(layer.rotation_deg));
  if (layer.z != defaults.z) add("z", Number(layer.z));
  if (layer.opacity != defaults.opacity) add("opacity", Number(layer.opacity));
  if (!layer.visible) add("visible", "false");
  if (layer.spin_deg_s != defaults.spin_deg_s) add("spin", Number(layer.spin_deg_s));
  if (has(layer.drift_px_s)) add("drift", Pair(layer.drift_px_s.x, layer.drift_px_s.y));
  if (layer.loop) add("loop", "true");
  if (layer.volume != defaults.volume) add("volume", Number(layer.volume));
  if (!layer.name.empty()) add("name", Quoted(layer.name));
  if (layer.locked) add("locked", "true");
  if (layer.filter != LayerFilter::kNone) add("filter", layer.filter == LayerFilter::kBlur ? "\"blur\"" : "\"grey\"");
  return "{" + text + "}";
}

std::string RateText(FrameRate rate) { return rate.den == 1 ? rate.Text() : Quoted(rate.Text()); }

std::string SoundText(const Sound& sound, const std::filesystem::path& folder) {
  const Sound defaults;
  std::string text = "{\"file\": " + Quoted(NameFrom(folder, sound.file));
  if (sound.gain != defaults.gain) text += ", \"gain\": " + Number(sound.gain);
  if (sound.start_s != defaults.start_s) text += ", \"start\": " + Number(sound.start_s);
  return text + "}";
}

// A list with an element a line.
template <class T, class ToText>
std::string List(const std::vector<T>& elements, ToText to_text) {
  std::string text;
  for (const T& element : elements) text += (text.empty() ? "[\n    " : ",\n    ") + to_text(element);
  return elements.empty() ? "[]" : text + "\n  ]";
}

std::string SceneText(const Description& description, const std::filesystem::path& folder) {
  const auto size = [](Size value) { return Pair(value.width, value.height); };
  std::string text = "{\n  \"canvas\": " + size(description.canvas) + ",\n";
  if (description.output_size) text += "  \"output_size\": " + size(*description.output_size) + ",\n";
  text += "  \"fps\": " + RateText(description.fps) + ",\n";
  text += "  \"duration\": " + Number(description.duration_s) + ",\n";
  if (!description.sounds.empty()) {
    text += "  \"audio\": " + List(description.sounds, [&](const Sound& sound) { return SoundText(sound, folder); }) +
            ",\n";
  }
  return text +
         "  \"layers\": " + List(description.layers, [&](const Layer& layer) { return LayerText(layer, folder); }) +
         "\n}\n";
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

std::string LayersText(const std::vector<Layer>& layers) {
  try {
    return "{\n  \"layers\": " + List(layers, [](const Layer& layer) { return LayerText(layer, {}); }) + "\n}\n";
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
  const auto fail = [&path](const std::string& why) { throw Error("cannot write scene " + path + ": " + why); };
  std::error_code error;
  if (fs::exists(path, error) && !fs::is_regular_file(path, error)) fail("it is not a plain file");
  const fs::path target = fs::is_symlink(path, error) ? fs::canonical(path, error) : fs::path(path);
  std::string text;
  try {
    text = SceneText(description, fs::absolute(path).parent_path());
  } catch (const Json::exception&) {
    fail("the name of a media file is not UTF-8");
  } catch (const fs::filesystem_error& failure) {
    fail(failure.code().message());
  }

  const fs::path part = target.string() + ".part";
  errno = 0;
  std::ofstream file(part, std::ios::binary);
  file << text;
  file.close();
  if (file) {
    fs::rename(part, target, error);
  } else {
    error = std::error_code(errno != 0 ? errno : EIO, std::generic_category());
  }
  if (error) {
    std::error_code ignored;
    fs::remove(part, ignored);
    fail(error.message());
  }
}

}  // namespace studio
