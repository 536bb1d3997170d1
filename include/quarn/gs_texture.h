// Images on the GPU.
#ifndef QUARN_GS_TEXTURE_H_
#define QUARN_GS_TEXTURE_H_

#include <atomic>

#include <quarn/export.h>

class GraphicsFrame;
class GraphicsTexture;
class GraphicsTextureArray;
class GsDevice;

// An image that shaders sample: made from pixels, from an external image, or wrapping a picture of the engine. When
// it cannot be made it is inert: size 0, null native_obj, updates ignored.
//
// Thread: any. Update may run while frames draw with the texture (the GL work runs under the engine's lock);
// SetRotation and destruction are caller-serialised with every other use.
class QUARN_EXPORT GsTexture {
 public:
  enum Format : int {
    kTextureRGBA = 0,    // 4 bytes a pixel, R G B A in memory.
    kTextureBGRA = 1,    // 4 bytes a pixel; no texture of this layout can be made in this version.
    kTextureR8 = 2,      // 1 byte a pixel; an image made from pixels gets no storage in this version.
    kTextureRG8 = 3,     // 2 bytes a pixel.
    kTextureRGBA16 = 4,  // 8 bytes a pixel; no texture of this layout can be made in this version.
  };

  // Copies `height` rows of `width` pixels, the top row first, from `data`; rows start `stride` bytes apart, less than
  // a row's own bytes where they overlap, 0 where one row serves for all. Each side is at least 1 and at most the
  // driver's longest texture side. A null `device` means the default device. Bad arguments give an inert texture and,
  // where the host could not know, an error line.
  //
  // Blocks: for the running stage of a frame.
  // Ownership: `data` is copied.
  GsTexture(const unsigned char* data, unsigned int stride, Format format, unsigned int width, unsigned int height,
            GsDevice* device);
  // An empty image. Inert in this version: the device logs that it cannot make one.
  GsTexture(Format format, unsigned int width, unsigned int height, GsDevice* device);
  // From a frame of the engine. For the library's own use.
  GsTexture(GraphicsFrame&& frame, GsDevice* device);
  // From a QnExternalImage*, whose size it takes. It holds no pixels until Update(image), and is sampled through a
  // sampler2DRect with coordinates in pixels, y = 0 being the image's top row: with the v_tex_coord of glsl_src.h as
  // `coord` and the image's `size`,
  //
  //   texture(u_tex0, vec2(coord.x, 1.0 - coord.y) * size)
  //
  // Blocks: for the running stage of a frame.
  GsTexture(void* external_image, GsDevice* device);
  // Wraps an engine texture without owning it. For the library's own use.
  explicit GsTexture(GraphicsTexture* texture);
  // Blocks: for the running stage of a frame, when it owns an image.
  virtual ~GsTexture();

  GsTexture(const GsTexture&) = delete;
  GsTexture& operator=(const GsTexture&) = delete;

  // Replaces the pixels. Layout and size must be those of the constructor; anything else changes nothing, as does any
  // layout but RGBA, and the log says so until an update does.
  //
  // Blocks: for the running stage of a frame.
  // Ownership: `data` is copied.
  void Update(const unsigned char* data, unsigned int stride, Format format, unsigned int width, unsigned int height);
  // Takes the pixels of a QnExternalImage* of the texture's size. Problems are logged.
  //
  // Blocks: for the running stage of a frame.
  // Ownership: the image is read during the call only.
  void Update(void* external_image);

  // Size in pixels.
  unsigned int width() const;
  unsigned int height() const;
  // A rotation in radians that the host may store with the image; the engine does not apply it.
  void SetRotation(float rotation);
  float rotation() const;
  // Reserved: null in this version.
  void* native_obj() const;

  // For the library's own use.
  GraphicsTexture* impl() const;

 private:
  GraphicsTexture* impl_;
  bool owned_;
  std::atomic<bool> update_refused_{false};  // So that a row of updates that change nothing is one line in the log.
};

// Binds up to four textures to the texture units 0 to 3 (u_tex0 to u_tex3) for as long as it lives. A null texture
// leaves its unit alone. Make it on the stack; the textures must outlive it. Other textures may come and go meanwhile.
//
// Thread: render, inside a Draw, TickSource, OnTexture or queued task; at any other time nothing happens.
class QUARN_EXPORT GsTextureBinder {
 public:
  GsTextureBinder();
  explicit GsTextureBinder(GsTexture* tex0);
  GsTextureBinder(GsTexture* tex0, GsTexture* tex1);
  GsTextureBinder(GsTexture* tex0, GsTexture* tex1, GsTexture* tex2);
  GsTextureBinder(GsTexture* tex0, GsTexture* tex1, GsTexture* tex2, GsTexture* tex3);
  ~GsTextureBinder();

  GsTextureBinder(const GsTextureBinder&) = delete;
  GsTextureBinder& operator=(const GsTextureBinder&) = delete;

 private:
  alignas(void*) unsigned char storage_[4 * sizeof(void*)];  // Of the array, so that a draw allocates nothing.
  GraphicsTextureArray* array_;
};

#endif  // QUARN_GS_TEXTURE_H_
