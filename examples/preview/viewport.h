// Which part of the canvas a window shows, and how large. Knows no window; one thread.
#ifndef QUARN_EXAMPLES_PREVIEW_VIEWPORT_H_
#define QUARN_EXAMPLES_PREVIEW_VIEWPORT_H_

#include "preview/shape.h"
#include "studio/description.h"

namespace preview {

// Pixels are those of the window from its upper left corner; positions on the canvas are counted from its centre. A
// window without a size is taken to have one pixel, and values that are no numbers are ignored.
class Viewport {
 public:
  // Shows the whole canvas.
  explicit Viewport(studio::Size canvas);

  // The window has another size. What was in its middle stays there, and what fits goes on fitting.
  void Resize(studio::Size window);
  // Shows the whole canvas with a margin around it, and goes on so when the window's size changes.
  void Fit();
  // Shows all of a part of the canvas, or of what lies beside it, at most at its own size.
  void FitTo(const Box& part);
  // Makes all larger by a factor above 0; what is under the pixel stays there.
  void ZoomAt(studio::Vec pixel, float factor);
  // Pixels of the window for each of the canvas; what is in the window's middle stays there.
  void SetZoom(float scale);
  // Moves what is shown by pixels of the window, to the right and downwards.
  void Pan(studio::Vec pixels);

  // Whether the whole canvas is shown, whatever size the window has: from Fit until something else is asked for.
  bool fits() const { return fits_; }
  // Pixels of the window for each of the canvas.
  float scale() const { return scale_; }
  studio::Size window() const { return window_; }

  studio::Vec ToCanvas(studio::Vec pixel) const;
  studio::Vec ToPixels(studio::Vec canvas) const;

 private:
  // Of the window.
  studio::Vec Middle() const;
  void Show(studio::Vec center, float scale);
  float ScaleFor(studio::Vec size) const;

  const studio::Size canvas_;
  studio::Size window_{1, 1};
  studio::Vec center_;  // The place on the canvas that is in the middle of the window.
  float scale_ = 1;
  bool fits_ = true;
};

constexpr float kMinZoom = 1.0f / 32;
constexpr float kMaxZoom = 64;

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_VIEWPORT_H_
