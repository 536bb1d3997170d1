// Files that are added while the program runs.
#ifndef QUARN_EXAMPLES_PREVIEW_IMPORT_H_
#define QUARN_EXAMPLES_PREVIEW_IMPORT_H_

#include <string>

#include "studio/description.h"

namespace preview {

// The layer that a file becomes: what moves is a video that starts again at its end, anything else a picture. In the
// middle of the canvas, in its own size where that leaves room around it. Throws Error.
studio::Layer ImportLayer(const std::string& file, studio::Size canvas);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_IMPORT_H_
