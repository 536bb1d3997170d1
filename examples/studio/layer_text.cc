#include "studio/layer_text.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "studio/error.h"
#include "studio/sound_text.h"

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

[[noreturn]] void ThrowUnknown(LayerKind kind, const std::string& option) {
  const std::string where = kind == LayerKind::kText ? "a text" : "a file's name";
  throw UsageError("unknown layer option \"" + option + "\" (a comma in " + where + " is written \\,)");
}

// "\n" begins a new line.
std::string WithLines(std::string text) {
  for (std::size_t at = text.find("\\n"); at != std::string::npos; at = text.find("\\n", at + 1)) {
    text.replace(at, 2, "\n");
  }
  return text;
}

// Returns whether `key` is one of a text.
bool SetTextValue(Layer* layer, const std::string& key, const std::string& value) {
  if (key == "font") {
    layer->font = value;
  } else if (key == "height") {
    layer->letter_px = static_cast<float>(ParseNumber(value));
  } else if (key == "color") {
    layer->color = ParseColor(value);
  } else if (key == "align") {
    layer->align = ParseAlign(value);
  } else {
    return false;
  }
  return true;
}

void SetValue(Layer* layer, const std::string& key, const std::string& value) {
  if (layer->kind == LayerKind::kText && SetTextValue(layer, key, value)) return;
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
  } else if (key == "trim" && layer->kind == LayerKind::kVideo) {
    ParseTrim(value, &layer->trim_start_s, &layer->trim_end_s);
  } else if (key == "deinterlace" && layer->kind == LayerKind::kVideo) {
    layer->deinterlace = ParseDeinterlace(value);
  } else if (key == "crop" && HasMedia(layer->kind)) {
    layer->crop = ParseCrop(value);
  } else if (key == "fade") {
    const Vec fade = ParseFade(value);
    layer->fade_in_s = fade.x;
    layer->fade_out_s = fade.y;
  } else if (key == "track" && layer->kind == LayerKind::kVideo) {
    layer->track = ParseTrack(value);
  } else {
    ThrowUnknown(layer->kind, key);
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

Crop ParseCrop(const std::string& text) {
  const std::string bad = "\"" + text + "\" is no crop such as 10:0:10:0 (left, top, right, bottom)";
  int sides[4] = {};
  std::size_t at = 0;
  for (int i = 0; i < 4; ++i) {
    const std::size_t colon = text.find(':', at);
    if ((colon == std::string::npos) != (i == 3)) throw UsageError(bad);
    const std::string side = text.substr(at, i == 3 ? colon : colon - at);
    if (side.empty() || side.size() > 6 || side.find_first_not_of("0123456789") != std::string::npos) {
      throw UsageError(bad);
    }
    sides[i] = std::atoi(side.c_str());
    at = colon + 1;
  }
  return Crop{sides[0], sides[1], sides[2], sides[3]};
}

Vec ParseFade(const std::string& text) {
  try {
    return ParseVec(text);
  } catch (const UsageError&) {
    throw UsageError("\"" + text + "\" is no fade such as 1:0.5 (seconds of appearing, of going)");
  }
}

TextAlign ParseAlign(const std::string& text) {
  if (text == "left") return TextAlign::kLeft;
  if (text == "center") return TextAlign::kCenter;
  if (text == "right") return TextAlign::kRight;
  throw UsageError("unknown alignment \"" + text + "\": there are left, center and right");
}

LayerFilter ParseFilter(const std::string& text) {
  if (text == "none") return LayerFilter::kNone;
  if (text == "blur") return LayerFilter::kBlur;
  if (text == "grey") return LayerFilter::kGrey;
  throw UsageError("unknown filter \"" + text + "\": there are none, blur and grey");
}

bool ParseDeinterlace(const std::string& text) {
  if (text == "auto") return true;
  if (text == "off") return false;
  throw UsageError("unknown deinterlacing \"" + text + "\": there are auto and off");
}

void ParseTrim(const std::string& text, double* start_s, std::optional<double>* end_s) {
  const std::size_t colon = text.find(':');
  const std::string start = text.substr(0, colon), end = colon == std::string::npos ? "" : text.substr(colon + 1);
  if (colon == std::string::npos || (start.empty() && end.empty())) {
    throw UsageError("\"" + text + "\" is not a part such as 2:5.5, 2: or :5.5");
  }
  *start_s = start.empty() ? 0 : ParseNumber(start);
  end_s->reset();
  if (!end.empty()) *end_s = ParseNumber(end);
}

std::string TrimText(const Layer& layer) {
  if (layer.trim_start_s == 0 && !layer.trim_end_s) return "";
  const auto number = [](double value) {
    char text[64];
    return std::string(text, std::to_chars(text, text + sizeof(text), value).ptr);
  };
  return (layer.trim_start_s == 0 ? "" : number(layer.trim_start_s)) + ":" +
         (layer.trim_end_s ? number(*layer.trim_end_s) : "");
}

PixelLayout ParseLayout(const std::string& text) {
  if (text == "i420") return PixelLayout::kI420;
  if (text == "nv12") return PixelLayout::kNv12;
  if (text == "rgba") return PixelLayout::kRgba;
  if (text == "bgra") return PixelLayout::kBgra;
  throw UsageError("unknown format \"" + text + "\": there are i420, nv12, rgba and bgra");
}

Layer ParseLayer(LayerKind kind, const std::string& text) {
  const std::vector<std::string> fields = SplitAtCommas(text);
  Layer layer;
  layer.kind = kind;
  if (kind == LayerKind::kColor) {
    layer.color = ParseColor(fields[0]);
  } else if (kind == LayerKind::kText) {
    layer.text = WithLines(fields[0]);
    layer.color = kTextColor;
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
      ThrowUnknown(kind, fields[i]);
    } else {
      SetValue(&layer, fields[i].substr(0, equals), fields[i].substr(equals + 1));
    }
  }
  return layer;
}

}  // namespace studio
