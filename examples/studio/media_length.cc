#include "studio/media_length.h"

#include <algorithm>

#include "studio/error.h"
#include "studio/media_file.h"
#include "studio/sound_reader.h"

namespace studio {

double MediaEndSeconds(const Description& description) {
  double end_s = 0;
  for (const Layer& layer : description.layers) {
    if (layer.kind != LayerKind::kVideo || layer.loop || IsStream(layer.file)) continue;
    const double length_s = static_cast<double>(MeasurePictures(layer.file, true).length_ns) * 1e-9;
    end_s = std::max(end_s, std::min(length_s, layer.trim_end_s.value_or(length_s)) - layer.trim_start_s);
  }
  for (const Sound& sound : description.sounds) {
    if (IsStream(sound.file)) continue;
    const SoundReader reader(sound, 0);
    const double length_s = static_cast<double>(reader.length_ns()) * 1e-9;
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
