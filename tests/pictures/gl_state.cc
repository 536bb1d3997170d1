#include "tests/pictures/gl_state.h"

#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

namespace pictures {
namespace {

GLint Get(GLenum name) {
  GLint values[4] = {};
  glGetIntegerv(name, values);
  return values[0];
}

std::string Object(GLenum name) { return Get(name) ? "some" : "none"; }

}  // namespace

std::string GlState() {
  std::string text = "state";
  const auto add = [&text](const char* name, const std::string& value) {
    text += std::string(" ") + name + "=" + value;
  };
  const auto flag = [&](const char* name, GLenum capability) { add(name, glIsEnabled(capability) ? "on" : "off"); };
  const auto value = [&](const char* name, GLenum what) { add(name, std::to_string(Get(what))); };
  flag("blend", GL_BLEND);
  value("source", GL_BLEND_SRC_RGB);
  value("destination", GL_BLEND_DST_RGB);
  value("source_alpha", GL_BLEND_SRC_ALPHA);
  value("destination_alpha", GL_BLEND_DST_ALPHA);
  value("equation", GL_BLEND_EQUATION_RGB);
  flag("depth", GL_DEPTH_TEST);
  flag("scissor", GL_SCISSOR_TEST);
  flag("cull", GL_CULL_FACE);
  add("program", Object(GL_CURRENT_PROGRAM));
  add("vertex_array", Object(GL_VERTEX_ARRAY_BINDING));
  add("array_buffer", Object(GL_ARRAY_BUFFER_BINDING));
  add("uniform_buffer", Object(GL_UNIFORM_BUFFER_BINDING));
  add("pack_buffer", Object(GL_PIXEL_PACK_BUFFER_BINDING));
  add("unpack_buffer", Object(GL_PIXEL_UNPACK_BUFFER_BINDING));
  add("draw_target", Object(GL_DRAW_FRAMEBUFFER_BINDING));
  add("read_target", Object(GL_READ_FRAMEBUFFER_BINDING));
  value("unpack_alignment", GL_UNPACK_ALIGNMENT);
  value("pack_alignment", GL_PACK_ALIGNMENT);
  GLint viewport[4] = {};
  glGetIntegerv(GL_VIEWPORT, viewport);
  add("viewport", std::to_string(viewport[0]) + "," + std::to_string(viewport[1]) + "," + std::to_string(viewport[2]) +
                      "," + std::to_string(viewport[3]));
  const GLint unit = Get(GL_ACTIVE_TEXTURE);
  add("unit", std::to_string(unit - GL_TEXTURE0));
  std::string textures;
  for (GLenum i = 0; i < 4; ++i) {
    glActiveTexture(GL_TEXTURE0 + i);
    textures += Get(GL_TEXTURE_BINDING_2D) ? "s" : "n";
    textures += Get(GL_TEXTURE_BINDING_RECTANGLE) ? "s" : "n";
    textures += Get(GL_SAMPLER_BINDING) ? "s" : "n";
  }
  glActiveTexture(static_cast<GLenum>(unit));
  add("textures", textures);
  add("error", std::to_string(glGetError()));
  return text;
}

void RecordTarget(Stage* stage, const std::string& name, int width, int height) {
  std::vector<unsigned char> pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  const GLint before = Get(GL_READ_FRAMEBUFFER_BINDING);
  glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(Get(GL_DRAW_FRAMEBUFFER_BINDING)));
  glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  glBindFramebuffer(GL_READ_FRAMEBUFFER, static_cast<GLuint>(before));
  stage->record()->Picture(name, pixels.data(), Unsigned(4 * width), Unsigned(height));
}

std::vector<unsigned char> ReadTexture(GsTexture* texture) {
  std::vector<unsigned char> pixels(std::size_t{texture->width()} * texture->height() * 4);
  GsTextureBinder binder(texture);
  glActiveTexture(GL_TEXTURE0);
  glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
  return pixels;
}

}  // namespace pictures
