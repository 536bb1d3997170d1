// A filter: a picture that a host draws before the scenes, for items to sample. Words and tags: quarn.h.
#ifndef QUARN_GS_FILTER_H_
#define QUARN_GS_FILTER_H_

#include <quarn/export.h>

class GraphicsContext;
class GraphicsFilter;
class GsDevice;
class GsFilterOnDraw;
class GsTexture;

// A drawing pass with a target of its own: a processed camera image, a blur, a composited part of a picture. Derive and
// override Draw. Filters run in the order of their attaching, before any scene, so that an item may sample texture() in
// the same frame.
//
// Thread: Attach, Detach and Resize from any; the rest is caller-serialised with them and with drawing.
class QUARN_EXPORT GsFilter {
 public:
  // A filter with a target of that size.
  //
  // `width`, `height`: pixels, each at least 1 and at most the driver's longest texture side; otherwise, and without a
  // device, the filter is inert.
  //
  // Blocks: stage.
  GsFilter(unsigned int width, unsigned int height, GsDevice* device = nullptr);
  // Destroys the filter and its target. Detach first: destroying an attached filter is an error, which the log names.
  //
  // Blocks: stage.
  virtual ~GsFilter();

  // Draws into the target, which is cleared to opaque black, with blending on and the viewport being the whole of it.
  // Does nothing by default.
  //
  // Thread: render, with the GL context current and the target bound; called by the library.
  // Callback safety: frame callback.
  virtual void Draw();

  GsFilter(const GsFilter&) = delete;
  GsFilter& operator=(const GsFilter&) = delete;

  // Returns whether the object is valid: made whole, and its device can draw.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // Starts the drawing. It may be repeated.
  //
  // Blocks: stage.
  void Attach();
  // Stops the drawing. It may be repeated.
  //
  // Blocks: stage.
  void Detach();

  // Returns the width in pixels; 0 for an inert filter.
  unsigned int width() const;
  // Returns the height in pixels; 0 for an inert filter.
  unsigned int height() const;
  // Changes the reported size. The target keeps the size of its creation.
  //
  // `width`, `height`: pixels, any value. Where memory is missing texture() stays as it is, with an error line.
  //
  // Blocks: stage.
  void Resize(unsigned int width, unsigned int height);
  // Returns the target, to be sampled by items; null for an inert filter. Fetch it again after every Resize, which may
  // come between two stages of a frame: an item whose filter is resized by another thread asks for it in its Draw.
  //
  // Ownership: the filter's.
  GsTexture* texture() const;

 private:
  friend class GsFilterOnDraw;

  GraphicsFilter* impl_ = nullptr;
  GsFilterOnDraw* on_draw_ = nullptr;
  GsTexture* texture_ = nullptr;
  GraphicsContext* context_ = nullptr;  // Its lock orders attaching and detaching.
};

#endif  // QUARN_GS_FILTER_H_
