// A guard around a pass that comes in the middle of others.
#ifndef QUARN_GRAPHICS_OPENGL_SCOPED_DRAW_STATE_H_
#define QUARN_GRAPHICS_OPENGL_SCOPED_DRAW_STATE_H_

#include "graphics/opengl/gl.h"
#include "graphics/opengl/gl_scope.h"

// For as long as it lives, a RenderPass that does not blend draws the whole of its target as it is; afterwards all that
// such a pass changes is as it was found: targets, viewport, program, vertex array, textures and samplers of the first
// units, and whatever hides, mixes or clears pixels. A host may be in the middle of a draw of its own. GL is asked for
// each of these, some thirty times a twentieth of a microsecond: for what is done once a picture. Used with the context
// current.
class ScopedDrawState {
 public:
  static constexpr int kUnits = 3;  // Those whose textures the pass may exchange.

  explicit ScopedDrawState(const GraphicsContextGL& context);
  ~ScopedDrawState();
  ScopedDrawState(const ScopedDrawState&) = delete;
  ScopedDrawState& operator=(const ScopedDrawState&) = delete;

 private:
  static constexpr int kSwitchCount = 7;

  const bool samplers_exist_;
  GLint draw_target_ = 0;
  GLint read_target_ = 0;
  GLint viewport_[4] = {};
  GLint program_ = 0;
  GLint vertex_array_ = 0;
  GLint active_ = GL_TEXTURE0;
  GLint textures_[kUnits] = {};
  GLint samplers_[kUnits] = {};
  bool on_[kSwitchCount];
  GLboolean written_[4];                  // Red, green, blue, alpha.
  GLint filled_[2] = {GL_FILL, GL_FILL};  // Drivers answer one or two.
  GLfloat clear_color_[4];
};

#endif  // QUARN_GRAPHICS_OPENGL_SCOPED_DRAW_STATE_H_
