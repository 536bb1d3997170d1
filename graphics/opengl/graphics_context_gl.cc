// Rectangle drawing. Entered by the thread that has the GL context current, with the context's lock held.
#include "graphics/opengl/graphics_context_gl.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include <glm/glm.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <quarn/glsl_src.h>

#include "foundation/logger.h"
#include "graphics/internal_types.h"
#include "graphics/opengl/gl_error.h"
#include "graphics/opengl/gl_version.h"
#include "graphics/opengl/graphics_shader_gl.h"
#include "graphics/opengl/plane_programs.h"
#include "graphics/opengl/scoped_binding.h"

namespace {

// In front of every shader source. MACOSX selects the two-channel branch of "to_uv". Kept: C21.
constexpr char kShaderPrefix[] = "#version 150\n#define MACOSX\n";

// Position (x, y, z) and texture coordinate (u, v) of the unit quad's corners.
constexpr float kVertices[] = {
    -0.5f, -0.5f, 0.0f, 0.0f, 0.0f,  //
    -0.5f, 0.5f,  0.0f, 0.0f, 1.0f,  //
    0.5f,  0.5f,  0.0f, 1.0f, 1.0f,  //
    0.5f,  -0.5f, 0.0f, 1.0f, 0.0f,  //
};
constexpr GLuint kIndices[] = {0, 1, 3, 1, 2, 3};
constexpr GLsizei kIndexCount = 6;

constexpr GLsizei kVertexStride = 5 * sizeof(float);
constexpr std::size_t kTexCoordOffset = 3 * sizeof(float);

constexpr GLsizeiptr kMatrixSize = 16 * sizeof(float);
constexpr GLsizeiptr kMvpSize = 3 * kMatrixSize;
constexpr GLsizeiptr kDefaultUniformSize = 256;

constexpr GLuint kMvpBindingPoint = 0;

// A texture of fewer texels costs less to filter than a driver spends on another sampler.
constexpr float kMinTexels = 64 * 64;

void UploadUniforms(GLuint buffer, GLsizeiptr size, const void* data) {
  glBindBuffer(GL_UNIFORM_BUFFER, buffer);
  glBufferData(GL_UNIFORM_BUFFER, size, data, GL_STREAM_DRAW);
  glBindBuffer(GL_UNIFORM_BUFFER, 0);
}

unsigned int Limit(GLenum name) {
  GLint value = 0;
  glGetIntegerv(name, &value);
  return static_cast<unsigned int>(value);
}

int RowOf(const char* vertex_source, const char* fragment_source) {
  for (int row = 0; row < kGsGlslSrcCount; row += 3) {
    if (std::strcmp(vertex_source, glsl_src[row + 1]) == 0 && std::strcmp(fragment_source, glsl_src[row + 2]) == 0) {
      return row;
    }
  }
  return -1;
}

bool IsWhole(float value) { return value == std::floor(value); }

void DeleteBuffer(GLuint* buffer) {
  if (*buffer) glDeleteBuffers(1, buffer);
  *buffer = 0;
}

}  // namespace

GraphicsContextGL::GraphicsContextGL() : plane_programs_(std::make_unique<PlanePrograms>()) {}

GraphicsContextGL::~GraphicsContextGL() = default;

void GraphicsContextGL::BuildShader() {
  untried_rows_.clear();
  for (int row = 0; row < kGsGlslSrcCount; row += 3) {
    if (!GetShader(glsl_src[row])) untried_rows_.push_back(row);
  }
}

GraphicsShader* GraphicsContextGL::FindProgram(const std::string& name) {
  if (GraphicsShader* const program = GetShader(name)) return program;
  CompileBuiltIn(name);
  return GetShader(name);
}

std::vector<int>::const_iterator GraphicsContextGL::FindUntried(const std::string& name) const {
  return std::find_if(untried_rows_.begin(), untried_rows_.end(), [&](int row) { return name == glsl_src[row]; });
}

void GraphicsContextGL::CompileBuiltIn(const std::string& name) {
  const auto place = FindUntried(name);
  if (place == untried_rows_.end()) return;
  const int row = *place;
  static_assert(sizeof(tries_) / sizeof(*tries_) == kGsGlslSrcCount / 3);
  TryAgain& tries = tries_[row / 3];
  if (!tries.IsDue()) return;
  untried_rows_.erase(place);  // Before it, for a log handler may ask for it in the middle.
  try {
    bool lacked_memory = false;
    if (CompileProgram(name, glsl_src[row + 1], glsl_src[row + 2], &lacked_memory) || !lacked_memory) return;
    untried_rows_.push_back(row);
    tries.NoteFailure();
  } catch (const std::bad_alloc&) {
    untried_rows_.push_back(row);  // There is room for it. It is tried again.
    throw;
  }
}

bool GraphicsContextGL::CompileShader(const std::string& name, const char* vertex_source, const char* fragment_source) {
  CompileBuiltIn(name);  // It is the earlier one, if it can be built.
  bool lacked_memory = false;
  return CompileProgram(name, vertex_source, fragment_source, &lacked_memory);
}

bool GraphicsContextGL::CompileProgram(const std::string& name, const char* vertex_source, const char* fragment_source,
                                       bool* lacked_memory) {
  const std::string prefix = kShaderPrefix;
  auto shader = std::make_unique<GraphicsShaderGL>(name);
  if (!shader->Init((prefix + vertex_source).c_str(), (prefix + fragment_source).c_str())) {
    *lacked_memory = shader->lacked_memory();
    Logger::default_logger()->Error("The program \"%s\" could not be built", name.c_str());
    return false;
  }
  shader->set_built_in_row(RowOf(vertex_source, fragment_source));
  AddShader(name, shader.release());
  return true;
}

const char* GraphicsContextGL::BuiltInName(const char* name) {
  lookup_name_ = name;
  int row = -1;
  if (const GraphicsShader* const program = GetShader(lookup_name_)) {
    row = static_cast<const GraphicsShaderGL*>(program)->built_in_row();
  } else if (const auto untried = FindUntried(lookup_name_); untried != untried_rows_.end()) {
    row = *untried;  // It need not be compiled for that.
  }
  return row < 0 ? nullptr : glsl_src[row];
}

void GraphicsContextGL::ReadLimits() {
  max_texture_size_ = Limit(GL_MAX_TEXTURE_SIZE);
  max_rectangle_size_ = Limit(GL_MAX_RECTANGLE_TEXTURE_SIZE);
  has_samplers_ = HasGL(33, "GL_ARB_sampler_objects");
  has_lasting_maps_ = HasGL(44, "GL_ARB_buffer_storage");
}

void GraphicsContextGL::BuildVertexAttrBuffer() {
  glGenBuffers(1, &vertex_buffer_);
  glBindBuffer(GL_ARRAY_BUFFER, vertex_buffer_);
  glBufferData(GL_ARRAY_BUFFER, sizeof(kVertices), kVertices, GL_STATIC_DRAW);
  glBindBuffer(GL_ARRAY_BUFFER, 0);

  glGenBuffers(1, &index_buffer_);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, index_buffer_);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof(kIndices), kIndices, GL_STATIC_DRAW);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);

  const glm::mat4 identities[] = {glm::mat4(1.0f), glm::mat4(1.0f), glm::mat4(1.0f)};
  glGenBuffers(1, &mvp_buffer_);
  UploadUniforms(mvp_buffer_, kMvpSize, identities);
  matrices_.Build(has_lasting_maps_);

  const unsigned char zeros[kDefaultUniformSize] = {};
  glGenBuffers(1, &default_uniform_buffer_);
  UploadUniforms(default_uniform_buffer_, kDefaultUniformSize, zeros);

  glGenVertexArrays(1, &vertex_array_);
  glBindVertexArray(vertex_array_);
  glBindBuffer(GL_ARRAY_BUFFER, vertex_buffer_);
  CheckGLError(__FILE__, __LINE__);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, index_buffer_);
  CheckGLError(__FILE__, __LINE__);
  glVertexAttribPointer(GraphicsShaderGL::kPositionLocation, 3, GL_FLOAT, GL_FALSE, kVertexStride, nullptr);
  CheckGLError(__FILE__, __LINE__);
  glEnableVertexAttribArray(GraphicsShaderGL::kPositionLocation);
  CheckGLError(__FILE__, __LINE__);
  glVertexAttribPointer(GraphicsShaderGL::kTexCoordLocation, 2, GL_FLOAT, GL_FALSE, kVertexStride,
                        reinterpret_cast<const void*>(kTexCoordOffset));
  CheckGLError(__FILE__, __LINE__);
  glEnableVertexAttribArray(GraphicsShaderGL::kTexCoordLocation);
  CheckGLError(__FILE__, __LINE__);
  glBindVertexArray(0);

  if (!has_samplers_) return;
  glGenSamplers(1, &texel_sampler_);
  glSamplerParameteri(texel_sampler_, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glSamplerParameteri(texel_sampler_, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
  glSamplerParameteri(texel_sampler_, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glSamplerParameteri(texel_sampler_, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
}

void GraphicsContextGL::ReleaseVertexAttrBuffer() {
  if (vertex_array_) glDeleteVertexArrays(1, &vertex_array_);
  vertex_array_ = 0;
  DeleteBuffer(&vertex_buffer_);
  DeleteBuffer(&index_buffer_);
  DeleteBuffer(&mvp_buffer_);
  plane_programs_->Release();
  matrices_.Release();
  DeleteBuffer(&default_uniform_buffer_);
  if (texel_sampler_) glDeleteSamplers(1, &texel_sampler_);
  texel_sampler_ = 0;
}

void GraphicsContextGL::ForgetObjects() {
  WalkShaders([](GraphicsShader* shader) { static_cast<GraphicsShaderGL*>(shader)->Forget(); });
  vertex_array_ = vertex_buffer_ = index_buffer_ = mvp_buffer_ = default_uniform_buffer_ = texel_sampler_ = 0;
  matrices_.Forget();
  plane_programs_->Forget();
}

bool GraphicsContextGL::CanDraw(const char* operation) {
  if (IsBound() && IsCurrent()) return true;
  // A context that was never built cannot draw either, and the log has said why.
  if (vertex_buffer_ && !reported_not_current_.exchange(true, std::memory_order_relaxed)) {
    Logger::default_logger()->Error(
        "%s does nothing: the device's GL context is not current on this thread; draw inside a Draw, TickSource, "
        "OnTexture or queued task",
        operation);
  }
  return false;
}

bool GraphicsContextGL::BindShader(const char* name) {
  if (!name || !CanDraw("BindShader")) return false;
  lookup_name_ = name;
  GraphicsShader* const shader = FindProgram(lookup_name_);
  if (!shader || !shader->Bind()) return false;
  current_shader_ = static_cast<GraphicsShaderGL*>(shader);
  bindings_.ReplaceProgram();
  return true;
}

void GraphicsContextGL::UnbindShader() {
  if (!CanDraw("UnbindShader")) return;
  bindings_.UnbindProgram();
  current_shader_ = nullptr;
}

void GraphicsContextGL::SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) {
  if (!CanDraw("SetViewport")) return;
  // The casts keep every bit: a side that becomes negative by them is refused by GL, which is logged here, for what
  // comes next may be a host's own GL.
  const auto signed_width = static_cast<GLsizei>(width), signed_height = static_cast<GLsizei>(height);
  glViewport(static_cast<GLint>(x), static_cast<GLint>(y), signed_width, signed_height);
  if (signed_width < 0 || signed_height < 0) CheckGLError(__FILE__, __LINE__);
}

void GraphicsContextGL::DrawRect(const internal_transform& transform, const internal_vec2& target_size) {
  if (!CanDraw("DrawRect") || !vertex_buffer_ || !index_buffer_ || !current_shader_) return;
  const GraphicsShaderGL::Bindings& bindings = current_shader_->bindings();
  for (int i = 0; i < bindings.texture_count; ++i) glUniform1i(bindings.textures[i], i);
  bindings_.GiveBackTextures();
  BindMatrices(transform, target_size);
  BindConstants();
  const ScopedSampler sampler(ShowsTexelsAsPixels(transform, target_size) ? texel_sampler_ : 0);

  CheckGLError(__FILE__, __LINE__);
  glBindVertexArray(vertex_array_);
  CheckGLError(__FILE__, __LINE__);
  glDrawElements(GL_TRIANGLES, kIndexCount, GL_UNSIGNED_INT, nullptr);
  CheckGLError(__FILE__, __LINE__);
  glBindVertexArray(0);
  CheckGLError(__FILE__, __LINE__);
}

void GraphicsContextGL::BindMatrices(const internal_transform& transform, const internal_vec2& target_size) {
  // A host counts pixels downwards, and GL upwards. Kept: C22.
  glm::mat4 model = glm::translate(glm::mat4(1.0f), glm::vec3(transform.pos.x, -transform.pos.y, 1.0f));
  model = glm::rotate(model, -transform.rotation, glm::vec3(0.0f, 0.0f, 1.0f));
  model = glm::scale(model, glm::vec3(transform.size.x, transform.size.y, 1.0f));
  const glm::vec3 eye(0.0f, 0.0f, 10.0f);
  const glm::mat4 view = glm::lookAt(eye, eye + glm::vec3(0.0f, 0.0f, -1.0f), glm::vec3(0.0f, 1.0f, 0.0f));
  // The origin is the centre of the target, and a unit is a pixel.
  const glm::mat4 projection = glm::ortho(-0.5f * target_size.x, 0.5f * target_size.x, -0.5f * target_size.y,
                                          0.5f * target_size.y, 0.1f, 100.0f);
  float mvp[3 * 16];
  std::memcpy(mvp, glm::value_ptr(model), kMatrixSize);
  std::memcpy(mvp + 16, glm::value_ptr(view), kMatrixSize);
  std::memcpy(mvp + 32, glm::value_ptr(projection), kMatrixSize);

  const GLuint block = current_shader_->bindings().mvp_block;
  if (block == GL_INVALID_INDEX) return;
  glUniformBlockBinding(current_shader_->program(), block, kMvpBindingPoint);
  if (matrices_.Bind(kMvpBindingPoint, mvp, kMvpSize)) return;
  UploadUniforms(mvp_buffer_, kMvpSize, mvp);
  glBindBufferRange(GL_UNIFORM_BUFFER, kMvpBindingPoint, mvp_buffer_, 0, kMvpSize);
}

void GraphicsContextGL::BindConstants() {
  const GraphicsShaderGL::Bindings& bindings = current_shader_->bindings();
  for (int i = 0; i < bindings.buffer_count; ++i) {
    const int point = i + 1;
    if (!std::binary_search(bound_uniform_indices_.begin(), bound_uniform_indices_.end(), point)) {
      glBindBufferRange(GL_UNIFORM_BUFFER, static_cast<GLuint>(point), default_uniform_buffer_, 0, kDefaultUniformSize);
    }
    glUniformBlockBinding(current_shader_->program(), bindings.buffer_blocks[i], static_cast<GLuint>(point));
  }
}

bool GraphicsContextGL::ShowsTexelsAsPixels(const internal_transform& transform,
                                            const internal_vec2& target_size) const {
  // A host's own program may read beside the texel.
  if (!texel_sampler_ || current_shader_->built_in_row() < 0) return false;
  const DrawBindings::Texture& texture = bindings_.bound(0);
  if (texture.target != GL_TEXTURE_2D || transform.rotation != 0.0f) return false;
  const auto width = static_cast<float>(texture.width);
  const auto height = static_cast<float>(texture.height);
  if (width * height < kMinTexels || transform.size.x != width || transform.size.y != height) return false;
  if (!IsWhole(0.5f * (target_size.x - width) + transform.pos.x)) return false;
  if (!IsWhole(0.5f * (target_size.y - height) - transform.pos.y)) return false;
  // What GL has, for a host's own GL may have changed it.
  GLint viewport[4], active = 0, name = 0, sampler = 0;
  glGetIntegerv(GL_VIEWPORT, viewport);
  if (static_cast<float>(viewport[2]) != target_size.x || static_cast<float>(viewport[3]) != target_size.y)
    return false;
  glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
  glGetIntegerv(GL_TEXTURE_BINDING_2D, &name);
  glGetIntegerv(GL_SAMPLER_BINDING, &sampler);
  return active == GL_TEXTURE0 && static_cast<GLuint>(name) == texture.name && sampler == 0;
}

void GraphicsContextGL::DrawViewPort() {
  glBindVertexArray(vertex_array_);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  CheckGLError(__FILE__, __LINE__);
  glBindVertexArray(0);
}

void GraphicsContextGL::AddUboIndex(int index) {
  const auto place = std::lower_bound(bound_uniform_indices_.begin(), bound_uniform_indices_.end(), index);
  if (place == bound_uniform_indices_.end() || *place != index) bound_uniform_indices_.insert(place, index);
}

void GraphicsContextGL::RemoveUboIndex(int index) {
  const auto place = std::lower_bound(bound_uniform_indices_.begin(), bound_uniform_indices_.end(), index);
  if (place != bound_uniform_indices_.end() && *place == index) bound_uniform_indices_.erase(place);
}
