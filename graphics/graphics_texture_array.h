// The textures on units 0 to 3 of one draw.
#ifndef QUARN_GRAPHICS_GRAPHICS_TEXTURE_ARRAY_H_
#define QUARN_GRAPHICS_GRAPHICS_TEXTURE_ARRAY_H_

class GraphicsTexture;

// Null entries leave their unit alone. Nothing is owned.
class GraphicsTextureArray {
 public:
  explicit GraphicsTextureArray(GraphicsTexture* texture);
  GraphicsTextureArray(GraphicsTexture* tex0, GraphicsTexture* tex1, GraphicsTexture* tex2, GraphicsTexture* tex3);

  void Bind();
  void Unbind();

 private:
  GraphicsTexture* textures_[4];
};

#endif  // QUARN_GRAPHICS_GRAPHICS_TEXTURE_ARRAY_H_
