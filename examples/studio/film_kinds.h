// The kinds of films: what each is packed into, and what may encode it.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_KINDS_H_
#define QUARN_EXAMPLES_STUDIO_FILM_KINDS_H_

#include <string>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

struct FilmKind {
  std::string container;  // What FFmpeg calls it.
  // What may encode it, the best first.
  std::vector<const AVCodec*> codecs;
  std::vector<const AVCodec*> sound_codecs;
};

// The kind of film that the description's output is to be. Throws UsageError.
FilmKind KindOf(const Description& description);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_KINDS_H_
