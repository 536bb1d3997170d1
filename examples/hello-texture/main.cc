// hello-texture: watches ten frames of a scene as textures, on the render thread, with no pixel leaving the GPU.
#include <cstdio>
#include <future>

#include <quarn/quarn.h>

constexpr char kStripes[] = R"(
in vec2 v_tex_coord;
out vec4 FragColor;
layout(std140) uniform u_buf0 { vec4 phase; };
void main() { FragColor = vec4(vec3(step(0.5, fract(v_tex_coord.x * 8.0 + phase.x))), 1.0); }
)";

struct Stripes : GsItem {
  Stripes() : GsItem(gs_vec2(320, 180)), constants(phase, sizeof(phase)) {}
  void TickSource() override {
    phase[0] += 0.1f;
    constants.Update(phase, sizeof(phase));
  }
  void Draw() override {
    if (!GsContextDefault::BindShader("stripes")) return;
    constants.Bind(0);
    GsContextDefault::DrawRect(gs_transform(pos(), size()));
    constants.Unbind();
    GsContextDefault::UnbindShader();
  }
  float phase[4] = {};
  GsConstantBuffer constants;
};

struct Watcher : GsOutputTex {
  explicit Watcher(GsScene* scene) : GsOutputTex(scene, 640, 360) {}
  ~Watcher() override { Stop(); }
  void OnTexture(GsTexture* texture, unsigned long long timestamp) override {
    std::printf("%u x %u at %llu ns\n", texture->width(), texture->height(), timestamp);
    if (++frames == 10) done.set_value();
  }
  int frames = 0;
  std::promise<void> done;
};

int main() {
  const GsDefaultDevice device;
  if (!device.valid() || !device->AddShader("stripes", glsl_src[kGsGlslRgba + 1], kStripes)) return 1;
  const auto scene = MakeRefCounted<GsScene>(640u, 360u);
  scene->AddItem(MakeRefCounted<Stripes>());
  Watcher watcher(scene);
  if (!watcher.valid() || !watcher.Start()) return 1;
  watcher.done.get_future().wait();
}
