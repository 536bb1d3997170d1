// Bindings that linger. Entered by the thread that has the GL context current.
#include "graphics/opengl/draw_bindings.h"

#include <utility>

namespace {

// The texture that GL has bound to the target of the active unit.
GLuint BoundTexture(GLenum target) {
  GLint name = 0;
  glGetIntegerv(target == GL_TEXTURE_2D ? GL_TEXTURE_BINDING_2D : GL_TEXTURE_BINDING_RECTANGLE, &name);
  return static_cast<GLuint>(name);
}

bool HasUnit(int unit) { return unit >= 0 && unit < DrawBindings::kUnits; }

}  // namespace

void DrawBindings::EndPass(bool current) {
  if (--passes_ > 0 || !current) return;
  GiveBackTextures();
  if (std::exchange(program_lingers_, false)) glUseProgram(0);
}

void DrawBindings::BindTexture(int unit, const Texture& texture) {
  if (!HasUnit(unit)) {
    glBindTexture(texture.target, texture.name);
    return;
  }
  Unit& place = units_[unit];
  place.texture = texture;
  const GLenum lingering = std::exchange(place.lingering, 0);
  if (lingering != 0) --lingering_;
  if (lingering == texture.target && BoundTexture(texture.target) == texture.name) return;
  if (lingering != 0 && lingering != texture.target) glBindTexture(lingering, 0);
  glBindTexture(texture.target, texture.name);
}

void DrawBindings::UnbindTexture(int unit, GLenum target) {
  if (HasUnit(unit)) {
    Unit& place = units_[unit];
    const Texture texture = std::exchange(place.texture, Texture());
    if (place.lingering == target) return;
    if (place.lingering == 0 && passes_ > 0 && texture.target == target) {
      place.lingering = target;
      place.lingering_name = texture.name;
      ++lingering_;
      return;
    }
  }
  glBindTexture(target, 0);
}

void DrawBindings::GiveBackTextures() {
  if (lingering_ == 0) return;
  GLint active = 0;
  glGetIntegerv(GL_ACTIVE_TEXTURE, &active);
  for (int i = 0; i < kUnits; ++i) {
    const GLenum lingering = std::exchange(units_[i].lingering, 0);
    if (lingering == 0) continue;
    glActiveTexture(static_cast<GLenum>(GL_TEXTURE0 + i));
    if (BoundTexture(lingering) == units_[i].lingering_name) glBindTexture(lingering, 0);
  }
  lingering_ = 0;
  glActiveTexture(static_cast<GLenum>(active));
}

void DrawBindings::ForgetTexture(GLuint name) {
  for (Unit& unit : units_) {
    if (unit.texture.name == name) unit.texture = Texture();
    if (unit.lingering == 0 || unit.lingering_name != name) continue;
    unit.lingering = 0;
    --lingering_;
  }
}

void DrawBindings::UnbindProgram() {
  program_lingers_ = passes_ > 0;
  if (!program_lingers_) glUseProgram(0);
}
