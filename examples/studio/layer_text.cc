#include "studio/layer_text.h"

#include <cmath>
#include <cstdlib>
#include <vector>

#include "studio/error.h"

namespace studio {
namespace {

// The fields between the commas, "\," taken as a comma.
std::vector<std::string> SplitAtCommas(const std::string& text) {
  std::vector<std::string> fields(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\\' && i + 1 < text.size() && text[i + 1] == ',') {
      fields.back() += text[++i];
    } else if (text[i] == ',') {
      fields.emplace_back();
    } else {
      fields.back() += text[i];
    }
  }
  return fields;
}

int ParseInt(const std::string& text) {
  const double value = ParseNumber(text);
  if (value != std::floor(value) || std::fabs(value) > 1e9) throw UsageError("\"" + text + "\" is not a whole number");
  return static_cast<int>(value);
}

void SetValue(Layer* layer, const std::string& key, const std::string& value) {
  if (key == "pos") {
    layer->pos = ParseVec(value);
  } else if (key == "size") {
    layer->size = ParseSize(value);
  } else if (key == "rotation") {
    layer->rotation_deg = static_cast<float>(ParseNumber(value));
  } else if (key == "z") {
    layer->z = ParseInt(value);
  } else if (key == "opacity") {
    layer->opacity = static_cast<float>(ParseNumber(value));
  } else if (key == "spin") {
    layer->spin_deg_s = static_cast<float>(ParseNumber(value));
  } else if (key == "drift") {
    layer->drift_px_s = ParseVec(value);
  } else if (key == "name") {
    layer->name = value;
  } else if (key == "filter" && layer->kind != LayerKind::kColor) {
    layer->filter = ParseFilter(value);
  } else if (key == "volume" && layer->kind == LayerKind::kVideo) {
    layer->volume = static_cast<float>(ParseNumber(value));
  } else {
    throw UsageError("unknown layer option \"" + key + "\" (a comma in a file's name is written \\,)");
  }
}

}  // namespace

double ParseNumber(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !std::isfinite(value)) throw UsageError("\"" + text + "\" is not a number");
  return value;
}

Size ParseSize(const std::string& text) {
  const std::size_t cross = text.find('x');
  const std::string bad = "\"" + text + "\" is not a size such as 640x360";
  if (cross == std::string::npos) throw UsageError(bad);
  const std::string sides[2] = {text.substr(0, cross), text.substr(cross + 1)};
  for (const std::string& side : sides) {
    if (side.empty() || side.size() > 8 || side.find_first_not_of("0123456789") != std::string::npos) {
      throw UsageError(bad);
    }
  }
  return Size{std::atoi(sides[0].c_str()), std::atoi(sides[1].c_str())};
}

Vec ParseVec(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) throw UsageError("\"" + text + "\" is not a pair such as -20:35");
  return Vec{static_cast<float>(ParseNumber(text.substr(0, colon))),
             static_cast<float>(ParseNumber(text.substr(colon + 1)))};
}

Color ParseColor(const std::string& text) {
  const std::string digits = text.substr(text.rfind('#', 0) == 0 ? 1 : 0);
  if ((digits.size() != 6 && digits.size() != 8) ||
      digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
    throw UsageError("\"" + text + "\" is not a colour such as #ff8000 or #ff800080");
  }
  const unsigned long value = std::strtoul((digits.size() == 6 ? digits + "ff" : digits).c_str(), nullptr, 16);
  const auto channel = [value](int shift) { return static_cast<float>((value >> shift) & 0xff) / 255.0f; };
  return Color{channel(24), channel(16), channel(8), channel(0)};
}

LayerFilter ParseFilter(const std::string& text) {
  if (text == "none") return LayerFilter::kNone;
  if (text == "blur") return LayerFilter::kBlur;
  if (text == "grey") return LayerFilter::kGrey;
  throw UsageError("unknown filter \"" + text + "\": there are none, blur and grey");
}

PixelLayout ParseLayout(const std::string& text) {
  if (text == "i420") return PixelLayout::kI420;
  if (text == "nv12") return PixelLayout::kNv12;
  if (text == "rgba") return PixelLayout::kRgba;
  if (text == "bgra") return PixelLayout::kBgra;
  throw UsageError("unknown format \"" + text + "\": there are i420, nv12, rgba and bgra");
}

Sound ParseSound(const std::string& text) {
  Sound sound;
  std::size_t at = 0;
  for (; at < text.size() && text[at] != '@'; ++at) {
    if (text[at] == '\\' && at + 1 < text.size() && (text[at + 1] == '@' || text[at + 1] == ',')) ++at;
    sound.file += text[at];
  }
  if (sound.file.empty()) throw UsageError("audio \"" + text + "\": no file is named");
  if (at == text.size()) return sound;
  const std::size_t comma = text.find(',', at);
  try {
    sound.gain = static_cast<float>(ParseNumber(text.substr(at + 1, comma - at - 1)));
    if (comma != std::string::npos) sound.start_s = ParseNumber(text.substr(comma + 1));
  } catch (const UsageError& error) {
    throw UsageError("audio \"" + text + "\": " + error.what() + " (an @ in a file's name is written \\@)");
  }
  return sound;
}

Layer ParseLayer(LayerKind kind, const std::string& text) {
  const std::vector<std::string> fields = SplitAtCommas(text);
  Layer layer;
  layer.kind = kind;
  if (kind == LayerKind::kColor) {
    layer.color = ParseColor(fields[0]);
  } else if (fields[0].empty()) {
    throw UsageError("layer \"" + text + "\": no file is named");
  } else {
    layer.file = fields[0];
  }
  for (std::size_t i = 1; i < fields.size(); ++i) {
    const std::size_t equals = fields[i].find('=');
    if (kind == LayerKind::kVideo && fields[i] == "loop") {
      layer.loop = true;
    } else if (fields[i] == "hidden") {
      layer.visible = false;
    } else if (fields[i] == "locked") {
      layer.locked = true;
    } else if (equals == std::string::npos) {
      throw UsageError("unknown layer option \"" + fields[i] + "\" (a comma in a file's name is written \\,)");
    } else {
      SetValue(&layer, fields[i].substr(0, equals), fields[i].substr(equals + 1));
    }
  }
  return layer;
}

}  // namespace studio
