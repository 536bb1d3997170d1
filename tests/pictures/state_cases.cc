// GL of the host's own in its callbacks: what it finds there, what it draws, and what comes of what it leaves behind.
#include <EGL/egl.h>
#define GL_GLEXT_PROTOTYPES
#include <GL/gl.h>
#include <GL/glext.h>

#include <string>
#include <vector>

#include "tests/pictures/gl_state.h"
#include "tests/pictures/stage.h"

namespace pictures {
namespace {

// Items below and above one that does what the case says, a filter, and outputs of three layouts.
void Around(Stage* stage, const std::function<void(Item*)>& draw, const std::function<void(Item*)>& tick = nullptr) {
  stage->AddProgram(kTint, kTintSource);
  Filter* const filter = stage->MakeFilter(20, 14);
  GsTexture* const filtered = stage->MakeTexture(20, 14, 8, Alpha::kMixed);
  filter->draw = [=](Filter*) {
    GsContext context(stage->device());
    context.SetViewport(0, 0, 20, 14);
    if (!context.BindShader("rgba")) return;
    GsTextureBinder binder(filtered);
    context.DrawRect(gs_transform(gs_vec2(), gs_vec2(20, 14)), gs_vec2(20, 14));
    context.UnbindShader();
  };
  filter->Attach();
  Scene* const scene = stage->MakeScene(64, 36);
  stage->MakeItem(scene, Vec(64, 36), gs_vec2(), stage->MakeTexture(64, 36, 1, Alpha::kMixed));
  Item* const item = stage->MakeItem(scene, Vec(24, 16), Vec(3, 2), stage->MakeTexture(24, 16, 2, Alpha::kMixed));
  item->draw = draw;
  item->tick = tick;
  Item* const above =
      stage->MakeItem(scene, gs_vec2(18, 18), gs_vec2(2, 3), stage->MakeTexture(18, 18, 3, Alpha::kMixed));
  above->program = kTint;
  above->constants = {{0, stage->MakeConstants({1.0f, 0.8f, 0.6f, 0.9f})}};
  stage->MakeItem(scene, gs_vec2(20, 14), gs_vec2(-9, -5), filter->texture());
  Scene* const other = stage->MakeScene(30, 20);
  stage->MakeItem(other, gs_vec2(24, 16), gs_vec2(), stage->MakeTexture(24, 16, 4, Alpha::kMixed));
  stage->MakeOutput(scene, 64, 36, kGsFormatRGBA);
  stage->MakeOutput(scene, 64, 36, kGsFormatI420);
  stage->MakeOutput(other, 31, 21, kGsFormatNV12);
  stage->Frames(2);
}

void Finds(Stage* stage) {
  const auto look = [=](const char* where) { stage->record()->Line(std::string(where) + " " + GlState()); };
  stage->AddProgram(kTint, kTintSource);
  GsConstantBuffer* const constants = stage->MakeConstants({1.0f, 0.8f, 0.6f, 0.9f});
  Filter* const filter = stage->MakeFilter(20, 14);
  filter->draw = [=](Filter*) { look("filter"); };
  filter->Attach();
  Scene* const scene = stage->MakeScene(64, 36);
  scene->draw = [=](Scene* self) {
    look("scene before");
    self->DrawItems();
    look("scene after");
  };
  for (int i = 0; i < 2; ++i) {
    Item* const item = stage->MakeItem(scene, Vec(24, 16), Vec(i, i), stage->MakeTexture(24, 16, 2, Alpha::kMixed));
    item->tick = [=](Item*) { look("tick"); };
    item->draw = [=](Item* self) {
      look("item");
      GsContext context(stage->device());
      context.SetViewport(0, 0, 64, 36);
      look("after SetViewport");
      context.BindShader(kTint);
      look("after BindShader");
      {
        GsTextureBinder binder(self->textures[0], nullptr, self->textures[0]);
        look("after a binder");
        constants->Bind(0);
        look("after Bind");
        context.DrawRect(gs_transform(self->pos(), self->size()), gs_vec2(64, 36));
        look("after DrawRect");
        constants->Unbind();
        look("after Unbind");
      }
      look("after the binder");
      context.UnbindShader();
      look("after UnbindShader");
      self->textures[0]->Update(Noise(24, 16, 4, 5).data(), 96, GsTexture::kTextureRGBA, 24, 16);
      look("after Update");
      const GsTexture made(Noise(3, 3, 4, 5).data(), 12, GsTexture::kTextureRGBA, 3, 3, stage->device());
      const GsConstantBuffer block(16u, stage->device());
      look("after making");
    };
  }
  stage->MakeTextureOutput(scene, 64, 36)->on_texture = [=](GsTexture*) { look("texture"); };
  stage->MakeOutput(scene, 64, 36, kGsFormatNV12);
  stage->MakeTextureOutput(scene, 64, 36)->on_texture = [=](GsTexture*) { look("texture again"); };
  stage->device()->QueueTask([](void* on) { static_cast<Stage*>(on)->record()->Line("task " + GlState()); }, stage);
  stage->record()->Line(eglGetCurrentContext() == EGL_NO_CONTEXT ? "nothing current" : "a context current");
  stage->Frames(2);
  stage->record()->Line(eglGetCurrentContext() == EGL_NO_CONTEXT ? "nothing current" : "a context current");
}

struct Blending {
  const char* name;
  GLenum source;
  GLenum destination;
  GLenum equation;
};
constexpr Blending kBlendings[] = {{"added", GL_ONE, GL_ONE, GL_FUNC_ADD},
                                   {"multiplied", GL_DST_COLOR, GL_ZERO, GL_FUNC_ADD},
                                   {"screen", GL_ONE, GL_ONE_MINUS_SRC_COLOR, GL_FUNC_ADD},
                                   {"premultiplied", GL_ONE, GL_ONE_MINUS_SRC_ALPHA, GL_FUNC_ADD},
                                   {"subtracted", GL_ONE, GL_ONE, GL_FUNC_REVERSE_SUBTRACT},
                                   {"largest", GL_ONE, GL_ONE, GL_MAX},
                                   {"below", GL_ONE_MINUS_DST_ALPHA, GL_DST_ALPHA, GL_FUNC_ADD}};

void Blended(Stage* stage, const Blending& blending) {
  Around(stage, [&blending](Item* self) {
    GLint before[4] = {};
    glGetIntegerv(GL_BLEND_SRC_RGB, &before[0]);
    glGetIntegerv(GL_BLEND_DST_RGB, &before[1]);
    glGetIntegerv(GL_BLEND_SRC_ALPHA, &before[2]);
    glGetIntegerv(GL_BLEND_DST_ALPHA, &before[3]);
    glBlendFunc(blending.source, blending.destination);
    glBlendEquation(blending.equation);
    self->DrawPicture();
    glBlendEquation(GL_FUNC_ADD);
    glBlendFuncSeparate(static_cast<GLenum>(before[0]), static_cast<GLenum>(before[1]), static_cast<GLenum>(before[2]),
                        static_cast<GLenum>(before[3]));
  });
}

void NoBlending(Stage* stage) {
  Around(stage, [](Item* self) {
    glDisable(GL_BLEND);
    self->DrawPicture();
    glEnable(GL_BLEND);
  });
}

GLuint MakeProgram() {
  const auto compile = [](GLenum kind, const char* source) {
    const GLuint shader = glCreateShader(kind);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    return shader;
  };
  const GLuint vertex = compile(GL_VERTEX_SHADER,
                                "#version 150\nin vec2 place;\nuniform float turn;\n"
                                "void main() { gl_Position = vec4(place * turn, 0.0, 1.0); }\n");
  const GLuint fragment =
      compile(GL_FRAGMENT_SHADER, "#version 150\nout vec4 color;\nvoid main() { color = vec4(0.9, 0.3, 0.1, 0.5); }\n");
  const GLuint program = glCreateProgram();
  glAttachShader(program, vertex);
  glAttachShader(program, fragment);
  glBindAttribLocation(program, 0, "place");
  glLinkProgram(program);
  glDeleteShader(vertex);
  glDeleteShader(fragment);
  return program;
}

// A triangle of the host's, between the engine's rectangles. `tidy`: whether it leaves the state as it was.
void OwnTriangle(Stage* stage, bool tidy) {
  Around(stage, [tidy](Item* self) {
    self->DrawPicture();
    constexpr float kCorners[] = {-0.5f, -0.5f, 0.7f, -0.2f, 0.1f, 0.8f};
    const GLuint program = MakeProgram();
    GLuint array = 0;
    GLuint buffer = 0;
    glGenVertexArrays(1, &array);
    glGenBuffers(1, &buffer);
    glBindVertexArray(array);
    glBindBuffer(GL_ARRAY_BUFFER, buffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof(kCorners), kCorners, GL_STATIC_DRAW);
    glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
    glEnableVertexAttribArray(0);
    glUseProgram(program);
    glUniform1f(glGetUniformLocation(program, "turn"), 0.9f);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    if (tidy) {
      glUseProgram(0);
      glBindBuffer(GL_ARRAY_BUFFER, 0);
      glBindVertexArray(0);
    }
    self->DrawPicture();
    glDeleteProgram(program);
    glDeleteVertexArrays(1, &array);
    glDeleteBuffers(1, &buffer);
  });
}

// The host's GL between the engine's calls of one picture.
void BetweenCalls(Stage* stage) {
  Around(stage, [stage](Item* self) {
    GsContext context(stage->device());
    context.SetViewport(0, 0, 64, 36);
    if (!context.BindShader("rgba")) return;
    GsTextureBinder binder(self->textures[0]);
    const gs_vec2 target(64, 36);
    context.DrawRect(gs_transform(self->pos(), self->size()), target);
    glEnable(GL_SCISSOR_TEST);
    glScissor(30, 10, 9, 20);
    context.DrawRect(gs_transform(self->pos() + gs_vec2(5, 5), self->size()), target);
    glDisable(GL_SCISSOR_TEST);
    glViewport(3, 3, 30, 30);
    context.DrawRect(gs_transform(self->pos(), self->size()), target);
    glColorMask(GL_TRUE, GL_FALSE, GL_TRUE, GL_FALSE);
    context.DrawRect(gs_transform(self->pos() + gs_vec2(-8, 1), self->size()), target);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    context.DrawRect(gs_transform(self->pos() + gs_vec2(2.5f, 1), self->size() * 1.3f), target);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    GLuint name = 0;
    glGenTextures(1, &name);
    glBindTexture(GL_TEXTURE_2D, name);
    const std::vector<unsigned char> pixels = Noise(8, 8, 4, 77);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 8, 8, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    context.DrawRect(gs_transform(self->pos() + gs_vec2(9, 1), self->size()), target);
    glDeleteTextures(1, &name);
    context.UnbindShader();
  });
}

// How the engine samples its textures, as a host's own reading sees it.
void Samplers(Stage* stage) {
  Around(stage, [stage](Item* self) {
    self->DrawPicture();
    GsTextureBinder binder(self->textures[0]);
    for (const GLenum what : {GL_TEXTURE_MIN_FILTER, GL_TEXTURE_MAG_FILTER, GL_TEXTURE_WRAP_S, GL_TEXTURE_WRAP_T}) {
      GLint value = 0;
      glGetTexParameteriv(GL_TEXTURE_2D, what, &value);
      stage->record()->Line("parameter " + std::to_string(what) + " " + std::to_string(value));
    }
  });
}

// What a host leaves behind that it should not.
struct Mess {
  const char* name;
  void (*make)();
};

GLuint Leak(void (*generate)(GLsizei, GLuint*)) {
  GLuint name = 0;
  generate(1, &name);
  return name;
}

const Mess kMesses[] = {
    {"blending off", [] { glDisable(GL_BLEND); }},
    {"another blend function", [] { glBlendFunc(GL_ONE, GL_ONE); }},
    {"a scissor",
     [] {
       glEnable(GL_SCISSOR_TEST);
       glScissor(10, 10, 20, 10);
     }},
    {"a colour mask", [] { glColorMask(GL_FALSE, GL_TRUE, GL_TRUE, GL_TRUE); }},
    {"another unit", [] { glActiveTexture(GL_TEXTURE1); }},
    {"a texture bound", [] { glBindTexture(GL_TEXTURE_2D, Leak(glGenTextures)); }},
    {"a sampler bound",
     [] {
       const GLuint sampler = Leak(glGenSamplers);
       glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
       glSamplerParameteri(sampler, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
       glBindSampler(0, sampler);
     }},
    {"a program bound", [] { glUseProgram(MakeProgram()); }},
    {"a vertex array bound", [] { glBindVertexArray(Leak(glGenVertexArrays)); }},
    {"an array buffer bound", [] { glBindBuffer(GL_ARRAY_BUFFER, Leak(glGenBuffers)); }},
    {"a uniform buffer bound", [] { glBindBuffer(GL_UNIFORM_BUFFER, Leak(glGenBuffers)); }},
    {"uniform points unbound",
     [] {
       for (GLuint i = 0; i < 11; ++i) glBindBufferBase(GL_UNIFORM_BUFFER, i, 0);
     }},
    {"a pack buffer bound", [] { glBindBuffer(GL_PIXEL_PACK_BUFFER, Leak(glGenBuffers)); }},
    {"pack parameters",
     [] {
       glPixelStorei(GL_PACK_ALIGNMENT, 8);
       glPixelStorei(GL_PACK_ROW_LENGTH, 100);
       glPixelStorei(GL_PACK_SKIP_ROWS, 3);
     }},
    {"unpack parameters",
     [] {
       glPixelStorei(GL_UNPACK_ALIGNMENT, 2);
       glPixelStorei(GL_UNPACK_ROW_LENGTH, 100);
     }},
    {"no target", [] { glBindFramebuffer(GL_FRAMEBUFFER, 0); }},
    {"no target to read", [] { glBindFramebuffer(GL_READ_FRAMEBUFFER, 0); }},
    {"a viewport", [] { glViewport(1, 2, 3, 4); }},
    {"a clear colour", [] { glClearColor(0.9f, 0.8f, 0.7f, 0.6f); }},
    {"culling",
     [] {
       glEnable(GL_CULL_FACE);
       glCullFace(GL_FRONT_AND_BACK);
     }},
    {"a depth test", [] { glEnable(GL_DEPTH_TEST); }},
    {"an error", [] { glEnable(0xDEAD); }},
    {"three errors",
     [] {
       glEnable(0xDEAD);
       glViewport(0, 0, -1, -1);
       glBindTexture(0xDEAD, 1);
     }},
    {"no context", [] { eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT); }},
};

}  // namespace

std::vector<Case> StateCases() {
  std::vector<Case> cases = {{"state/found", Finds},
                             {"state/no blending", NoBlending},
                             {"state/own triangle", [](Stage* stage) { OwnTriangle(stage, true); }},
                             {"state/own triangle left bound", [](Stage* stage) { OwnTriangle(stage, false); }},
                             {"state/between calls", BetweenCalls},
                             {"state/samplers", Samplers}};
  for (const Blending& blending : kBlendings) {
    cases.push_back(
        {std::string("state/blended ") + blending.name, [&blending](Stage* stage) { Blended(stage, blending); }});
  }
  for (const Mess& mess : kMesses) {
    cases.push_back({std::string("left/in a draw: ") + mess.name, [&mess](Stage* stage) {
                       Around(stage, [&mess](Item* self) {
                         self->DrawPicture();
                         mess.make();
                       });
                     }});
    cases.push_back({std::string("left/in a tick: ") + mess.name,
                     [&mess](Stage* stage) { Around(stage, nullptr, [&mess](Item*) { mess.make(); }); }});
  }
  return cases;
}

}  // namespace pictures
