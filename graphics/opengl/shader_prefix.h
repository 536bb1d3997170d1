// What stands in front of every shader source.
#ifndef QUARN_GRAPHICS_OPENGL_SHADER_PREFIX_H_
#define QUARN_GRAPHICS_OPENGL_SHADER_PREFIX_H_

// The name of the macro says which branch of the sources is meant on every platform; it must stay.
inline constexpr char kShaderPrefix[] = "#version 150\n#define MACOSX\n";

#endif  // QUARN_GRAPHICS_OPENGL_SHADER_PREFIX_H_
