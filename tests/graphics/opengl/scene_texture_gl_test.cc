// A scene's target as other scenes, and the scene itself, sample it.
#include "graphics/opengl/scene_texture_gl.h"

#include <functional>
#include <memory>

#include "graphics/internal_types.h"
#include "graphics/opengl/graphics_scene_gl.h"
#include "tests/support/gl_fixture.h"

namespace {

constexpr int kSide = 8;

class SceneTextureGLTest : public GlTest {
 protected:
  // Draws by a function.
  class Scene : public GraphicsScene::DrawCallback {
   public:
    explicit Scene(GraphicsContextGL* context) : target(context, kSide, kSide) {
      EXPECT_TRUE(target.Init());
      target.Attach(this);
      target.AddRef();
    }
    ~Scene() override { target.Detach(); }
    void Draw() override {
      if (draw) draw();
    }
    GraphicsTextureGL* texture() { return static_cast<GraphicsTextureGL*>(target.texture()); }

    GraphicsSceneGL target;
    std::function<void()> draw;
  };

  // Draws a texture over all of what is drawn into, or over its left half.
  void Show(GraphicsTexture* texture, float width = kSide) {
    context()->SetViewPort(0, 0, kSide, kSide);
    ASSERT_TRUE(context()->BindShader("rgba"));
    ASSERT_TRUE(texture->BindShaderResource(0));
    context()->DrawRect(internal_transform(internal_vec2((width - kSide) / 2, 0), internal_vec2(width, kSide), 0),
                        internal_vec2(kSide, kSide));
    texture->ReleaseShaderResource();
    context()->UnbindShader();
  }
  static test::Picture Plain(const test::Color& color) { return test::Canvas(kSide, kSide, color).picture(); }
  test::Picture Result(Scene* scene) { return test::ReadTarget(context(), scene->texture()); }
};

TEST_F(SceneTextureGLTest, IsOpaqueBlackUntilItWasDrawn) {
  Scene shown(context()), scene(context());
  shown.target.Detach();
  scene.draw = [&] { Show(shown.texture()); };
  const auto white = test::MakeTexture(context(), Plain({1, 1, 1, 1}));
  context()->DrawSceneOutput();
  EXPECT_TRUE(test::PicturesMatch(Result(&scene), Plain(test::kOpaqueBlack), {}));
  shown.draw = [&] { Show(white.get()); };
  shown.target.Attach(&shown);
  context()->DrawSceneOutput();
  EXPECT_TRUE(test::PicturesMatch(Result(&scene), Plain({1, 1, 1, 1}), {}));
}

TEST_F(SceneTextureGLTest, TellsTheContextWhichSceneIsShownInWhich) {
  Scene scene(context()), shown(context());
  scene.draw = [&] { Show(shown.texture()); };
  EXPECT_TRUE(context()->shown_scenes().empty());
  context()->DrawSceneOutput();
  EXPECT_FALSE(context()->shown_scenes().empty());
  EXPECT_FALSE(context()->shown_scenes().InItself(&scene.target));
  {
    const test::CurrentContext current(context());
    const auto other = std::make_unique<Scene>(context());
    other->draw = [&] { Show(other->texture()); };
    context()->DrawSceneOutput();
    EXPECT_TRUE(context()->shown_scenes().InItself(&other->target));
    scene.draw = nullptr;
    context()->DrawSceneOutput();
    context()->DrawSceneOutput();
    EXPECT_TRUE(context()->shown_scenes().InItself(&other->target));
  }
  EXPECT_TRUE(context()->shown_scenes().empty()) << "a scene that is gone leaves nothing";
}

// Each frame shows the one before in its left half, and a colour of its own in its right half.
TEST_F(SceneTextureGLTest, InItselfItIsThePictureOfTheFrameBefore) {
  Scene scene(context());
  const std::unique_ptr<GraphicsTextureGL> colors[] = {test::MakeTexture(context(), Plain({1, 0, 0, 1})),
                                                       test::MakeTexture(context(), Plain({0, 1, 0, 1})),
                                                       test::MakeTexture(context(), Plain({0, 0, 1, 1}))};
  int frame = 0;
  scene.draw = [&] {
    Show(colors[frame].get());
    Show(scene.texture(), kSide / 2);
  };
  test::Picture before = Plain(test::kOpaqueBlack);
  for (frame = 0; frame < 3; ++frame) {
    context()->DrawSceneOutput();
    test::Canvas canvas(kSide, kSide,
                        {frame == 0 ? 1.0f : 0.0f, frame == 1 ? 1.0f : 0.0f, frame == 2 ? 1.0f : 0.0f, 1.0f});
    canvas.DrawPicture({-kSide / 4.0f, 0, kSide / 2.0f, kSide}, before);
    before = Result(&scene);
    EXPECT_TRUE(test::PicturesMatch(before, canvas.picture(), {1})) << "frame " << frame;
  }
}

// Only as long as it is needed.
TEST_F(SceneTextureGLTest, KeepsACopyWhileItIsShownInItself) {
  Scene scene(context());
  const auto white = test::MakeTexture(context(), Plain({1, 1, 1, 1}));
  scene.draw = [&] { Show(white.get()); };
  const auto objects = [] { return gl_spy::LiveObjects(); };
  context()->DrawSceneOutput();
  const int plain = objects();
  scene.draw = [&] { Show(scene.texture()); };
  context()->DrawSceneOutput();
  context()->DrawSceneOutput();
  EXPECT_EQ(objects(), plain + 1);
  scene.draw = nullptr;
  context()->DrawSceneOutput();
  context()->DrawSceneOutput();
  EXPECT_EQ(objects(), plain);
}

}  // namespace
