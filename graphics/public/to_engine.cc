// A host's arguments in the engine's terms. Any thread.
//
// The switches have no default: the compiler names each that does not know a new layout. A host may pass any number.
#include "graphics/public/to_engine.h"

#include <quarn/gs_device.h>
#include <quarn/gs_view.h>

#include "graphics/internal_types.h"

GraphicsDevice* ResolveDevice(GsDevice* device) {
  if (!device) device = app_default_device;
  return device ? device->impl() : nullptr;
}

GraphicsFormatInternal ToInternalFormat(GsTexture::Format format) {
  switch (format) {
    case GsTexture::kTextureRGBA: return kFormatRGBA;
    case GsTexture::kTextureBGRA: return kFormatBGRA;
    case GsTexture::kTextureR8: return kFormatR8;
    case GsTexture::kTextureRG8: return kFormatRG8;
    case GsTexture::kTextureRGBA16: return kFormatRGBA16;
  }
  return kFormatUnknown;
}

GraphicsOutput::OutputFormat ToOutputFormat(GsFormat format) {
  switch (format) {
    case kGsFormatRGBA: return GraphicsOutput::kOutputRGBA;
    case kGsFormatBGRA: return GraphicsOutput::kOutputBGRA;
    case kGsFormatI420: return GraphicsOutput::kOutputI420;
    case kGsFormatNV12: return GraphicsOutput::kOutputNV12;
    case kGsFormatNone:
    case kGsFormatReserved: return GraphicsOutput::kOutputNone;
  }
  return GraphicsOutput::kOutputNone;
}

void GsWindowInfoToInternalWindowInfo(const GsWindowInfo& info, InternalWindowInfo& internal_info) {
  internal_info.window = info.window;
}
