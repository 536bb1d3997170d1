// The engine's side of a filter.
#ifndef QUARN_GRAPHICS_GRAPHICS_FILTER_H_
#define QUARN_GRAPHICS_GRAPHICS_FILTER_H_

class GraphicsTexture;

class GraphicsFilter {
 public:
  class DrawCallback {
   public:
    virtual ~DrawCallback() = default;
    virtual void Draw() = 0;
  };

  virtual ~GraphicsFilter() = default;
  virtual void Attach(DrawCallback* callback) = 0;
  virtual void Detach() = 0;
  virtual void Draw() = 0;
  virtual unsigned int width() = 0;
  virtual unsigned int height() = 0;
  virtual void Resize(unsigned int width, unsigned int height) = 0;
  virtual GraphicsTexture* texture() = 0;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_FILTER_H_
