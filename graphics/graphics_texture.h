// An image on the GPU.
#ifndef QUARN_GRAPHICS_GRAPHICS_TEXTURE_H_
#define QUARN_GRAPHICS_GRAPHICS_TEXTURE_H_

class GraphicsFrame;

class GraphicsTexture {
 public:
  virtual ~GraphicsTexture() = default;
  virtual bool BindShaderResource(int unit) = 0;
  virtual void ReleaseShaderResource() = 0;
  virtual bool BindRenderTarget() = 0;
  virtual void ReleaseRenderTarget() = 0;
  virtual void Update(GraphicsFrame&& frame) = 0;
  virtual void Update(void* external_image) = 0;
  virtual unsigned int width() = 0;
  virtual unsigned int height() = 0;
  virtual void SetRotation(float rotation) = 0;
  virtual float rotation() = 0;
  virtual void* native_obj() = 0;
};

// Has a texture that belongs to another object of the host's, as a view's overlay does, not be counted among the
// textures that a host may leave behind: a device that goes names the objects that a host knows. Null for no texture.
void CountAsPart(GraphicsTexture* texture);

#endif  // QUARN_GRAPHICS_GRAPHICS_TEXTURE_H_
