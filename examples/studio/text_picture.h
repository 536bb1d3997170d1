// Pictures of texts, made with Pango and cairo.
#ifndef QUARN_EXAMPLES_STUDIO_TEXT_PICTURE_H_
#define QUARN_EXAMPLES_STUDIO_TEXT_PICTURE_H_

#include "studio/description.h"
#include "studio/media_reader.h"

namespace studio {

// The size of a text with letters of its layer's height: all of its lines, and what reaches out of them. Throws
// UsageError for what is not UTF-8, and where it is larger than hardware takes.
Size TextSize(const Layer& layer);

// The text, of the size `natural`, drawn at the size `drawn`, or smaller where its letters would be too large to draw:
// premultiplied, the rest transparent. Throws Error.
Picture TextPicture(const Layer& layer, Size natural, Size drawn);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_TEXT_PICTURE_H_
