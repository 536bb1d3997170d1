// Pictures of video on the GPU. Words and tags: quarn.h.
#ifndef QUARN_GS_VIDEO_TEXTURE_H_
#define QUARN_GS_VIDEO_TEXTURE_H_

#include <quarn/export.h>
#include <quarn/gs_texture.h>

class GsDevice;
struct GsVideoTextureState;

// An image whose pixels come as decoders have them, in planes of Y, U and V. Each new picture is uploaded as it is and
// turned into red, green and blue once, on the GPU; what shaders sample is an opaque image of the picture's size, which
// is bound and drawn as any GsTexture is. Until the first picture it is black.
//
//   GsVideoTexture video(1920, 1080, GsVideoTexture::kLayoutNV12);
//   video.SetColor(GsVideoTexture::kMatrixBT709, GsVideoTexture::kRangeLimited, GsVideoTexture::kChromaLeft);
//   const unsigned char* const planes[] = {luma, chroma};
//   const unsigned int strides[] = {1920, 1920};
//   video.Update(planes, strides);     // For each picture, in TickSource for instance.
//   GsTextureBinder binder(&video);    // And in Draw, with "rgba".
//
// Chroma has half of the picture's width and height, of odd sides the half and one more, and is interpolated between
// its samples, from where they lie. The colours are those of the picture, within a level of 255: transfer functions and
// primaries are left alone.
//
// Thread: any. Update may run while frames draw with the image (the GL work runs under the engine's lock); destruction
// is caller-serialised with every other use.
class QUARN_EXPORT GsVideoTexture : public GsTexture {
 public:
  // How the planes lie in memory.
  enum Layout : int {
    kLayoutI420 = 0,  // Three planes: Y, U, V, one byte a value.
    kLayoutNV12 = 1,  // Two planes: Y, and U and V in turn, one byte a value.
    kLayoutP010 = 2,  // As NV12, in 16-bit words of the machine's byte order whose upper ten bits are the value.
  };
  // How Y, U and V are made of red, green and blue.
  enum Matrix : int {
    kMatrixBT601 = 0,   // ITU-R BT.601.
    kMatrixBT709 = 1,   // ITU-R BT.709.
    kMatrixBT2020 = 2,  // ITU-R BT.2020, non-constant luminance.
  };
  // Which values are black and white.
  enum Range : int {
    kRangeLimited = 0,  // Y of 16 to 235, and U and V of 16 to 240, in 8 bits.
    kRangeFull = 1,     // All values.
  };
  // Where a sample of chroma lies among its four pixels: between the rows, and so far along them.
  enum ChromaSite : int {
    kChromaLeft = 0,    // At the left pixels.
    kChromaCenter = 1,  // Between the two.
  };

  // A black image, for pictures of BT.709 in the limited range with chroma at the left. Bad arguments give an inert
  // texture and an error line.
  //
  // `width`, `height`: pixels, each at least 1 and at most the driver's longest texture side.
  // `layout`: that of every picture.
  //
  // Blocks: stage.
  GsVideoTexture(unsigned int width, unsigned int height, Layout layout, GsDevice* device = nullptr);
  // Destroys the image.
  //
  // Blocks: stage.
  ~GsVideoTexture() override;

  // Says what colours the values mean, from the next Update on.
  //
  // `matrix`: how they are made of red, green and blue; BT.709 at first.
  // `range`: which of them are black and white; limited at first.
  // `site`: where chroma lies; left at first.
  // Returns false, with an error line, when one of them is none of the above, and when the texture is inert: then all
  // stays as it was.
  bool SetColor(Matrix matrix, Range range, ChromaSite site);

  // Shows another picture.
  //
  // `planes`: the rows of each plane, the top row first, three planes of I420, two of the others; none may be null.
  // `strides`: bytes from a row's start to the next one's, for each plane: at least a row's own bytes; null is refused.
  // Returns false when that is not possible: then the last picture stays, and the log says why, once until an update
  // succeeds.
  //
  // Blocks: stage.
  // Ownership: the planes are read during the call only.
  bool Update(const unsigned char* const* planes, const unsigned int* strides);

 private:
  explicit GsVideoTexture(GsVideoTextureState* state);

  GsVideoTextureState* state_;  // Null: inert.
};

#endif  // QUARN_GS_VIDEO_TEXTURE_H_
