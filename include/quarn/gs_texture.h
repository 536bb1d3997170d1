// Images on the GPU. Words and tags: quarn.h.
#ifndef QUARN_GS_TEXTURE_H_
#define QUARN_GS_TEXTURE_H_

#include <atomic>

#include <quarn/export.h>

class GraphicsFrame;
class GraphicsTexture;
class GraphicsTextureArray;
class GsDevice;

// An image that shaders sample: made from pixels, from an external image, or wrapping a picture of the engine. When it
// cannot be made it is inert: size 0, null native_obj, updates ignored.
//
// Thread: any. Update may run while frames draw with the texture (the GL work runs under the engine's lock);
// SetRotation and destruction are caller-serialised with every other use.
class QUARN_EXPORT GsTexture {
 public:
  // The layouts of pixels.
  enum Format : int {
    kTextureRGBA = 0,    // 4 bytes a pixel, R G B A in memory.
    kTextureBGRA = 1,    // 4 bytes a pixel; no texture of this layout can be made in this version.
    kTextureR8 = 2,      // 1 byte a pixel; an image made from pixels gets no storage in this version.
    kTextureRG8 = 3,     // 2 bytes a pixel.
    kTextureRGBA16 = 4,  // 8 bytes a pixel; no texture of this layout can be made in this version.
  };

  // An image with a copy of the host's pixels. Bad arguments give an inert texture and, where the host could not know,
  // an error line.
  //
  // `data`: the rows, the top row first; null makes the texture inert, with an error line.
  // `stride`: bytes from a row's start to the next one's, any value: less than a row's own bytes where they overlap, 0
  // where one row serves for all.
  // `format`: the layout of the pixels.
  // `width`, `height`: pixels, each at least 1 and at most the driver's longest texture side.
  //
  // Blocks: stage.
  // Ownership: `data` is copied.
  GsTexture(const unsigned char* data, unsigned int stride, Format format, unsigned int width, unsigned int height,
            GsDevice* device = nullptr);
  // An empty image. Inert in this version: the device logs that it cannot make one.
  //
  // `format`: any.
  // `width`, `height`: pixels, each at least 1.
  GsTexture(Format format, unsigned int width, unsigned int height, GsDevice* device = nullptr);
  // For the library's own use: from a frame of the engine.
  GsTexture(GraphicsFrame&& frame, GsDevice* device);
  // An image of the size of an external one. It holds no pixels until Update(image), and is sampled through a
  // sampler2DRect with coordinates in pixels, y = 0 being the image's top row: with the v_tex_coord of glsl_src.h as
  // "coord" and the image's width and height as "size",
  //
  //   texture(u_tex0, vec2(coord.x, 1.0 - coord.y) * size)
  //
  // `external_image`: a QnExternalImage*; null makes the texture inert, and so does a side of the image that is 0 or
  // longer than the driver's longest side of such a texture, with an error line.
  //
  // Blocks: stage.
  // Ownership: the image is read during the call only.
  explicit GsTexture(void* external_image, GsDevice* device = nullptr);
  // For the library's own use: wraps an engine texture without owning it.
  explicit GsTexture(GraphicsTexture* texture);
  // Destroys the image, when it owns one.
  //
  // Blocks: stage, when it owns an image.
  virtual ~GsTexture();

  GsTexture(const GsTexture&) = delete;
  GsTexture& operator=(const GsTexture&) = delete;

  // Returns whether the object is valid: made whole, and its device can draw.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // Replaces the pixels. What does not fit changes nothing, and the log says so until an update does.
  //
  // `data`, `stride`: rows, as the constructor takes them; null data changes nothing, with an error line each time.
  // `format`: the constructor's, and RGBA.
  // `width`, `height`: the constructor's, in pixels.
  //
  // Blocks: stage.
  // Ownership: `data` is copied.
  void Update(const unsigned char* data, unsigned int stride, Format format, unsigned int width, unsigned int height);
  // Takes the pixels of an external image. What does not fit changes nothing, with an error line, and neither does an
  // update of a texture that was not made from one.
  //
  // `external_image`: a QnExternalImage* of the texture's size at least, of which the upper left part is taken; null is
  // ignored. One of an unknown layout is taken for BGRA, with an error line.
  //
  // Blocks: stage.
  // Ownership: the image is read during the call only.
  void Update(void* external_image);

  // Returns the width in pixels.
  unsigned int width() const;
  // Returns the height in pixels.
  unsigned int height() const;
  // Sets a rotation that the host may store with the image; the engine does not apply it.
  //
  // `rotation`: radians, any value.
  void SetRotation(float rotation);
  // Returns the rotation stored with the image, in radians.
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

// Binds up to four textures to the texture units 0 to 3 (u_tex0 to u_tex3) for as long as it lives. Make it on the
// stack; the textures must outlive it. Other textures may come and go meanwhile. At any other time than inside a frame
// callback nothing happens.
//
// Thread: render, inside a frame callback.
class QUARN_EXPORT GsTextureBinder {
 public:
  // Binds nothing.
  GsTextureBinder();
  // Binds each texture to the unit of its number.
  //
  // `tex0`: for u_tex0, and so on up to the fourth; null leaves its unit alone.
  //
  // Ownership: the textures stay the caller's.
  explicit GsTextureBinder(GsTexture* tex0);
  GsTextureBinder(GsTexture* tex0, GsTexture* tex1);
  GsTextureBinder(GsTexture* tex0, GsTexture* tex1, GsTexture* tex2);
  GsTextureBinder(GsTexture* tex0, GsTexture* tex1, GsTexture* tex2, GsTexture* tex3);
  // Leaves nothing bound to the units of its textures.
  ~GsTextureBinder();

  GsTextureBinder(const GsTextureBinder&) = delete;
  GsTextureBinder& operator=(const GsTextureBinder&) = delete;

 private:
  alignas(void*) unsigned char storage_[4 * sizeof(void*)];  // Of the array, so that a draw allocates nothing.
  GraphicsTextureArray* array_;
};

#endif  // QUARN_GS_TEXTURE_H_
