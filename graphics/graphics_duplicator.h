// A source of screen pictures.
#ifndef QUARN_GRAPHICS_GRAPHICS_DUPLICATOR_H_
#define QUARN_GRAPHICS_GRAPHICS_DUPLICATOR_H_

class GraphicsTexture;

class GraphicsDuplicator {
 public:
  virtual ~GraphicsDuplicator() = default;
  // Captures the screen into *out. Returns a negative value on failure.
  virtual int Dup(GraphicsTexture** out) = 0;
  virtual bool is_hdr() = 0;
  // The reference white of standard pictures in nits.
  virtual unsigned int sdr_white_level() = 0;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_DUPLICATOR_H_
