// The drawing context on OpenGL: the unit quad, the named programs and rectangle drawing.
//
// Every operation runs on the thread that has the GL context current, under the context's lock; nothing here locks. A
// host reaches four of them at any time: BindShader, UnbindShader, SetViewPort and DrawRect. They do nothing unless the
// context is current, for a host's own may be.
#ifndef QUARN_GRAPHICS_OPENGL_GRAPHICS_CONTEXT_GL_H_
#define QUARN_GRAPHICS_OPENGL_GRAPHICS_CONTEXT_GL_H_

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "graphics/graphics_context_impl.h"
#include "graphics/opengl/draw_bindings.h"
#include "graphics/opengl/gl.h"
#include "graphics/opengl/try_again.h"
#include "graphics/opengl/uniform_ring.h"

class GraphicsShaderGL;
class PlanePrograms;

class GraphicsContextGL : public GraphicsContextImpl {
 public:
  GraphicsContextGL();
  ~GraphicsContextGL() override;

  // Returns false, and leaves the current program as it is, when there is no program of that name.
  bool BindShader(const char* name) override;
  void UnbindShader() override;
  void SetViewPort(unsigned int x, unsigned int y, unsigned int width, unsigned int height) override;
  // Draws the unit quad with the current program. Sets no blending, viewport, framebuffer or texture: they are the
  // caller's.
  void DrawRect(const internal_transform& transform, const internal_vec2& target_size) override;
  // Has the programs of glsl_src compiled, each when its name is first asked for. A row that fails is left out and
  // stops none of the others.
  void BuildShader() override;
  // Returns the program of that name, built by now, or null.
  GraphicsShader* FindProgram(const std::string& name);

  // Compiles a program, its sources without a version line, and registers it under the name; a name that is taken keeps
  // its program. Returns false, with the compiler's message in the log, when the program cannot be built.
  bool CompileShader(const std::string& name, const char* vertex_source, const char* fragment_source);

  // The name by which glsl_src has the program of that name, by whomever it was built; null for a host's own, and where
  // there is none of that name.
  const char* BuiltInName(const char* name);

  // What BindContext answers.
  enum BindResult : int {
    kBindFailed = -1,
    kWasCurrent = 0,
    kMadeCurrent = 1,  // The caller calls UnbindContext after its work.
  };
  // Makes the context current on the calling thread, which ScopedBind and GLScope (gl_scope.h) do for most callers.
  virtual int BindContext() = 0;
  // Undoes a BindContext that answered kMadeCurrent.
  virtual void UnbindContext() = 0;

  // Whether GL calls of the calling thread reach this context; where they do not, they may reach a host's own.
  // This and IsBound are defined by the platform (cgl/graphics_context_cgl.cc).
  bool IsCurrent() const;
  // Whether the calling thread has bound the context: if so it is current, unless a callback of the host's has changed
  // that.
  bool IsBound() const;
  // Whether an operation that a host may call at any time may do its work now. The first that may not is logged.
  bool CanDraw(const char* operation);

  // Asks GL for the limits below, and what it has beyond version 3.2, once, when the context is built.
  void ReadLimits();
  // Whether GL has samplers.
  bool has_samplers() const { return has_samplers_; }
  // The longest side of a texture in pixels; 0 in a context that was not built.
  unsigned int max_texture_size() const { return max_texture_size_; }
  // The same of a rectangle texture, which is what external images are.
  unsigned int max_rectangle_size() const { return max_rectangle_size_; }

  // Creates and deletes the objects that every draw shares.
  void BuildVertexAttrBuffer();
  void ReleaseVertexAttrBuffer();
  // Lets go of the programs and the shared objects without a GL call: they die with the native context.
  void ForgetObjects();

  // Draws over the viewport with the program in use, whose vertex source makes a triangle of the vertices 0, 1 and 2.
  void DrawViewPort();
  // The programs of planes.
  PlanePrograms& plane_programs() { return *plane_programs_; }

  // What drawing has bound.
  DrawBindings& bindings() { return bindings_; }

  // Claims and gives back a uniform buffer binding point: one that nobody claims reads zeros.
  void AddUboIndex(int index);
  void RemoveUboIndex(int index);

 private:
  // The steps of DrawRect.
  void BindMatrices(const internal_transform& transform, const internal_vec2& target_size);
  void BindConstants();
  // Whether the rectangle shows each texel of the program's texture in one pixel.
  bool ShowsTexelsAsPixels(const internal_transform& transform, const internal_vec2& target_size) const;
  // CompileShader for a name that no built-in program may still take. Says whether GL lacked memory where it fails.
  bool CompileProgram(const std::string& name, const char* vertex_source, const char* fragment_source,
                      bool* lacked_memory);
  std::vector<int>::const_iterator FindUntried(const std::string& name) const;
  // Compiles the built-in program of that name, if there is one that has not been tried, or for which GL lacked memory.
  void CompileBuiltIn(const std::string& name);

  GLuint vertex_buffer_ = 0;
  GLuint index_buffer_ = 0;
  GLuint mvp_buffer_ = 0;  // The matrices of the latest rectangle, where the ring has no place for them.
  UniformRing matrices_;
  GLuint vertex_array_ = 0;
  GLuint default_uniform_buffer_ = 0;
  GLuint texel_sampler_ = 0;  // Reads the nearest texel; 0 where GL has no samplers.
  DrawBindings bindings_;
  const std::unique_ptr<PlanePrograms> plane_programs_;
  GraphicsShaderGL* current_shader_ = nullptr;  // Owned by the program registry.
  std::vector<int> bound_uniform_indices_;  // Sorted, each once; keeps its memory, so that a draw allocates nothing.
  std::string lookup_name_;                 // What BindShader looks up; keeps its memory too.
  std::vector<int> untried_rows_;           // Rows of glsl_src that nobody has asked for, or that are tried again.
  TryAgain tries_[6];                       // When they are, for each program of glsl_src.
  std::atomic<bool> reported_not_current_{false};
  unsigned int max_texture_size_ = 0;
  unsigned int max_rectangle_size_ = 0;
  bool has_samplers_ = false;
  bool has_lasting_maps_ = false;  // Whether buffers can stay mapped.
};

#endif  // QUARN_GRAPHICS_OPENGL_GRAPHICS_CONTEXT_GL_H_
