// Filters, and programs of the host's.
#include <GL/gl.h>

#include <string>
#include <vector>

#include "tests/pictures/stage.h"

namespace pictures {
namespace {

// Draws textures over all of a filter.
void Cover(Stage* stage, Filter* filter, const char* program, const std::vector<GsTexture*>& textures,
           GsConstantBuffer* constants = nullptr) {
  GsContext context(stage->device());
  context.SetViewport(0, 0, filter->width(), filter->height());
  if (!context.BindShader(program)) return;
  {
    const auto at = [&](std::size_t i) { return i < textures.size() ? textures[i] : nullptr; };
    GsTextureBinder binder(at(0), at(1), at(2), at(3));
    const bool bound = constants && constants->Bind(0);
    const gs_vec2 size = Vec(filter->width(), filter->height());
    context.DrawRect(gs_transform(gs_vec2(), size), size);
    if (bound) constants->Unbind();
  }
  context.UnbindShader();
}

// A scene of 96 x 54 that shows filters side by side, whole and turned.
Scene* ShowFilters(Stage* stage, const std::vector<Filter*>& filters) {
  Scene* const scene = stage->MakeScene(96, 54);
  stage->MakeItem(scene, Vec(96, 54), gs_vec2(), stage->MakeTexture(96, 54, 1));
  int left = 2;
  for (Filter* const filter : filters) {
    filter->Attach();
    const gs_vec2 size = Vec(filter->width(), filter->height());
    stage->MakeItem(scene, size, CentreOf(scene, size, left, 3))->draw = [filter](Item* self) {
      self->textures[0] = filter->texture();
      self->DrawPicture();
    };
    Item* const turned = stage->MakeItem(scene, gs_vec2(30, 20), gs_vec2(static_cast<float>(left) - 40, 12), nullptr);
    turned->SetRotation(0.4f);
    turned->draw = [filter](Item* self) {
      self->textures[0] = filter->texture();
      self->DrawPicture();
    };
    left += 13;
  }
  stage->MakeOutput(scene, 96, 54, kGsFormatRGBA);
  stage->MakeOutput(scene, 48, 27, kGsFormatNV12);
  return scene;
}

void OneFilter(Stage* stage, int width, int height, const char* program) {
  GsTexture* const texture = stage->MakeTexture(width, height, 10, Alpha::kMixed);
  GsConstantBuffer* const constants = stage->MakeConstants({0.3f, 0.6f, 0.9f, 0.5f, 0.1f, 0.2f, 0.3f, 0.4f});
  Filter* const filter = stage->MakeFilter(width, height);
  filter->draw = [=](Filter* self) {
    glDisable(GL_BLEND);  // The planes of outputs have no alpha.
    Cover(stage, self, program, {texture}, constants);
    glEnable(GL_BLEND);
  };
  ShowFilters(stage, {filter});
  stage->Frame();
  filter->draw = [=](Filter* self) { Cover(stage, self, program, {texture}, constants); };
  stage->Frame();
}

void Chain(Stage* stage) {
  stage->AddProgram(kTint, kTintSource);
  GsTexture* const texture = stage->MakeTexture(40, 30, 11, Alpha::kMixed);
  GsConstantBuffer* const tint = stage->MakeConstants({1.0f, 0.7f, 0.4f, 0.9f});
  std::vector<Filter*> filters;
  for (int i = 0; i < 6; ++i) {
    Filter* const filter = stage->MakeFilter(40 - 5 * i, 30 - 3 * i);
    Filter* const before = filters.empty() ? nullptr : filters.back();
    filter->draw = [=](Filter* self) {
      Cover(stage, self, before ? kTint : "rgba", {before ? before->texture() : texture}, tint);
    };
    filters.push_back(filter);
  }
  ShowFilters(stage, filters);
  stage->Frames(2);
}

// Each shows what the other has shown in the frame before.
void PingPong(Stage* stage) {
  stage->AddProgram(kTint, kTintSource);
  GsConstantBuffer* const tint = stage->MakeConstants({0.9f, 0.8f, 0.7f, 0.9f});
  GsTexture* const texture = stage->MakeTexture(20, 20, 12, Alpha::kMixed);
  Filter* const a = stage->MakeFilter(20, 20);
  Filter* const b = stage->MakeFilter(20, 20);
  a->draw = [=](Filter* self) {
    Cover(stage, self, kTint, {b->texture()}, tint);
    Cover(stage, self, "rgba", {texture});
  };
  b->draw = [=](Filter* self) { Cover(stage, self, kTint, {a->texture()}, tint); };
  ShowFilters(stage, {a, b});
  stage->Frames(4);
}

void FourInputs(Stage* stage) {
  stage->AddProgram(kFour, kFourSource);
  GsConstantBuffer* const shares = stage->MakeConstants({0.1f, 0.2f, 0.3f, 0.4f});
  Filter* const inner = stage->MakeFilter(16, 16);
  GsTexture* const texture = stage->MakeTexture(8, 8, 13, Alpha::kMixed);
  inner->draw = [=](Filter* self) { Cover(stage, self, "to_bgra", {texture}); };
  Filter* const outer = stage->MakeFilter(33, 17);
  GsTexture* const other = stage->MakeTexture(33, 17, 14);
  outer->draw = [=](Filter* self) {
    Cover(stage, self, kFour, {texture, inner->texture(), other, inner->texture()}, shares);
    Cover(stage, self, kFour, {nullptr, inner->texture(), nullptr, other}, shares);
  };
  ShowFilters(stage, {inner, outer});
  stage->Frames(2);
}

void Resized(Stage* stage) {
  GsTexture* const texture = stage->MakeTexture(20, 20, 15, Alpha::kMixed);
  Filter* const filter = stage->MakeFilter(24, 20);
  filter->draw = [=](Filter* self) { Cover(stage, self, "rgba", {texture}); };
  ShowFilters(stage, {filter});
  stage->Frame();
  for (const unsigned int size : {12u, 40u, 24u, 0u}) {
    filter->Resize(size, size + 1);
    stage->Frame();
  }
}

void AttachedAndDetached(Stage* stage) {
  std::vector<Filter*> filters;
  for (int i = 0; i < 3; ++i) {
    Filter* const filter = stage->MakeFilter(12, 12);
    GsTexture* const texture = stage->MakeTexture(12, 12, Unsigned(16 + i), Alpha::kMixed);
    GsTexture* const second = stage->MakeTexture(12, 12, Unsigned(26 + i), Alpha::kMixed);
    auto frame = std::make_shared<int>(0);
    filter->draw = [=](Filter* self) { Cover(stage, self, "rgba", {++*frame % 2 ? texture : second}); };
    filters.push_back(filter);
  }
  ShowFilters(stage, filters);
  stage->Frame();
  filters[1]->Detach();
  stage->Frame();
  filters[1]->Attach();  // Behind the others.
  filters[0]->Attach();
  stage->Frame();
  filters[0]->Detach();
  filters[2]->Detach();
  filters[0]->Detach();
  stage->Frames(2);
}

void Empty(Stage* stage) {
  Filter* const nothing = stage->MakeFilter(20, 10);
  Filter* const never = stage->MakeFilter(20, 10);
  ShowFilters(stage, {nothing});
  stage->MakeFilter(0, 10);
  stage->MakeFilter(1 << 20, 10);
  stage->record()->Line(never->texture() ? "a texture" : "no texture");
  stage->Frames(2);
}

struct Program {
  const char* name;
  const char* source;
};

constexpr Program kPrograms[] = {
    {"blur",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "void main() {\n  vec4 sum = vec4(0.0);\n  vec2 step = 1.0 / vec2(textureSize(u_tex0, 0));\n"
     "  for (int y = -1; y <= 1; ++y)\n    for (int x = -1; x <= 1; ++x)\n"
     "      sum += texture(u_tex0, v_tex_coord + vec2(x, y) * step);\n  FragColor = sum / 9.0;\n}\n"},
    {"between texels",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "void main() {\n  FragColor = texture(u_tex0, v_tex_coord * 0.77 + 0.1234);\n}\n"},
    {"edges",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "void main() {\n  FragColor = texture(u_tex0, v_tex_coord * 3.0 - 1.0);\n}\n"},
    {"fetched",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "void main() {\n  FragColor = texelFetch(u_tex0, ivec2(gl_FragCoord.xy) % textureSize(u_tex0, 0), 0);\n}\n"},
    {"derivatives",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "void main() {\n  FragColor = vec4(dFdx(v_tex_coord.x) * 9.0, fwidth(v_tex_coord.y), v_tex_coord);\n}\n"},
    {"threshold",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\nuniform u_buf0 { vec4 at; };\n"
     "void main() {\n  vec4 color = texture(u_tex0, v_tex_coord);\n  if (color.a < at.x) discard;\n"
     "  FragColor = step(at, color);\n}\n"},
    {"no texture",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nvoid main() { FragColor = vec4(v_tex_coord, 0.5, 0.7); }\n"},
    {"gap",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\nuniform sampler2D u_tex2;\n"
     "void main() {\n  FragColor = texture(u_tex0, v_tex_coord) * 0.5 + texture(u_tex2, v_tex_coord) * 0.5;\n}\n"},
    {"behind the first",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex1;\n"
     "void main() {\n  FragColor = texture(u_tex1, v_tex_coord);\n}\n"},
    {"array",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0[2];\n"
     "void main() {\n  FragColor = texture(u_tex0[0], v_tex_coord);\n}\n"},
    {"ten blocks",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "uniform u_buf0 { vec4 b0; };\nuniform u_buf1 { vec4 b1; };\nuniform u_buf2 { vec4 b2; };\n"
     "uniform u_buf3 { vec4 b3; };\nuniform u_buf4 { vec4 b4; };\nuniform u_buf5 { vec4 b5; };\n"
     "uniform u_buf6 { vec4 b6; };\nuniform u_buf7 { vec4 b7; };\nuniform u_buf8 { vec4 b8; };\n"
     "uniform u_buf9 { vec4 b9; };\n"
     "void main() {\n  FragColor = texture(u_tex0, v_tex_coord) * 0.5 + b0 + b1 + b2 + b3 + b4 + b5 + b6 + b7 + b8 +\n"
     "      b9;\n}\n"},
    {"gap in blocks",
     "out vec4 FragColor;\nin vec2 v_tex_coord;\nuniform sampler2D u_tex0;\n"
     "uniform u_buf0 { vec4 b0; };\nuniform u_buf2 { vec4 b2; };\n"
     "void main() {\n  FragColor = texture(u_tex0, v_tex_coord) * 0.5 + b0 + b2;\n}\n"},
    {"wrong", "out vec4 FragColor;\nvoid main() { FragColor = no_such_thing; }\n"},
    {"unlinked",
     "out vec4 FragColor;\nin vec3 no_such_varying;\nvoid main() { FragColor = vec4(no_such_varying, 1.0); }\n"},
    {"empty", ""},
};

void OwnProgram(Stage* stage, const Program& program) {
  stage->AddProgram(program.name, program.source);
  // The name is taken, or not.
  stage->AddProgram(program.name, "out vec4 FragColor;\nvoid main() { FragColor = vec4(0.3, 0.6, 0.9, 0.5); }\n");
  OneFilter(stage, 37, 23, program.name);
}

// Positions that no matrix of the engine's has a part in.
void OwnVertexProgram(Stage* stage) {
  const bool added = stage->device()->AddShader(
      "corner",
      "in vec3 a_pos;\nin vec2 a_tex_coord;\nout vec2 v_tex_coord;\n"
      "void main() {\n  gl_Position = vec4(a_pos.xy * 1.2 + 0.3, 0.0, 1.0);\n  v_tex_coord = a_tex_coord.yx;\n}\n",
      glsl_src[kGsGlslRgba + 2]);
  stage->record()->Line(added ? "added" : "refused");
  OneFilter(stage, 20, 14, "corner");
}

}  // namespace

std::vector<Case> FilterCases() {
  std::vector<Case> cases;
  for (const char* const program : {"rgba", "to_bgra", "to_y", "to_uv", "to_u", "to_v"}) {
    cases.push_back(
        {std::string("filters/one ") + program, [program](Stage* stage) { OneFilter(stage, 33, 17, program); }});
  }
  for (const int size : {1, 2, 20, 150}) {
    cases.push_back(
        {"filters/of size " + std::to_string(size), [size](Stage* stage) { OneFilter(stage, size, size, "rgba"); }});
  }
  cases.push_back({"filters/chain", Chain});
  cases.push_back({"filters/ping pong", PingPong});
  cases.push_back({"filters/four inputs", FourInputs});
  cases.push_back({"filters/resized", Resized});
  cases.push_back({"filters/attached and detached", AttachedAndDetached});
  cases.push_back({"filters/empty", Empty});
  for (const Program& program : kPrograms) {
    cases.push_back({std::string("programs/") + program.name, [program](Stage* stage) { OwnProgram(stage, program); }});
  }
  cases.push_back({"programs/vertices of its own", OwnVertexProgram});
  return cases;
}

}  // namespace pictures
