// A linked shader program.
#ifndef QUARN_GRAPHICS_GRAPHICS_SHADER_H_
#define QUARN_GRAPHICS_GRAPHICS_SHADER_H_

class GraphicsShader {
 public:
  virtual ~GraphicsShader() = default;
  // Makes the program the one that draws. Returns false when there is none.
  virtual bool Bind() = 0;
};

#endif  // QUARN_GRAPHICS_GRAPHICS_SHADER_H_
