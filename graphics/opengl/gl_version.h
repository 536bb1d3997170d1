// What the current GL context offers beyond OpenGL 3.2.
#ifndef QUARN_GRAPHICS_OPENGL_GL_VERSION_H_
#define QUARN_GRAPHICS_OPENGL_GL_VERSION_H_

// Whether it is of that version (10 * major + minor) or later, or has the extension that brings the same by the same
// names. Asks GL, which takes a while: for when a context is built.
bool HasGL(int version, const char* extension);

#endif  // QUARN_GRAPHICS_OPENGL_GL_VERSION_H_
