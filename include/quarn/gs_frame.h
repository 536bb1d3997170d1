// Raw frames, as an output delivers them.
#ifndef QUARN_GS_FRAME_H_
#define QUARN_GS_FRAME_H_

#include <cstdint>

// The layout asked of a GsOutputRaw.
enum GsFormat : std::uint32_t {
  kGsFormatNone = 0,      // Refused.
  kGsFormatRGBA = 1,      // One plane, 4 bytes a pixel, R G B A in memory.
  kGsFormatBGRA = 2,      // One plane, 4 bytes a pixel, B G R A in memory; opaque black until the host adds a program
                          // named "to_rgba", see GsOutputRaw.
  kGsFormatReserved = 3,  // Refused.
  kGsFormatI420 = 4,      // Three planes: Y, U, V, chroma halved both ways. BT.709, limited range.
  kGsFormatNV12 = 5,      // Two planes: Y and interleaved U V, chroma halved both ways. BT.709, limited range.
};

// One delivered picture. Planes are valid during the call that delivers them.
struct GsFrame {
  std::uint32_t width;           // Pixels.
  std::uint32_t height;          // Pixels.
  const unsigned char* data[4];  // The planes, the top row first; null where the layout has none.
  std::uint32_t linesize[4];     // Bytes from a row to the next, for each plane.
  std::uint32_t format;          // Always 1, whatever the layout: go by the format given to the output.
  std::uint64_t timestamp;       // Presentation time, nanoseconds of the monotonic clock; see GsOutput.
};

#endif  // QUARN_GS_FRAME_H_
