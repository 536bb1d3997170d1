// Counts what there is of GL and EGL objects: the functions that make and delete them stand in the program, before the
// driver's, and hand on what they are asked.
#ifndef QUARN_TESTS_SOAK_GL_COUNT_H_
#define QUARN_TESTS_SOAK_GL_COUNT_H_

#include <array>

namespace soak {

// The kinds.
inline constexpr const char* kGLNames[] = {"textures", "framebuffers", "buffers", "vertex arrays", "shaders",
                                           "programs", "samplers",     "syncs",   "contexts",      "surfaces"};
using GLCounts = std::array<long, sizeof(kGLNames) / sizeof(kGLNames[0])>;

// How many there are of each kind, made and not deleted. Objects of a context go with it, whether somebody has deleted
// them or not; here they go on counting, for who makes something is to delete it. The one that is not is the mark of a
// device's context, a sync.
GLCounts ReadGLCounts();

}  // namespace soak

#endif  // QUARN_TESTS_SOAK_GL_COUNT_H_
