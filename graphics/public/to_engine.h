// What a host's arguments are to the engine: its device, its layouts, its windows. Any thread.
#ifndef QUARN_GRAPHICS_PUBLIC_TO_ENGINE_H_
#define QUARN_GRAPHICS_PUBLIC_TO_ENGINE_H_

#include <quarn/gs_frame.h>
#include <quarn/gs_texture.h>
#include <quarn/gs_video_texture.h>

#include "graphics/graphics_output.h"
#include "graphics/output/graphics_frame.h"
#include "graphics/video_layout.h"

class GraphicsDevice;
class GsDevice;
struct GsWindowInfo;
struct InternalWindowInfo;

// The engine device of `device`, else of the default device, else null.
GraphicsDevice* ResolveDevice(GsDevice* device);

// The engine's layout of a texture; kFormatUnknown for anything that is not a GsTexture::Format.
GraphicsFormatInternal ToInternalFormat(GsTexture::Format format);

// The engine's layout of a raw output; kOutputNone where no output produces it.
GraphicsOutput::OutputFormat ToOutputFormat(GsFormat format);

// The engine's layout, and its colours, of a video texture. Return false, with nothing set, for values that are none.
bool ToVideoLayout(GsVideoTexture::Layout layout, VideoLayout* out);
bool ToVideoColor(GsVideoTexture::Matrix matrix, GsVideoTexture::Range range, GsVideoTexture::ChromaSite site,
                  VideoColor* out);

// Copies the handle of a native window.
void GsWindowInfoToInternalWindowInfo(const GsWindowInfo& info, InternalWindowInfo& internal_info);

#endif  // QUARN_GRAPHICS_PUBLIC_TO_ENGINE_H_
