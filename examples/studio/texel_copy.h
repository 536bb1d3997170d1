// Texels that are copied into a picture as they are, without being drawn.
#ifndef QUARN_EXAMPLES_STUDIO_TEXEL_COPY_H_
#define QUARN_EXAMPLES_STUDIO_TEXEL_COPY_H_

#include <quarn/gs_texture.h>

#include "studio/description.h"

namespace studio {

// Copies a texture of `size` texels into what is being drawn, its upper left corner at that pixel; what lies outside of
// the target is left out. In software that takes a fraction of what drawing the same does. Returns false, having done
// nothing, where OpenGL or the target does not allow it. Leaves OpenGL as it was found.
//
// Thread: render, in a Draw.
bool CopyTexels(GsTexture* texture, Size size, int left, int top, Size target);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_TEXEL_COPY_H_
