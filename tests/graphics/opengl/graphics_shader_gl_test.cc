#include "graphics/opengl/graphics_shader_gl.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include <quarn/glsl_src.h>

#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char kPrefix[] = "#version 150\n#define MACOSX\n";

const std::string kVertex = std::string(kPrefix) + glsl_src[kGsGlslRgba + 1];
const std::string kFragment = std::string(kPrefix) + glsl_src[kGsGlslRgba + 2];
const std::string kBroken = std::string(kPrefix) + "void main() { nonsense; }\n";
// Compiles, and does not link: the function has no body.
const std::string kUnlinkable = std::string(kPrefix) + "vec4 missing(); out vec4 c; void main() { c = missing(); }\n";

class GraphicsShaderGLTest : public GlTest {
 protected:
  // What the compiler says of a source.
  static std::string CompileLog(GLenum type, const std::string& source) {
    const GLuint shader = glCreateShader(type);
    const char* const text = source.c_str();
    glShaderSource(shader, 1, &text, nullptr);
    glCompileShader(shader);
    char log[4096] = "";
    glGetShaderInfoLog(shader, sizeof(log), nullptr, log);
    glDeleteShader(shader);
    return log;
  }
  // What the linker says of two sources that compile.
  static std::string LinkLog(const std::string& vertex_source, const std::string& fragment_source) {
    const GLuint program = glCreateProgram();
    for (const auto& [type, source] : {std::pair<GLenum, const std::string&>(GL_VERTEX_SHADER, vertex_source),
                                       std::pair<GLenum, const std::string&>(GL_FRAGMENT_SHADER, fragment_source)}) {
      const GLuint shader = glCreateShader(type);
      const char* const text = source.c_str();
      glShaderSource(shader, 1, &text, nullptr);
      glCompileShader(shader);
      glAttachShader(program, shader);
      glDeleteShader(shader);
    }
    glLinkProgram(program);
    char log[4096] = "";
    glGetProgramInfoLog(program, sizeof(log), nullptr, log);
    glDeleteProgram(program);
    return log;
  }
};

TEST_F(GraphicsShaderGLTest, LinksAProgram) {
  const test::CurrentContext current(context());
  GraphicsShaderGL shader("copy");
  EXPECT_TRUE(shader.Init(kVertex.c_str(), kFragment.c_str()));
  EXPECT_NE(shader.program(), 0u);
  EXPECT_GE(shader.GetUniformLocation("u_tex0"), 0);
  EXPECT_EQ(shader.GetUniformLocation("u_tex1"), -1);
  EXPECT_NE(shader.GetUniformBlockIndex("mvp"), GL_INVALID_INDEX);
  EXPECT_EQ(shader.GetUniformBlockIndex("u_buf0"), GL_INVALID_INDEX);
  EXPECT_TRUE(shader.Bind());
  GLint bound = 0;
  glGetIntegerv(GL_CURRENT_PROGRAM, &bound);
  EXPECT_EQ(static_cast<GLuint>(bound), shader.program());
  glUseProgram(0);
}

TEST_F(GraphicsShaderGLTest, IsInertWithoutAProgram) {
  const test::CurrentContext current(context());
  GraphicsShaderGL shader("empty");
  EXPECT_EQ(shader.program(), 0u);
  EXPECT_FALSE(shader.Bind());
  EXPECT_EQ(shader.GetUniformLocation("u_tex0"), -1);
  EXPECT_EQ(shader.GetUniformBlockIndex("mvp"), 0xFFFFFFFFu);
}

TEST_F(GraphicsShaderGLTest, AnotherInitReplacesTheProgram) {
  const test::CurrentContext current(context());
  const int objects = gl_spy::LiveObjects();
  const std::string plain = std::string(kPrefix) + "out vec4 c; void main() { c = vec4(1.0); }\n";
  GraphicsShaderGL shader("again");
  ASSERT_TRUE(shader.Init(kVertex.c_str(), kFragment.c_str()));
  EXPECT_EQ(shader.bindings().texture_count, 1);
  EXPECT_TRUE(shader.Init(kVertex.c_str(), plain.c_str()));
  EXPECT_EQ(gl_spy::LiveObjects(), objects + 1);
  EXPECT_EQ(shader.bindings().texture_count, 0);
  EXPECT_NE(shader.bindings().mvp_block, GL_INVALID_INDEX);
  EXPECT_FALSE(shader.Init(kVertex.c_str(), kBroken.c_str()));
  EXPECT_EQ(TakeLog().size(), 1u);
  EXPECT_EQ(shader.program(), 0u);
  EXPECT_FALSE(shader.Bind());
  EXPECT_EQ(shader.bindings().mvp_block, GL_INVALID_INDEX);
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
  ASSERT_TRUE(shader.Init(kVertex.c_str(), kFragment.c_str()));
  EXPECT_FALSE(shader.Init(nullptr, kFragment.c_str()));
  EXPECT_EQ(shader.program(), 0u);
}

TEST_F(GraphicsShaderGLTest, PlacesTheAttributesWhateverTheirOrder) {
  const test::CurrentContext current(context());
  const std::string swapped = std::string(kPrefix) +
                              "in vec2 a_tex_coord; in vec3 a_pos; out vec2 v_tex_coord;\n"
                              "void main() { v_tex_coord = a_tex_coord; gl_Position = vec4(a_pos, 1.0); }\n";
  GraphicsShaderGL shader("swapped");
  ASSERT_TRUE(shader.Init(swapped.c_str(), kFragment.c_str()));
  EXPECT_EQ(glGetAttribLocation(shader.program(), "a_pos"), 0);
  EXPECT_EQ(glGetAttribLocation(shader.program(), "a_tex_coord"), 1);
}

TEST_F(GraphicsShaderGLTest, WarnsOfASamplerBehindAGapWhereverItIs) {
  const test::CurrentContext current(context());
  GraphicsShaderGL shader("one");
  ASSERT_TRUE(shader.Init("#version 150\nvoid main() { gl_Position = vec4(0.0); }\n",
                          "#version 150\nuniform sampler2D u_tex1;\nout vec4 c;\n"
                          "void main() { c = texture(u_tex1, vec2(0.0)); }\n"));
  EXPECT_GE(shader.GetUniformLocation("u_tex1"), 0) << "which is 0 with Mesa";
  EXPECT_THAT(TakeLog(), ElementsAre("W: The program \"one\" uses u_tex1 but not u_tex0: u_tex1 is not bound, nor what "
                                     "follows it"));
}

TEST_F(GraphicsShaderGLTest, RefusesNullSourcesAndCreatesNothing) {
  const test::CurrentContext current(context());
  const int objects = gl_spy::LiveObjects();
  GraphicsShaderGL shader("null");
  EXPECT_FALSE(shader.Init(nullptr, kFragment.c_str()));
  EXPECT_FALSE(shader.Init(kVertex.c_str(), nullptr));
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TEST_F(GraphicsShaderGLTest, ReportsAVertexShaderThatDoesNotCompile) {
  const test::CurrentContext current(context());
  const int objects = gl_spy::LiveObjects();
  GraphicsShaderGL shader("bad");
  EXPECT_FALSE(shader.Init(kBroken.c_str(), kFragment.c_str()));
  const std::string compiler = CompileLog(GL_VERTEX_SHADER, kBroken);
  ASSERT_NE(compiler, "");
  EXPECT_THAT(TakeLog(), ElementsAre("E: Error compiling vertex shader:" + compiler + "\n"));
  EXPECT_EQ(shader.program(), 0u);
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TEST_F(GraphicsShaderGLTest, ReportsAFragmentShaderThatDoesNotCompile) {
  const test::CurrentContext current(context());
  const int objects = gl_spy::LiveObjects();
  GraphicsShaderGL shader("bad");
  EXPECT_FALSE(shader.Init(kVertex.c_str(), kBroken.c_str()));
  const std::string compiler = CompileLog(GL_FRAGMENT_SHADER, kBroken);
  ASSERT_NE(compiler, "");
  EXPECT_THAT(TakeLog(), ElementsAre("E: Error compiling fragment shader:" + compiler + "\n"));
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

// A host's handler sees the format itself.
TEST_F(GraphicsShaderGLTest, HandlersGetTheFormatsOfTheMessages) {
  const test::CurrentContext current(context());
  std::vector<std::string> formats;
  LoggerHook hook(
      "Quarn",
      [](int, const char* format, va_list, void* user) {
        static_cast<std::vector<std::string>*>(user)->push_back(format);
      },
      &formats);
  Logger* const before = Logger::default_logger();
  Logger::SetDefaultLogger(&hook);
  GraphicsShaderGL shader("bad");
  shader.Init(kBroken.c_str(), kFragment.c_str());
  shader.Init(kVertex.c_str(), kBroken.c_str());
  shader.Init(kVertex.c_str(), kUnlinkable.c_str());
  Logger::SetDefaultLogger(before);
  EXPECT_THAT(formats, ElementsAre("Error compiling vertex shader:%s\n", "Error compiling fragment shader:%s\n",
                                   "CreateProgram linked error", "Error linking program:%s\n"));
}

TEST_F(GraphicsShaderGLTest, ReportsAProgramThatDoesNotLink) {
  const test::CurrentContext current(context());
  const int objects = gl_spy::LiveObjects();
  GraphicsShaderGL shader("bad");
  EXPECT_FALSE(shader.Init(kVertex.c_str(), kUnlinkable.c_str()));
  const std::string linker = LinkLog(kVertex, kUnlinkable);
  ASSERT_NE(linker, "");
  EXPECT_THAT(TakeLog(), ElementsAre("E: CreateProgram linked error", "E: Error linking program:" + linker + "\n"));
  EXPECT_EQ(shader.program(), 0u);
  EXPECT_EQ(gl_spy::LiveObjects(), objects);
}

TEST_F(GraphicsShaderGLTest, FailsSilentlyWhenTheCompilerHasNothingToSay) {
  const test::CurrentContext current(context());
  gl_spy::faults().empty_logs = true;
  GraphicsShaderGL shader("bad");
  EXPECT_FALSE(shader.Init(kBroken.c_str(), kFragment.c_str()));
  EXPECT_FALSE(shader.Init(kVertex.c_str(), kBroken.c_str()));
  EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(GraphicsShaderGLTest, ReportsAFailedLinkEvenWhenTheLinkerHasNothingToSay) {
  const test::CurrentContext current(context());
  gl_spy::faults().empty_logs = true;
  GraphicsShaderGL shader("bad");
  EXPECT_FALSE(shader.Init(kVertex.c_str(), kUnlinkable.c_str()));
  EXPECT_THAT(TakeLog(), ElementsAre("E: CreateProgram linked error"));
}

}  // namespace
