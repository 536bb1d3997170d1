#include "studio/scene_text.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <vector>

#include <nlohmann/json.hpp>

#include "studio/layer_text.h"
#include "studio/media_file.h"

namespace studio {
namespace {

using Json = nlohmann::json;

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
  if (file.find("://") != std::string::npos || file == kStandardInput) return file;
  namespace fs = std::filesystem;
  const fs::path path(file);
  // Links to folders are followed, so that ".." leads where it seems to; a file that is a link keeps its name.
  const fs::path parent = fs::weakly_canonical(fs::absolute(path).parent_path());
  const std::string name = (parent / path.filename()).lexically_proximate(fs::weakly_canonical(folder)).string();
  return name == kStandardInput ? "./" + name : name;
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
    case LayerKind::kText:
      add("text", Quoted(layer.text));
      if (layer.font != defaults.font) add("font", Quoted(layer.font));
      if (layer.letter_px != defaults.letter_px) add("height", Number(layer.letter_px));
      if (ColorText(layer.color) != ColorText(kTextColor)) add("color", ColorText(layer.color));
      if (layer.align != defaults.align) add("align", layer.align == TextAlign::kCenter ? "\"center\"" : "\"right\"");
      break;
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
  if (const std::string trim = TrimText(layer); !trim.empty()) add("trim", Quoted(trim));
  if (!layer.deinterlace) add("deinterlace", "\"off\"");
  if (!layer.name.empty()) add("name", Quoted(layer.name));
  if (layer.locked) add("locked", "true");
  if (layer.track) add("track", Number(*layer.track));
  if (!layer.crop.IsNone()) {
    const Crop& crop = layer.crop;
    add("crop", "[" + Number(crop.left) + ", " + Number(crop.top) + ", " + Number(crop.right) + ", " +
                    Number(crop.bottom) + "]");
  }
  if (layer.fade_in_s != 0 || layer.fade_out_s != 0) add("fade", Pair(layer.fade_in_s, layer.fade_out_s));
  if (layer.filter != LayerFilter::kNone) add("filter", layer.filter == LayerFilter::kBlur ? "\"blur\"" : "\"grey\"");
  return "{" + text + "}";
}

std::string RateText(FrameRate rate) { return rate.den == 1 ? rate.Text() : Quoted(rate.Text()); }

std::string SoundText(const Sound& sound, const std::filesystem::path& folder) {
  const Sound defaults;
  std::string text = "{\"file\": " + Quoted(NameFrom(folder, sound.file));
  if (sound.gain != defaults.gain) text += ", \"gain\": " + Number(sound.gain);
  if (sound.start_s != defaults.start_s) text += ", \"start\": " + Number(sound.start_s);
  if (sound.track) text += ", \"track\": " + Number(*sound.track);
  if (sound.trim_start_s != 0 || sound.trim_end_s) {
    text += ", \"trim\": \"" + Number(sound.trim_start_s) + ":";
    text += (sound.trim_end_s ? Number(*sound.trim_end_s) : "") + "\"";
  }
  if (sound.fade_in_s != 0 || sound.fade_out_s != 0) {
    text += ", \"fade\": \"" + Number(sound.fade_in_s) + ":" + Number(sound.fade_out_s) + "\"";
  }
  return text + "}";
}

// A list with an element a line.
template <class T, class ToText>
std::string List(const std::vector<T>& elements, ToText to_text) {
  std::string text;
  for (const T& element : elements) text += (text.empty() ? "[\n    " : ",\n    ") + to_text(element);
  return elements.empty() ? "[]" : text + "\n  ]";
}

}  // namespace

std::string LayerListText(const std::vector<Layer>& layers, const std::filesystem::path& folder) {
  return "{\n  \"layers\": " + List(layers, [&](const Layer& layer) { return LayerText(layer, folder); }) + "\n}\n";
}

std::string SceneText(const Description& description, const std::filesystem::path& folder) {
  const auto size = [](Size value) { return Pair(value.width, value.height); };
  std::string text = "{\n  \"canvas\": " + size(description.canvas) + ",\n";
  if (description.output_size) text += "  \"output_size\": " + size(*description.output_size) + ",\n";
  text += "  \"fps\": " + RateText(description.fps) + ",\n";
  text += "  \"duration\": " + (description.duration_auto ? "\"auto\"" : Number(description.duration_s)) + ",\n";
  if (!description.sounds.empty()) {
    text += "  \"audio\": " + List(description.sounds, [&](const Sound& sound) { return SoundText(sound, folder); }) +
            ",\n";
  }
  return text +
         "  \"layers\": " + List(description.layers, [&](const Layer& layer) { return LayerText(layer, folder); }) +
         "\n}\n";
}

}  // namespace studio
