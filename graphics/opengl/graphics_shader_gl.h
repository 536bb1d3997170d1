// A linked GL program under a name.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_SHADER_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_SHADER_GL_H_

#include <string>

#include "graphics/graphics_shader.h"
#include "graphics/opengl/gl.h"

// Made, used and destroyed with the GL context current.
class GraphicsShaderGL : public GraphicsShader {
 public:
  // The locations of a_pos and a_tex_coord, which the unit quad's vertices are bound to.
  static constexpr GLuint kPositionLocation = 0;
  static constexpr GLuint kTexCoordLocation = 1;

  static constexpr int kMaxTextures = 4;
  static constexpr int kMaxBuffers = 10;

  // The names that drawing relies on, looked up once at link time. Numbered names count up to the first that the
  // program lacks. Kept: C23.
  struct Bindings {
    GLint textures[kMaxTextures];  // Locations of u_tex0 to u_tex3.
    int texture_count = 0;
    GLuint buffer_blocks[kMaxBuffers];  // Indices of u_buf0 to u_buf9.
    int buffer_count = 0;
    GLuint mvp_block = GL_INVALID_INDEX;
  };

  explicit GraphicsShaderGL(const std::string& name);
  ~GraphicsShaderGL() override;
  GraphicsShaderGL(const GraphicsShaderGL&) = delete;
  GraphicsShaderGL& operator=(const GraphicsShaderGL&) = delete;

  // Compiles and links; what an earlier Init has made goes first. Returns false, with the compiler's messages in the
  // log, when that fails. Samplers and blocks that drawing will not find are logged.
  bool Init(const char* vertex_source, const char* fragment_source);
  // Whether the last Init failed because GL ran out of memory: another may succeed.
  bool lacked_memory() const { return lacked_memory_; }
  bool Bind() override;

  // -1 without a program or a uniform of that name.
  GLint GetUniformLocation(const char* name);
  // GL_INVALID_INDEX without a program or a block of that name.
  GLuint GetUniformBlockIndex(const char* name);
  GLuint program() const { return program_; }
  const Bindings& bindings() const { return bindings_; }
  // The row of glsl_src that it was built from; -1: a host's own.
  int built_in_row() const { return built_in_row_; }
  void set_built_in_row(int row) { built_in_row_ = row; }
  // Lets go of the program without a GL call: it dies with its context.
  void Forget() { program_ = 0; }

 private:
  void Delete();
  void LookUpBindings();
  // Tells of a numbered name that the program uses behind the first that it lacks. `find` says whether it uses a name.
  template <class Find>
  void WarnOfGap(const char* prefix, int count, int max, Find find) const;

  std::string name_;
  GLuint program_ = 0;
  bool lacked_memory_ = false;
  Bindings bindings_;
  int built_in_row_ = -1;
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_SHADER_GL_H_
