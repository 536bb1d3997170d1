// The kinds of films: what each is packed into, and what may encode it.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_KINDS_H_
#define QUARN_EXAMPLES_STUDIO_FILM_KINDS_H_

#include <string>
#include <utility>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

struct FilmKind {
  std::string container;  // What FFmpeg calls it.
  bool is_still = false;
  bool is_sequence = false;  // A file for each picture.
  bool has_picture = true;   // Else it is sound alone.
  std::string pattern;       // Of a sequence's files, or of a playlist's segments; else empty.
  // It has no times: a frame that is missing is shown by the next.
  bool fills_gaps = false;
  // FFmpeg goes back to what it has written: pipes do not do.
  bool needs_file = false;
  // What may encode it, the best first.
  std::vector<const AVCodec*> codecs;
  std::vector<const AVCodec*> sound_codecs;
  std::vector<std::pair<std::string, std::string>> options;  // Of the container.
};

// The kind of film that the description asks for. Throws UsageError where there is none such.
FilmKind KindOf(const Description& description);

// What the name alone says, for every description: whether the film is a still picture, and whether it is sound alone.
bool IsStillKind(const Description& description);
bool IsSoundKind(const Description& description);

// The pixels that an encoder gets from frames of a layout, with their alpha if it is asked for.
AVPixelFormat EncodedFormat(const AVCodec* codec, PixelLayout layout, bool transparent);
// The pixels to ask of the engine for a kind of film: those that lose the least on their way.
PixelLayout BestLayout(const FilmKind& kind);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_KINDS_H_
