// The picture of a screen, as a texture.
#ifndef QUARN_GS_SCREEN_DUP_H_
#define QUARN_GS_SCREEN_DUP_H_

#include <quarn/export.h>

class GraphicsDuplicator;
class GsDevice;
class GsTexture;

// A screen duplicator. The device of this version offers none, so every operation answers as an empty source.
//
// Thread: caller-serialised.
class QUARN_EXPORT GsScreenDup {
 public:
  // `name` is the display's. A null `device` means the default device.
  GsScreenDup(const char* name, GsDevice* device);
  ~GsScreenDup();

  GsScreenDup(const GsScreenDup&) = delete;
  GsScreenDup& operator=(const GsScreenDup&) = delete;

  // Captures the screen. Returns a negative value on failure.
  int Dup();
  // The latest capture; null when there is none.
  //
  // Ownership: the duplicator's, until the next Dup.
  GsTexture* last_frame() const;
  // Whether the screen shows a high dynamic range.
  bool is_hdr() const;
  // The reference white of standard pictures in nits; 80 without a screen.
  unsigned int sdr_white_level() const;

 private:
  GraphicsDuplicator* impl_ = nullptr;
  GsTexture* last_frame_ = nullptr;
};

#endif  // QUARN_GS_SCREEN_DUP_H_
