// Makes whole pictures of those that were taken in two halves, with libavfilter.
#ifndef QUARN_EXAMPLES_STUDIO_DEINTERLACER_H_
#define QUARN_EXAMPLES_STUDIO_DEINTERLACER_H_

#include "studio/av.h"

struct AVFilterContext;
struct AVFilterGraph;

namespace studio {

// As many frames come out as go in, with the times that they had, and each comes out once the next has gone in. Those
// that are not marked as interlaced stay as they are. One thread at a time.
class Deinterlacer {
 public:
  Deinterlacer();
  ~Deinterlacer();
  Deinterlacer(const Deinterlacer&) = delete;
  Deinterlacer& operator=(const Deinterlacer&) = delete;

  // Takes a frame with its `pts` in nanoseconds, or null for the end. What is of another size or layout than the last
  // has to wait for the end. Returns false on failure: then the frame is as it was.
  bool Push(AVFrame* frame);
  // Gives the next frame. Returns false where another has to go in before, and at the end.
  bool Pull(AVFrame* frame);
  // Whether frames of this kind can go in now.
  bool Takes(const AVFrame& frame) const;
  // Forgets all that went in.
  void Reset();
  // Something has gone in since the last Reset.
  bool is_used() const { return graph_ != nullptr; }

 private:
  bool Build(const AVFrame& frame);

  AVFilterGraph* graph_ = nullptr;
  AVFilterContext* source_ = nullptr;
  AVFilterContext* sink_ = nullptr;
  int width_ = 0;
  int height_ = 0;
  int format_ = AV_PIX_FMT_NONE;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_DEINTERLACER_H_
