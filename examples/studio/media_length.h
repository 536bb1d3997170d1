// How long the media of a scene are.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_LENGTH_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_LENGTH_H_

#include "studio/description.h"

namespace studio {

// The film time at which the last of the videos and sounds has ended; 0 where none has a length, as loops, stills and
// streams have none. Throws Error.
double MediaEndSeconds(const Description& description);

// Gives a film its duration that is to be as long as its media. Throws Error; UsageError where none has a length.
void ResolveDuration(Description* description);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_LENGTH_H_
