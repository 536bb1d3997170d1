// The OpenGL core interface, linked directly. The engine keeps to what version 3.2 has.
#ifndef QUARN_GRAPHICS_OPENGL_GL_H_
#define QUARN_GRAPHICS_OPENGL_GL_H_

#define GL_GLEXT_PROTOTYPES 1
#include <GL/glcorearb.h>

#endif  // QUARN_GRAPHICS_OPENGL_GL_H_
