// What tests of the engine's views draw.
#ifndef QUARN_TESTS_GRAPHICS_OPENGL_CGL_PAINTER_H_
#define QUARN_TESTS_GRAPHICS_OPENGL_CGL_PAINTER_H_

#include <gtest/gtest.h>

#include <memory>

#include "graphics/graphics_view.h"
#include "graphics/internal_types.h"
#include "tests/support/gl_fixture.h"

namespace test {

// Fills the view with a picture, pixel for pixel.
class Painter : public GraphicsView::DrawCallback {
 public:
  Painter(GraphicsContextCGL* context, const test::Picture& picture)
      : context_(context),
        size_(static_cast<float>(picture.width), static_cast<float>(picture.height)),
        texture_(test::MakeTexture(context, picture)) {}

  void Draw() override {
    ++draws;
    context_->SetViewPort(0, 0, texture_->width(), texture_->height());
    EXPECT_TRUE(context_->BindShader("rgba"));
    EXPECT_TRUE(texture_->BindShaderResource(0));
    context_->DrawRect(internal_transform(size_), size_);
    texture_->ReleaseShaderResource();
    context_->UnbindShader();
  }

  int draws = 0;

 private:
  GraphicsContextCGL* const context_;
  const internal_vec2 size_;
  const std::unique_ptr<GraphicsTextureGL> texture_;
};

}  // namespace test

#endif  // QUARN_TESTS_GRAPHICS_OPENGL_CGL_PAINTER_H_
