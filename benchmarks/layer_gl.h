// Layers drawn with the least work: corners placed by the processor, all of them uploaded at once, one draw call each.
#ifndef QUARN_BENCHMARKS_LAYER_GL_H_
#define QUARN_BENCHMARKS_LAYER_GL_H_

#include <quarn/gs_types.h>

#include "benchmarks/bare_gl.h"

struct LayerVertex {
  float x, y, u, v;
};

// Samples the texture of unit 0 with filtering. `swizzle`: the order of its channels, for instance "rgba".
GLuint LinkLayerProgram(const char* swizzle);

// Makes a vertex array for corners and leaves it bound, and its buffer too, for glBufferData of the LayerVertex.
void BindLayerVertices();

// Four corners, in the arithmetic of the engine's vertex program, to the bit.
void PlaceLayer(const gs_transform& placement, float width, float height, LayerVertex* corners);

// Draws the layer with that number among the corners.
inline void DrawLayer(int index) { glDrawElementsBaseVertex(GL_TRIANGLES, 6, GL_UNSIGNED_INT, nullptr, 4 * index); }

#endif  // QUARN_BENCHMARKS_LAYER_GL_H_
