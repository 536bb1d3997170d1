// What a Draw of the host's draws into: how large it is, and the viewport that the Draw finds.
//
// Render thread, with the context's lock held; its size may be asked for by any thread.
#ifndef QUARN_GRAPHICS_DRAW_TARGET_H_
#define QUARN_GRAPHICS_DRAW_TARGET_H_

#include "graphics/internal_types.h"

class GraphicsContext;
class GraphicsContextImpl;

// Around a Draw: for as long as it lives, what is drawn into has that size in pixels. The viewport is made the whole of
// it.
class DrawTarget {
 public:
  // A context that is not the engine's own, and null, are told of the viewport at most.
  DrawTarget(GraphicsContext* context, unsigned int width, unsigned int height);
  // What was drawn into before is so again.
  ~DrawTarget();
  DrawTarget(const DrawTarget&) = delete;
  DrawTarget& operator=(const DrawTarget&) = delete;

  internal_vec2 size() const { return internal_vec2(static_cast<float>(width_), static_cast<float>(height_)); }
  unsigned int width() const { return width_; }
  unsigned int height() const { return height_; }

 private:
  GraphicsContextImpl* const context_;
  const unsigned int width_;
  const unsigned int height_;
  const DrawTarget* const before_;
};

// The size of what the calling thread draws into at this moment; (0, 0) outside of a Draw, and for null.
internal_vec2 DrawTargetSize(const GraphicsContext* context);
// Makes the whole of it the viewport: to the pixel, where a float has no such number any more. Nothing outside of a
// Draw.
void SetWholeViewport(GraphicsContext* context);
// For a rectangle that wants that size outside of a Draw: the log says so of the first.
void ReportNoDrawTarget(GraphicsContext* context);

#endif  // QUARN_GRAPHICS_DRAW_TARGET_H_
