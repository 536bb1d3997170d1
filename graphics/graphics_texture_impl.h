// What every texture shares: its size and rotation.
#ifndef QUARN_GRAPHICS_GRAPHICS_TEXTURE_IMPL_H_
#define QUARN_GRAPHICS_GRAPHICS_TEXTURE_IMPL_H_

#include "graphics/graphics_texture.h"

class GraphicsTextureImpl : public GraphicsTexture {
 public:
  // A side of zero is a mistake of the engine and aborts, in every build: factories refuse such sizes before.
  GraphicsTextureImpl(unsigned int width, unsigned int height);

  bool BindShaderResource(int unit) override;
  void ReleaseShaderResource() override;
  bool BindRenderTarget() override;
  void ReleaseRenderTarget() override;
  void Update(GraphicsFrame&& frame) override;
  void Update(void* external_image) override;
  unsigned int width() override;
  unsigned int height() override;
  void SetRotation(float rotation) override;
  float rotation() override;
  void* native_obj() override;

 private:
  unsigned int width_;
  unsigned int height_;
  float rotation_ = 0.0f;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_TEXTURE_IMPL_H_
