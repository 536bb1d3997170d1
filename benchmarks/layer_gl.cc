// Layers by bare GL calls.
#include "benchmarks/layer_gl.h"

#include <cmath>

namespace {

constexpr char kVertices[] = R"(
in vec2 a_pos;
in vec2 a_tex_coord;
out vec2 v_tex_coord;
void main() {
  gl_Position = vec4(a_pos, 0.0, 1.0);
  v_tex_coord = a_tex_coord;
}
)";

// SWIZZLE is defined in front.
constexpr char kPixels[] = R"(
uniform sampler2D image;
in vec2 v_tex_coord;
out vec4 color;
void main() { color = texture(image, v_tex_coord).SWIZZLE; }
)";

}  // namespace

GLuint LinkLayerProgram(const char* swizzle) {
  return LinkProgram(kVertices, std::string("#define SWIZZLE ") + swizzle + "\n" + kPixels);
}

void BindLayerVertices() {
  const GLuint indices[] = {0, 1, 3, 1, 2, 3};
  GLuint buffers[2];
  glGenBuffers(2, buffers);
  GLuint vertex_array = 0;
  glGenVertexArrays(1, &vertex_array);
  glBindVertexArray(vertex_array);
  glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, buffers[0]);
  glBufferData(GL_ELEMENT_ARRAY_BUFFER, sizeof(indices), indices, GL_STATIC_DRAW);
  glBindBuffer(GL_ARRAY_BUFFER, buffers[1]);
  glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, sizeof(LayerVertex), nullptr);
  glEnableVertexAttribArray(0);
  glVertexAttribPointer(1, 2, GL_FLOAT, GL_FALSE, sizeof(LayerVertex), reinterpret_cast<const void*>(8));
  glEnableVertexAttribArray(1);
}

void PlaceLayer(const gs_transform& placement, float width, float height, LayerVertex* corners) {
  const float cosine = std::cos(-placement.rotation);
  const float sine = std::sin(-placement.rotation);
  const float ax = cosine * placement.size.x, bx = -sine * placement.size.y;
  const float ay = sine * placement.size.x, by = cosine * placement.size.y;
  const float places[4][2] = {{-0.5f, -0.5f}, {-0.5f, 0.5f}, {0.5f, 0.5f}, {0.5f, -0.5f}};
  for (int i = 0; i < 4; ++i) {
    const float x = places[i][0];
    const float y = places[i][1];
    corners[i] = {2.0f / width * (ax * x + bx * y + placement.pos.x),
                  2.0f / height * (ay * x + by * y - placement.pos.y), x + 0.5f, y + 0.5f};
  }
}
