// When the pictures and sounds of a file begin and end.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_SPAN_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_SPAN_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

// On the file's own clock.
struct MediaSpan {
  std::int64_t begin_ns = AV_NOPTS_VALUE;  // That where there is nothing.
  std::int64_t length_ns = 0;
};

// Of a video's pictures. Their length is found only at the end of the file, which is read as long as `goes_on`, where
// there is one, says so; and once, as long as the file stays as it is. Any thread. Throws Error.
MediaSpan MeasurePictures(const std::string& file, bool length, const std::function<bool()>& goes_on = nullptr);
// Of a file's sound, the chosen one or FFmpeg's choice; reads the file to its end likewise. Throws Error.
MediaSpan MeasureSound(const std::string& file, std::optional<int> track,
                       const std::function<bool()>& goes_on = nullptr);

// A video begins with the first of its pictures and its sound, which begin then; AV_NOPTS_VALUE where neither tells. A
// sound that is less than 50 ms ahead of the pictures counts as beginning with them: its packets are no finer.
std::int64_t VideoOriginNs(std::int64_t pictures_ns, std::int64_t sound_ns);

// How long a video lasts that begins at `origin_ns`: from the start of its trim to the end of that or of its last
// picture, what comes first. 0 where that is not known, as of pictures whose length was not measured.
std::int64_t VideoLengthNs(const Layer& layer, const MediaSpan& pictures, std::int64_t origin_ns);
// The same, measured. Throws Error.
std::int64_t VideoLengthNs(const Layer& layer);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_SPAN_H_
