// Public texture layouts as the engine knows them.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_TEXTURE_FORMAT_H_
#define QUARN_GRAPHICS_PUBLIC_GS_TEXTURE_FORMAT_H_

#include <quarn/gs_texture.h>

#include "graphics/output/graphics_frame.h"

// kFormatUnknown for anything that is not a GsTexture::Format.
GraphicsFormatInternal ToInternalFormat(GsTexture::Format format);

#endif  // QUARN_GRAPHICS_PUBLIC_GS_TEXTURE_FORMAT_H_
