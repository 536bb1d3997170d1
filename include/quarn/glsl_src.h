// Sources of the built-in shader programs. Words and tags: quarn.h.
#ifndef QUARN_GLSL_SRC_H_
#define QUARN_GLSL_SRC_H_

#include <quarn/export.h>

// Where each program starts in glsl_src: its name, then its vertex source (+ 1) and fragment source (+ 2).
enum GsGlslSrcIndex : int {
  kGsGlslRgba = 0,       // "rgba": the texture as it is.
  kGsGlslToBgra = 3,     // "to_bgra": red and blue exchanged.
  kGsGlslToY = 6,        // "to_y": the luma plane.
  kGsGlslToUv = 9,       // "to_uv": the interleaved chroma plane.
  kGsGlslToU = 12,       // "to_u": the U plane.
  kGsGlslToV = 15,       // "to_v": the V plane.
  kGsGlslSrcCount = 18,  // How many sources there are.
};

// The sources, without a version line. A host's own programs may use the vertex source of any row: it feeds
// v_tex_coord to the fragment source.
//
// Thread: any.
// Ownership: the library's, for the life of the process.
extern QUARN_EXPORT const char* const glsl_src[kGsGlslSrcCount];

#endif  // QUARN_GLSL_SRC_H_
