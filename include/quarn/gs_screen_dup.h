// The picture of a screen, as a texture. Words and tags: quarn.h.
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
  // A duplicator of one screen.
  //
  // `name`: the display's; null as well as any other, for this version looks at none.
  explicit GsScreenDup(const char* name, GsDevice* device = nullptr);
  // Destroys the duplicator and its latest capture.
  //
  // Blocks: no: in this version there is neither.
  ~GsScreenDup();

  GsScreenDup(const GsScreenDup&) = delete;
  GsScreenDup& operator=(const GsScreenDup&) = delete;

  // Returns whether the object is valid: never so in this version.
  //
  // Thread: any.
  // Blocks: no.
  bool valid() const;

  // Captures the screen.
  //
  // Returns a code: 0 or more, or negative on failure, which is what this version answers.
  int Dup();
  // Returns the latest capture; null when there is none.
  //
  // Ownership: the duplicator's, until the next Dup.
  GsTexture* last_frame() const;
  // Returns whether the screen shows a high dynamic range.
  bool is_hdr() const;
  // Returns the reference white of standard pictures in nits; 80 without a screen.
  unsigned int sdr_white_level() const;

 private:
  GraphicsDuplicator* impl_ = nullptr;
  GsTexture* last_frame_ = nullptr;
};

#endif  // QUARN_GS_SCREEN_DUP_H_
