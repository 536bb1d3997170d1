// The OpenGL core interface, linked directly. The engine needs version 3.2; what it uses of later ones it asks for
// first (HasGL), and does without where that is missing.
#ifndef QUARN_GRAPHICS_OPENGL_GL_H_
#define QUARN_GRAPHICS_OPENGL_GL_H_

#define GL_GLEXT_PROTOTYPES 1
#include <GL/glcorearb.h>

#endif  // QUARN_GRAPHICS_OPENGL_GL_H_
