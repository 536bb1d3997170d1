// Sources and names of programs, as hosts give them to AddShader; what has been built is drawn with.
#include <cstddef>
#include <cstdint>
#include <string>

#include <quarn/quarn.h>

#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/gl_device.h"

namespace {

// What sources are made of: words that lead into the program, beside bytes as they come.
constexpr const char* kWords[] = {
    "uniform sampler2D u_tex0;\n",
    "uniform sampler2D u_tex1;\n",
    "uniform sampler2DRect u_tex2;\n",
    "uniform sampler2D u_tex4;\n",
    "uniform sampler2D u_tex0[2];\n",
    "layout(std140) uniform u_buf0 { vec4 part; vec4 look; };\n",
    "layout(std140) uniform u_buf1 { mat4 m[8]; };\n",
    "uniform u_buf9 { float f; };\n",
    "uniform mvp { mat4 model; mat4 view; mat4 projection; };\n",
    "in vec3 a_pos;\n",
    "in vec2 a_tex_coord;\n",
    "out vec2 v_tex_coord;\n",
    "in vec2 v_tex_coord;\n",
    "out vec4 FragColor;\n",
    "void main() {\n",
    "}\n",
    "gl_Position = vec4(a_pos, 1.0);\n",
    "gl_Position = projection * view * model * vec4(a_pos, 1.0);\n",
    "v_tex_coord = a_tex_coord;\n",
    "FragColor = texture(u_tex0, v_tex_coord);\n",
    "FragColor = look + part + texture(u_tex1, v_tex_coord);\n",
    "FragColor = m[7] * vec4(f);\n",
    "precision mediump float;\n",
    "#if __VERSION__ >= 150\n",
    "#endif\n",
    "#ifdef MACOSX\n",
    "#error\n",
    "discard;\n",
    "{",
    "};\n",
    "vec4 a = vec4(0.0);\n",
    "gl_FragColor = vec4(1.0);\n",
};
constexpr std::size_t kWordCount = sizeof(kWords) / sizeof(kWords[0]);

std::string Source(FuzzInput* input) {
  std::string source;
  for (unsigned int parts = input->UpTo(12); parts > 0 && !input->empty(); --parts) {
    const std::uint8_t part = input->Byte();
    if (part < 7 * kWordCount) {
      source += kWords[part % kWordCount];
    } else {
      source += input->Text(16);
    }
  }
  return source;
}

// Draws with a program in its Draw.
class Filter : public GsFilter {
 public:
  Filter(const std::string& name, GsDevice* device) : GsFilter(8, 8, device), device_(device), name_(name) {}
  ~Filter() override { Detach(); }
  void Draw() override {
    GsContext context(device_);
    if (!context.BindShader(name_.c_str())) return;
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(8, 8)));
    context.UnbindShader();
  }

 private:
  GsDevice* const device_;
  const std::string name_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  GsDevice* const device = fuzz::FreshGlDevice();
  FuzzInput input(data, size);
  const std::string name = input.Text(8);
  // One of the two sources is the library's as a rule, so that the other one is looked at.
  const std::uint8_t given = input.Byte();
  const unsigned int row = given % 5 * 3;
  const std::string vertex = given < 112 ? glsl_src[row + 1] : Source(&input);
  const std::string fragment = given >= 112 && given < 224 ? glsl_src[row + 2] : Source(&input);
  if (device->AddShader(name.c_str(), vertex.c_str(), fragment.c_str())) {
    Filter filter(name, device);
    filter.Attach();
    device->InitThreadContext();
    device->RunFrame(0);
    device->UninitThreadContext();
  }
  fuzz::CheckGlDevice(device);
  return 0;
}
