// The engine's side of a view: what the render loop draws last.
#ifndef QUARN_GRAPHICS_GRAPHICS_VIEW_H_
#define QUARN_GRAPHICS_GRAPHICS_VIEW_H_

#include <cstdint>

class GraphicsTexture;
struct InternalWindowInfo;

class GraphicsView {
 public:
  class DrawCallback {
   public:
    virtual ~DrawCallback() = default;
    virtual void Draw() = 0;
  };

  virtual ~GraphicsView() = default;
  virtual void Attach(DrawCallback* callback) = 0;
  virtual void Detach() = 0;
  virtual bool BindRenderTarget() = 0;
  virtual void UnbindRenderTarget() = 0;
  virtual unsigned int width() = 0;
  virtual unsigned int height() = 0;
  virtual void Resize(unsigned int width, unsigned int height) = 0;
  virtual void SetBackgroundColor(float r, float g, float b, float a) = 0;
  virtual void Draw() = 0;
  virtual void SetPresentationTime(long long time) = 0;
  virtual GraphicsTexture* frame_buffer_texture() = 0;
};

// What became of a view's pictures, as GsView::Counts answers it.
struct ViewCounts {
  std::uint32_t drawn = 0;      // Pictures that were finished.
  std::uint32_t presented = 0;  // Those that the window system has taken.
  std::uint32_t skipped = 0;    // Those that it never will. What is neither is on its way.
};

// A view that presents its pictures in a window of the host's, and counts them.
//
// Thread: any.
class PresentedView {
 public:
  virtual ViewCounts counts() const = 0;
  // Puts the view that many pixels to the right of its window's upper left corner, and below. Does not wait.
  virtual void Move(int x, int y) = 0;
  // Pixels of the view for each unit of its window, as GsView::WindowScale answers it.
  virtual float window_scale() const = 0;
  // Presents in that window from now on, and leaves the one before. Waits for it a moment, where the caller keeps no
  // frame waiting.
  virtual void SetWindow(const InternalWindowInfo& info) = 0;

 protected:
  ~PresentedView() = default;
};
// Null for null, and for a view that does not present.
PresentedView* ToPresented(GraphicsView* view);
// 0 for null, and for a view that does not count. Thread: any.
ViewCounts ReadViewCounts(const GraphicsView* view);

#endif  // QUARN_GRAPHICS_GRAPHICS_VIEW_H_
