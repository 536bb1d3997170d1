// The engine's side of a view: what the render loop draws last.
#ifndef QUARN_GRAPHICS_GRAPHICS_VIEW_H_
#define QUARN_GRAPHICS_GRAPHICS_VIEW_H_

class GraphicsTexture;

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

#endif  // QUARN_GRAPHICS_GRAPHICS_VIEW_H_
