#include "studio/description.h"

#include <algorithm>
#include <cmath>

#include "studio/error.h"

namespace studio {
namespace {

constexpr int kMaxSide = 8192;  // What hardware of the OpenGL 3.2 class draws into.
constexpr float kMaxGain = 100;

std::string Text(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

void CheckSize(const char* what, Size size) {
  if (size.width < 1 || size.height < 1 || size.width > kMaxSide || size.height > kMaxSide) {
    throw UsageError(std::string(what) + " " + Text(size) + ": each side must be 1 to " + std::to_string(kMaxSide));
  }
}

void CheckFactor(const char* what, float factor) {
  if (!(factor >= 0 && factor <= kMaxGain)) throw UsageError(std::string(what) + ": must be 0 to 100");
}

void CheckSeconds(const char* what, double seconds) {
  if (!(seconds >= 0 && seconds <= kMaxFilmSeconds))
    throw UsageError(std::string(what) + ": must be 0 to 86400 seconds");
}

bool Is420(PixelLayout format) { return format == PixelLayout::kI420 || format == PixelLayout::kNv12; }

}  // namespace

bool Description::IsStill() const {
  constexpr char kSuffix[] = ".png";
  constexpr std::size_t kLength = sizeof(kSuffix) - 1;
  return output.size() > kLength && output.compare(output.size() - kLength, kLength, kSuffix) == 0;
}

std::uint64_t Description::FrameCount() const {
  return IsStill() ? 1 : std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::llround(duration_s * fps.fps())));
}

bool Description::HasBars() const {
  const Size size = OutputSize();
  return std::int64_t{canvas.width} * size.height != std::int64_t{canvas.height} * size.width;
}

PixelLayout Description::Format() const {
  return format.value_or(IsStill() || HasBars() ? PixelLayout::kRgba : PixelLayout::kI420);
}

void Validate(const Description& description) {
  if (description.output.empty()) throw UsageError("no output: name one with -o FILE or -o URL");
  ValidateScene(description);
  const Size size = description.OutputSize();
  CheckSize("output size", size);
  if ((!description.IsStill() || Is420(description.Format())) && (size.width % 2 != 0 || size.height % 2 != 0)) {
    throw UsageError("output size " + Text(size) + ": films, and stills as i420 or nv12, need even sides");
  }
  if (description.HasBars() && Is420(description.Format())) {
    throw UsageError("i420 and nv12 have green bars around a canvas of another shape: take rgba, or another size");
  }
  if (!description.duration_auto && !(description.duration_s > 0 && description.duration_s <= kMaxFilmSeconds)) {
    throw UsageError("duration: must be above 0 and at most 86400 seconds");
  }
  CheckSeconds("start", description.start_s);
  if (description.needs_sound && description.IsStill()) throw UsageError("a still has no sound: leave out --audio");
}

void ValidateScene(const Description& description) {
  CheckSize("canvas", description.canvas);
  for (const Layer& layer : description.layers) {
    if (!(layer.opacity >= 0 && layer.opacity <= 1)) throw UsageError("layer opacity: must be 0 to 1");
    CheckFactor("layer volume", layer.volume);
    if (layer.track && *layer.track < 0) throw UsageError("layer track: must be 0 or more");
    CheckSeconds("layer fade", layer.fade_in_s);
    CheckSeconds("layer fade", layer.fade_out_s);
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
