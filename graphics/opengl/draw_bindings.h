// What drawing has bound in GL: the program, and textures on the units that programs read.
#ifndef QUARN_GRAPHICS_OPENGL_DRAW_BINDINGS_H_
#define QUARN_GRAPHICS_OPENGL_DRAW_BINDINGS_H_

#include <cstdint>

#include "graphics/opengl/gl.h"

// Every item of a scene binds a program and textures, draws, and gives them back, and the next one mostly binds the
// same again. Each change is work for a driver, so what is given back within a pass lingers: it stays bound in GL until
// something else takes its place, until a draw could read it, or to the end of the pass. What is drawn is the same;
// only a host that asks GL itself, between two items, finds the last one's program and textures bound.
//
// Binding goes to GL in any case, for a host's own GL may have changed it; only a texture that GL says is bound is not
// bound again. Used by the thread that has the GL context current.
class DrawBindings {
 public:
  static constexpr int kUnits = 4;  // Those that programs read: u_tex0 to u_tex3.

  // A texture on a unit.
  struct Texture {
    GLenum target = 0;  // 0: none.
    GLuint name = 0;
    std::uint32_t width = 0;  // Pixels.
    std::uint32_t height = 0;
  };

  DrawBindings() = default;
  DrawBindings(const DrawBindings&) = delete;
  DrawBindings& operator=(const DrawBindings&) = delete;

  // A pass begins and ends. What lingers at the end of the outermost is given back if `current`, which says whether the
  // context still is; otherwise by a later pass.
  void BeginPass() { ++passes_; }
  void EndPass(bool current);

  // Binds a texture to the unit, which is the active one.
  void BindTexture(int unit, const Texture& texture);
  // Unbinds what is bound to the target of the unit, which is the active one, or lets it linger.
  void UnbindTexture(int unit, GLenum target);
  // Before a draw: gives back every texture that lingers, for the program could read it. What a host's own GL has bound
  // in its place stays.
  void GiveBackTextures();
  // The texture is deleted: GL binds it nowhere any more, and may give its name to another.
  void ForgetTexture(GLuint name);
  // What is bound to a unit and has not been given back, as far as the engine has bound it.
  const Texture& bound(int unit) const { return units_[unit].texture; }

  // The program in use has been replaced by another.
  void ReplaceProgram() { program_lingers_ = false; }
  // Uses no program any more, or lets the one in use linger.
  void UnbindProgram();

 private:
  struct Unit {
    Texture texture;
    GLenum lingering = 0;       // The target whose texture lingers; 0: none.
    GLuint lingering_name = 0;  // That texture.
  };

  Unit units_[kUnits];
  int passes_ = 0;  // Those begun and not ended.
  bool program_lingers_ = false;
  int lingering_ = 0;  // Textures that linger.
};

#endif  // QUARN_GRAPHICS_OPENGL_DRAW_BINDINGS_H_
