// A host's arguments in the engine's terms. Any thread.
//
// The switches have no default: the compiler names each that does not know a new layout. A host may pass any number.
#include "graphics/public/to_engine.h"

#include <quarn/gs_device.h>
#include <quarn/gs_view.h>

#include "graphics/internal_types.h"

namespace {

template <class T>
bool Answer(T* out, T value) {
  *out = value;
  return true;
}

bool ToVideoMatrix(GsVideoTexture::Matrix matrix, VideoMatrix* out) {
  switch (matrix) {
    case GsVideoTexture::kMatrixBT601: return Answer(out, VideoMatrix::kBT601);
    case GsVideoTexture::kMatrixBT709: return Answer(out, VideoMatrix::kBT709);
    case GsVideoTexture::kMatrixBT2020: return Answer(out, VideoMatrix::kBT2020);
  }
  return false;
}

bool ToFullRange(GsVideoTexture::Range range, bool* out) {
  switch (range) {
    case GsVideoTexture::kRangeLimited: return Answer(out, false);
    case GsVideoTexture::kRangeFull: return Answer(out, true);
  }
  return false;
}

bool ToChromaCentered(GsVideoTexture::ChromaSite site, bool* out) {
  switch (site) {
    case GsVideoTexture::kChromaLeft: return Answer(out, false);
    case GsVideoTexture::kChromaCenter: return Answer(out, true);
  }
  return false;
}

}  // namespace

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

bool ToVideoLayout(GsVideoTexture::Layout layout, VideoLayout* out) {
  switch (layout) {
    case GsVideoTexture::kLayoutI420: return Answer(out, VideoLayout::kI420);
    case GsVideoTexture::kLayoutNV12: return Answer(out, VideoLayout::kNV12);
    case GsVideoTexture::kLayoutP010: return Answer(out, VideoLayout::kP010);
  }
  return false;
}

bool ToVideoColor(GsVideoTexture::Matrix matrix, GsVideoTexture::Range range, GsVideoTexture::ChromaSite site,
                  VideoColor* out) {
  VideoColor color;
  if (!ToVideoMatrix(matrix, &color.matrix) || !ToFullRange(range, &color.full_range) ||
      !ToChromaCentered(site, &color.chroma_centered)) {
    return false;
  }
  *out = color;
  return true;
}

void GsWindowInfoToInternalWindowInfo(const GsWindowInfo& info, InternalWindowInfo& internal_info) {
  internal_info.window = info.window;
}
