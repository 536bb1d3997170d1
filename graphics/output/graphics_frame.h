// Pictures in memory. Any thread, one at a time for each frame.
#ifndef QUARN_GRAPHICS_OUTPUT_GRAPHICS_FRAME_H_
#define QUARN_GRAPHICS_OUTPUT_GRAPHICS_FRAME_H_

#include <cstdint>

#include "graphics/pixel_format.h"

// A block of pixels cut into up to four planes. Movable, not copyable; owns its one allocation.
class GraphicsFrame {
 public:
  // An empty frame: every field zero.
  GraphicsFrame();
  // Allocates planes for a picture; the pixels are not initialised. An unknown format, a size of no bytes, one whose
  // byte count does not fit 32 bits, and a failed allocation leave the frame empty.
  GraphicsFrame(GraphicsFormatInternal format, unsigned int width, unsigned int height);
  // The same, then Copy.
  GraphicsFrame(const unsigned char** src_data, unsigned int* src_linesize, GraphicsFormatInternal format,
                unsigned int width, unsigned int height);
  GraphicsFrame(GraphicsFrame&& other) noexcept;
  // Exchanges the two frames: the former pixels go to `other`, which frees them. Kept: C13.
  GraphicsFrame& operator=(GraphicsFrame&& other) noexcept;
  ~GraphicsFrame();
  GraphicsFrame(const GraphicsFrame&) = delete;
  GraphicsFrame& operator=(const GraphicsFrame&) = delete;

  // Sets every byte of the block to 0.
  void Clear();
  // Copies `height` rows of plane 0, of the frame's own pitch each, upside down: the first source row becomes the last
  // of the frame. Copies only the layouts whose row of the table says so. More rows than the frame has are not copied
  // at all.
  void Copy(const unsigned char** src_data, unsigned int* src_linesize, GraphicsFormatInternal format,
            unsigned int width, unsigned int height);

  unsigned char* data[4];     // The start of each plane; data[0] owns the block.
  std::uint32_t linesize[4];  // Bytes from a row to the next, for each plane.
  GraphicsFormatInternal format;
  std::uint32_t width;   // Pixels.
  std::uint32_t height;  // Pixels.
};

#endif  // QUARN_GRAPHICS_OUTPUT_GRAPHICS_FRAME_H_
