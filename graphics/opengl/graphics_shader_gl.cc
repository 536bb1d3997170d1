// Compiling and linking. Entered by the thread that has the GL context current.
#include "graphics/opengl/graphics_shader_gl.h"

#include "foundation/logger.h"
#include "graphics/opengl/gl_error.h"

namespace {

// The log of a shader or a program; empty when it holds nothing but its terminator.
template <class GetParameter, class GetLog>
std::string InfoLog(GLuint object, GetParameter get_parameter, GetLog get_log) {
  GLint length = 0;
  get_parameter(object, GL_INFO_LOG_LENGTH, &length);
  if (length <= 1) return std::string();
  std::string log(static_cast<std::size_t>(length), '\0');
  get_log(object, length, nullptr, &log[0]);
  return log;
}

// Returns whether the source compiles; if not, *log holds what the compiler says.
bool Compile(GLuint shader, const char* source, std::string* log) {
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  GLint compiled = GL_FALSE;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
  if (compiled) return true;
  *log = InfoLog(shader, glGetShaderiv, glGetShaderInfoLog);
  return false;
}

// Returns 0 when linking fails; *lacked_memory tells whether there was no program to link.
GLuint Link(GLuint vertex, GLuint fragment, bool* lacked_memory) {
  const GLuint program = glCreateProgram();
  if (!program) {
    *lacked_memory = true;
    Logger::default_logger()->Error("CreateProgram linked error");
    return 0;
  }
  glAttachShader(program, vertex);
  glAttachShader(program, fragment);
  glBindAttribLocation(program, GraphicsShaderGL::kPositionLocation, "a_pos");
  glBindAttribLocation(program, GraphicsShaderGL::kTexCoordLocation, "a_tex_coord");
  glLinkProgram(program);
  GLint linked = GL_FALSE;
  glGetProgramiv(program, GL_LINK_STATUS, &linked);
  if (linked) return program;
  Logger::default_logger()->Error("CreateProgram linked error");
  const std::string log = InfoLog(program, glGetProgramiv, glGetProgramInfoLog);
  if (!log.empty()) Logger::default_logger()->Error("Error linking program:%s\n", log.c_str());
  glDeleteProgram(program);
  return 0;
}

}  // namespace

GraphicsShaderGL::GraphicsShaderGL(const std::string& name) : name_(name) {}

GraphicsShaderGL::~GraphicsShaderGL() { Delete(); }

void GraphicsShaderGL::Delete() {
  if (program_) glDeleteProgram(program_);
  program_ = 0;
  bindings_ = Bindings();
}

bool GraphicsShaderGL::Init(const char* vertex_source, const char* fragment_source) {
  Delete();
  lacked_memory_ = false;
  if (!vertex_source || !fragment_source) return false;
  const GLuint vertex = glCreateShader(GL_VERTEX_SHADER);
  const GLuint fragment = glCreateShader(GL_FRAGMENT_SHADER);
  std::string log;
  if (!Compile(vertex, vertex_source, &log)) {
    if (!log.empty()) Logger::default_logger()->Error("Error compiling vertex shader:%s\n", log.c_str());
  } else if (!Compile(fragment, fragment_source, &log)) {
    if (!log.empty()) Logger::default_logger()->Error("Error compiling fragment shader:%s\n", log.c_str());
  } else {
    program_ = Link(vertex, fragment, &lacked_memory_);
  }
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  if (program_) {
    LookUpBindings();
  } else if (!lacked_memory_) {
    lacked_memory_ = !vertex || !fragment || CheckGLError(__FILE__, __LINE__) == GL_OUT_OF_MEMORY;
  }
  return program_ != 0;
}

bool GraphicsShaderGL::Bind() {
  if (!program_) return false;
  glUseProgram(program_);
  return true;
}

GLint GraphicsShaderGL::GetUniformLocation(const char* name) {
  return program_ ? glGetUniformLocation(program_, name) : -1;
}

GLuint GraphicsShaderGL::GetUniformBlockIndex(const char* name) {
  return program_ ? glGetUniformBlockIndex(program_, name) : GL_INVALID_INDEX;
}

void GraphicsShaderGL::LookUpBindings() {
  for (int& i = bindings_.texture_count; i < kMaxTextures; ++i) {
    bindings_.textures[i] = GetUniformLocation(("u_tex" + std::to_string(i)).c_str());
    if (bindings_.textures[i] < 0) break;
  }
  for (int& i = bindings_.buffer_count; i < kMaxBuffers; ++i) {
    bindings_.buffer_blocks[i] = GetUniformBlockIndex(("u_buf" + std::to_string(i)).c_str());
    if (bindings_.buffer_blocks[i] == GL_INVALID_INDEX) break;
  }
  bindings_.mvp_block = GetUniformBlockIndex("mvp");
  WarnOfGap("u_tex", bindings_.texture_count, kMaxTextures,
            [this](const std::string& name) { return GetUniformLocation(name.c_str()) >= 0; });
  WarnOfGap("u_buf", bindings_.buffer_count, kMaxBuffers,
            [this](const std::string& name) { return GetUniformBlockIndex(name.c_str()) != GL_INVALID_INDEX; });
}

template <class Find>
void GraphicsShaderGL::WarnOfGap(const char* prefix, int count, int max, Find find) const {
  for (int i = count + 1; i < max; ++i) {
    const std::string name = prefix + std::to_string(i);
    if (!find(name) && !find(name + "[0]")) continue;
    Logger::default_logger()->Warn("The program \"%s\" uses %s but not %s%d: %s is not bound, nor what follows it",
                                   name_.c_str(), name.c_str(), prefix, count, name.c_str());
    return;
  }
}
