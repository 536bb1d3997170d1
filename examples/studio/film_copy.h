// Reads films that were written: to copy them, and to tell how much there is.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_COPY_H_
#define QUARN_EXAMPLES_STUDIO_FILM_COPY_H_

#include <string>

namespace studio {

// Copies the film `from`, which is in fragments, into an ordinary one of the same `container` (FFmpeg's name), with its
// index in front or at the end; the packets stay as they are. Returns a code of FFmpeg's when that fails, else 0.
int CopyFilm(const std::string& from, const std::string& to, const std::string& container, bool index_in_front);

// How long the pictures last that can be read, or the sound where there are none; 0 when there is neither.
double FilmSeconds(const std::string& path);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_COPY_H_
