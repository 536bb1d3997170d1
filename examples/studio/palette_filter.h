// Pictures of 256 colours of their own, for GIF.
#ifndef QUARN_EXAMPLES_STUDIO_PALETTE_FILTER_H_
#define QUARN_EXAMPLES_STUDIO_PALETTE_FILTER_H_

#include <functional>

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

// FFmpeg finds the best colours of each picture and dithers it. One thread at a time.
class PaletteFilter {
 public:
  // Takes a picture of AV_PIX_FMT_PAL8. Returns a code of FFmpeg's when that fails, else 0.
  using Sink = std::function<int(AVFrame* frame)>;

  // For frames of a format and a size; `transparent` keeps a colour for what has no alpha. Throws Error.
  PaletteFilter(AVPixelFormat format, Size size, AVRational time_base, bool transparent);

  // Filters a frame, which stays the caller's; null for the rest. Returns a code of FFmpeg's when that fails, else 0.
  int Write(AVFrame* frame, const Sink& sink);

 private:
  AvFilterGraph graph_;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  AvFrame filtered_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_PALETTE_FILTER_H_
