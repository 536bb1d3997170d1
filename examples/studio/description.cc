#include "studio/description.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "studio/error.h"
#include "studio/film_inputs.h"
#include "studio/film_kinds.h"
#include "studio/output_name.h"

namespace studio {
namespace {

constexpr int kMaxSide = 8192;  // What hardware of the OpenGL 3.2 class draws into.
constexpr float kMaxGain = 100;
constexpr std::int64_t kMaxBitRate = 1000000000;
constexpr float kMaxLetter = 2000;
constexpr std::size_t kMaxText = 10000;
constexpr float kMaxPlace = 1e9f;

std::string Text(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

void CheckSize(const char* what, Size size) {
  if (size.width < 1 || size.height < 1 || size.width > kMaxSide || size.height > kMaxSide) {
    throw UsageError(std::string(what) + " " + Text(size) + ": each side must be 1 to " + std::to_string(kMaxSide));
  }
}

void CheckFactor(const char* what, float factor) {
  if (!(factor >= 0 && factor <= kMaxGain)) throw UsageError(std::string(what) + ": must be 0 to 100");
}

void CheckCrop(const Crop& crop) {
  for (const int side : {crop.left, crop.top, crop.right, crop.bottom}) {
    if (side < 0 || side > kMaxSide * 4) throw UsageError("layer crop: each side must be 0 or more pixels");
  }
}

void CheckSeconds(const char* what, double seconds) {
  if (!(seconds >= 0 && seconds <= kMaxFilmSeconds))
    throw UsageError(std::string(what) + ": must be 0 to 86400 seconds");
}

// From what is further away nothing comes into sight in a film's time, nor is a float exact there.
void CheckPlace(const Layer& layer) {
  for (const float number :
       {layer.pos.x, layer.pos.y, layer.drift_px_s.x, layer.drift_px_s.y, layer.rotation_deg, layer.spin_deg_s}) {
    if (!(std::fabs(number) <= kMaxPlace)) {
      throw UsageError("layer pos, drift, rotation and spin: must be -1000000000 to 1000000000");
    }
  }
}

void CheckText(const Layer& layer) {
  if (layer.text.find_first_not_of(" \t\n") == std::string::npos) throw UsageError("layer text: there is none");
  if (layer.text.size() > kMaxText) throw UsageError("layer text: must be at most 10000 bytes");
  if (!(layer.letter_px >= 1 && layer.letter_px <= kMaxLetter)) {
    throw UsageError("layer height: letters must be 1 to 2000 pixels");
  }
}

bool Is420(PixelLayout format) { return format == PixelLayout::kI420 || format == PixelLayout::kNv12; }

}  // namespace

bool Description::IsStill() const { return IsStillKind(*this); }

bool Description::HasPicture() const { return !IsSoundKind(*this); }

std::uint64_t Description::FrameCount() const {
  return IsStill() ? 1 : std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::llround(duration_s * fps.fps())));
}

bool Description::HasBars() const {
  const Size size = OutputSize();
  return std::int64_t{canvas.width} * size.height != std::int64_t{canvas.height} * size.width;
}

PixelLayout Description::Format() const {
  if (format) return *format;
  return HasBars() || transparent ? PixelLayout::kRgba : BestLayout(KindOf(*this));
}

namespace {

void ValidateOutput(const Description& description, const FilmKind& kind) {
  const std::string& output = description.output;
  if (kind.needs_file && IsPipe(output)) {
    throw UsageError("cannot write " + output + ": " + kind.container +
                     " needs a plain file: take --container matroska, mpegts, nut, y4m, gif or wav");
  }
  if (!description.overwrite && !IsPipe(output)) {
    std::error_code ignored;
    const bool is_there = !kind.is_sequence && std::filesystem::exists(FileName(output), ignored);
    std::string file = is_there ? FileName(output) : "";
    const std::uint64_t first = kind.is_sequence ? 1 : 0;  // Of pictures, or segments.
    if (!is_there && !kind.pattern.empty()) file = FirstNumberedFile(kind.pattern, first, description.FrameCount());
    if (!file.empty()) {
      throw UsageError(file + " is there already: leave out --no-overwrite, or take another name");
    }
  }
  const Encoding& encoding = description.encoding;
  if (encoding.quality && (*encoding.quality < 0 || *encoding.quality > 100)) {
    throw UsageError("quality: must be 0 to 100");
  }
  if (encoding.quality && encoding.bitrate) throw UsageError("either --quality or --bitrate can be kept, not both");
  for (const std::optional<std::int64_t>& rate : {encoding.bitrate, encoding.audio_bitrate}) {
    if (rate && (*rate < 1000 || *rate > kMaxBitRate)) throw UsageError("bit rate: must be 1k to 1000M");
  }
  if (!kind.has_picture && (encoding.quality || encoding.bitrate || !encoding.preset.empty())) {
    throw UsageError("--quality, --bitrate and --preset are for pictures: " + output + " has sound alone");
  }
}

void ValidatePictures(const Description& description, const FilmKind& kind) {
  const Size size = description.OutputSize();
  CheckSize("output size", size);
  const PixelLayout layout = description.Format();
  if (description.transparent && Is420(layout)) throw UsageError("i420 and nv12 have no alpha: take rgba or bgra");
  const AVPixFmtDescriptor* const pixels =
      av_pix_fmt_desc_get(EncodedFormat(kind.codecs[0], layout, description.transparent));
  const bool halved = pixels && pixels->log2_chroma_w > 0 && !kind.is_still && !kind.is_sequence;
  if ((halved || Is420(layout)) && (size.width % 2 != 0 || size.height % 2 != 0)) {
    throw UsageError("output size " + Text(size) + ": films, and stills as i420 or nv12, need even sides");
  }
  if (description.HasBars() && Is420(layout)) {
    throw UsageError("i420 and nv12 have green bars around a canvas of another shape: take rgba, or another size");
  }
}

}  // namespace

void Validate(const Description& description) {
  if (description.output.empty()) throw UsageError("no output: name one with -o FILE or -o URL");
  RefuseInputs(description);
  ValidateScene(description);
  const FilmKind kind = KindOf(description);
  if (!kind.pattern.empty()) RefuseNumberedInputs(description, kind.pattern);
  ValidateOutput(description, kind);
  if (kind.has_picture) ValidatePictures(description, kind);
  if (!description.duration_auto && !(description.duration_s > 0 && description.duration_s <= kMaxFilmSeconds)) {
    throw UsageError("duration: must be above 0 and at most 86400 seconds");
  }
  CheckSeconds("start", description.start_s);
  if (description.needs_sound && description.IsStill()) throw UsageError("a still has no sound: leave out --audio");
}

void ValidateScene(const Description& description) {
  CheckSize("canvas", description.canvas);
  for (const Layer& layer : description.layers) {
    CheckPlace(layer);
    if (!(layer.opacity >= 0 && layer.opacity <= 1)) throw UsageError("layer opacity: must be 0 to 1");
    CheckFactor("layer volume", layer.volume);
    const double trim_end_s = layer.trim_end_s.value_or(kMaxFilmSeconds);
    if (!(layer.trim_start_s >= 0 && layer.trim_start_s < trim_end_s && trim_end_s <= kMaxFilmSeconds)) {
      throw UsageError("layer trim: must be 0 to 86400 seconds, and its end behind its start");
    }
    CheckCrop(layer.crop);
    if (layer.track && *layer.track < 0) throw UsageError("layer track: must be 0 or more");
    CheckSeconds("layer fade", layer.fade_in_s);
    CheckSeconds("layer fade", layer.fade_out_s);
    if (layer.kind == LayerKind::kText) CheckText(layer);
    if (!layer.size) continue;
    const Size side = *layer.size;
    if (side.width < 0 || side.height < 0 || side.width > kMaxSide || side.height > kMaxSide ||
        (side.width == 0 && side.height == 0)) {
      throw UsageError("layer size " + Text(side) + ": each side must be 1 to " + std::to_string(kMaxSide) +
                       ", or one of them 0 to follow from the other");
    }
  }
  for (const Sound& sound : description.sounds) {
    CheckFactor("audio gain", sound.gain);
    CheckSeconds("audio start", sound.start_s);
    if (sound.track && *sound.track < 0) throw UsageError("audio track: must be 0 or more");
    CheckSeconds("audio trim", sound.trim_start_s);
    CheckSeconds("audio trim", sound.trim_end_s.value_or(0));
    if (sound.trim_end_s && *sound.trim_end_s <= sound.trim_start_s) {
      throw UsageError("audio trim: must end behind its start");
    }
    CheckSeconds("audio fade", sound.fade_in_s);
    CheckSeconds("audio fade", sound.fade_out_s);
  }
}

}  // namespace studio
