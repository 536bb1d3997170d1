#include "studio/media_length.h"

#include <algorithm>
#include <cstdint>

#include "studio/error.h"
#include "studio/media_file.h"
#include "studio/media_span.h"
#include "studio/sound_reader.h"

namespace studio {
namespace {

// When the last of a video is seen and heard, counted from its start.
std::int64_t VideoEndNs(const Layer& layer) {
  const MediaSpan pictures = MeasurePictures(layer.file, true);
  const std::int64_t origin_ns = VideoOriginNs(pictures.begin_ns, FirstSoundNs(layer.file));
  const std::int64_t length_ns = VideoLengthNs(layer, pictures, origin_ns);
  // The sound may last longer than the pictures, with which it fades out.
  const bool outlasts = layer.visible && layer.volume > 0 && !layer.trim_end_s && layer.fade_out_s == 0;
  const MediaSpan sound = outlasts ? MeasureSound(layer.file, layer.track) : MediaSpan();
  if (sound.begin_ns == AV_NOPTS_VALUE) return length_ns;
  const auto trim_start_ns = static_cast<std::int64_t>(layer.trim_start_s * 1e9);
  return std::max(length_ns, SinceNs(sound.begin_ns, origin_ns) + sound.length_ns - trim_start_ns);
}

}  // namespace

double MediaEndSeconds(const Description& description) {
  double end_s = 0;
  for (const Layer& layer : description.layers) {
    if (layer.kind != LayerKind::kVideo || layer.loop || IsStream(layer.file)) continue;
    end_s = std::max(end_s, static_cast<double>(VideoEndNs(layer)) * 1e-9);
  }
  for (const Sound& sound : description.sounds) {
    if (IsStream(sound.file)) continue;
    const SoundReader reader(sound, 0);
    const double length_s = static_cast<double>(reader.LengthNs(sound)) * 1e-9;
    if (length_s > 0) end_s = std::max(end_s, sound.start_s + length_s);
  }
  return end_s;
}

void ResolveDuration(Description* description) {
  if (!description->duration_auto) return;
  const double end_s = MediaEndSeconds(*description);
  if (end_s <= 0) throw UsageError("duration auto: no video or sound of the scene has a length");
  if (end_s <= description->start_s) throw UsageError("duration auto: everything has ended before the film's start");
  description->duration_s = end_s - description->start_s;
  description->duration_auto = false;
  Validate(*description);
}

}  // namespace studio
