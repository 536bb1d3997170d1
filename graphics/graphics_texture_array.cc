// Binds the textures of one draw. Render thread.
#include "graphics/graphics_texture_array.h"

#include "graphics/graphics_texture.h"

GraphicsTextureArray::GraphicsTextureArray(GraphicsTexture* texture)
    : GraphicsTextureArray(texture, nullptr, nullptr, nullptr) {}

GraphicsTextureArray::GraphicsTextureArray(GraphicsTexture* tex0, GraphicsTexture* tex1, GraphicsTexture* tex2,
                                           GraphicsTexture* tex3)
    : textures_{tex0, tex1, tex2, tex3} {}

void GraphicsTextureArray::Bind() {
  int unit = 0;
  for (GraphicsTexture* texture : textures_) {
    if (texture) texture->BindShaderResource(unit);
    ++unit;
  }
}

void GraphicsTextureArray::Unbind() {
  for (GraphicsTexture* texture : textures_) {
    if (texture) texture->ReleaseShaderResource();
  }
}
