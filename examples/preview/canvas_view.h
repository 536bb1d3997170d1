// The view of the canvas: the scene's picture as large as the user wants it, and what is drawn over it.
#ifndef QUARN_EXAMPLES_PREVIEW_CANVAS_VIEW_H_
#define QUARN_EXAMPLES_PREVIEW_CANVAS_VIEW_H_

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include <quarn/gs_constant_buffer.h>
#include <quarn/gs_context.h>
#include <quarn/gs_device.h>
#include <quarn/gs_scene.h>
#include <quarn/gs_texture.h>
#include <quarn/gs_view.h>

#include "preview/shape.h"
#include "studio/description.h"
#include "studio/film_clock.h"

namespace preview {

// A layer that is framed.
struct CanvasFrame {
  studio::Layer layer;  // Where it is at the film's time is worked out for each picture.
  studio::Size size;
  bool selected = false;
  bool handles = false;
};

// What a view shows. Positions are in canvas pixels from the canvas' centre.
struct CanvasSight {
  studio::Size canvas;
  studio::Vec centre;  // Where the canvas' centre is, in pixels from the view's upper left corner.
  float scale = 1;     // Pixels of the view for each of the canvas.
  float ratio = 1;     // Pixels of the view for each that lines and handles are told in.
  std::vector<CanvasFrame> frames;
  std::optional<studio::Vec> rotation_grip;
  std::optional<float> guide_x;
  std::optional<float> guide_y;
  std::optional<Box> rubber_band;
  bool hint = false;
};

class CanvasView : public GsView {
 public:
  CanvasView(const GsWindowInfo& window, studio::Size size, GsDevice* device);
  ~CanvasView() override;

  // What an empty canvas says: RGBA, rows without gaps. Before Attch.
  void SetHint(const std::uint8_t* pixels, studio::Size size);
  // From the next frame on. `clock`: what tells the time of the scene that is shown; it outlives that.
  void Show(CanvasSight sight, const studio::FilmClock* clock);

  // Render thread.
  void Draw() override;

 private:
  enum Ink { kCanvasEdge, kHover, kSelected, kHandle, kGuide, kBand, kBandEdge, kInkCount };

  void DrawCanvas(const CanvasSight& sight, GsTexture* picture);
  void DrawFrame(const CanvasSight& sight, const CanvasFrame& frame, double seconds);
  void DrawBand(const CanvasSight& sight, const Box& band);
  void DrawTexture(const char* program, GsTexture* texture, gs_vec2 middle, gs_vec2 size);
  // A rectangle about a point of the view, in pixels from its upper left corner.
  void Fill(Ink ink, studio::Vec middle, float width, float height, float rotation = 0);

  GsDevice* const device_;
  std::unique_ptr<GsConstantBuffer> inks_[kInkCount];
  std::unique_ptr<GsTexture> hint_;

  std::mutex mutex_sight_;
  std::shared_ptr<const CanvasSight> sight_;  // Under mutex_sight_.
  const studio::FilmClock* clock_ = nullptr;  // Under mutex_sight_.
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_CANVAS_VIEW_H_
