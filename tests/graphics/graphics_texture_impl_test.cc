// The bases of textures and constant buffers, and the binding of several textures.
#include "graphics/graphics_texture_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <utility>
#include <vector>

#include "graphics/context_object.h"
#include "graphics/graphics_constant_buffer_impl.h"
#include "graphics/graphics_texture_array.h"
#include "graphics/output/graphics_frame.h"
#include "tests/support/log_capture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

using Journal = std::vector<std::string>;

class TestTexture : public GraphicsTextureImpl {
 public:
  TestTexture(Journal* journal, std::string name)
      : GraphicsTextureImpl(1, 1), journal_(journal), name_(std::move(name)) {}
  bool BindShaderResource(int unit) override {
    journal_->push_back("bind " + name_ + " " + std::to_string(unit));
    return false;
  }
  void ReleaseShaderResource() override { journal_->push_back("release " + name_); }

 private:
  Journal* journal_;
  std::string name_;
};

TEST(GraphicsTextureImplTest, KeepsSizeAndRotation) {
  GraphicsTextureImpl texture(640, 480);
  EXPECT_EQ(texture.width(), 640u);
  EXPECT_EQ(texture.height(), 480u);
  EXPECT_EQ(texture.rotation(), 0.0f);
  texture.SetRotation(1.5f);
  EXPECT_EQ(texture.rotation(), 1.5f);
}

TEST(GraphicsTextureImplTest, DefaultsAreSilentAndNeutral) {
  LogCapture log;
  GraphicsTextureImpl texture(1, 1);
  EXPECT_FALSE(texture.BindShaderResource(0));
  texture.ReleaseShaderResource();
  EXPECT_FALSE(texture.BindRenderTarget());
  texture.ReleaseRenderTarget();
  texture.Update(GraphicsFrame());
  texture.Update(static_cast<void*>(nullptr));
  EXPECT_THAT(log.Lines(), IsEmpty());
}

// Tells what is left of it.
class ReportingContext : public GraphicsContextImpl {
 public:
  using GraphicsContextImpl::ReportObjectsLeft;
};

class CountedTexture : public GraphicsTextureImpl, public ContextObject {
 public:
  explicit CountedTexture(GraphicsContextImpl* context) : GraphicsTextureImpl(1, 1), ContextObject(context) {}
};

TEST(GraphicsTextureImplTest, PartOfAnotherObjectIsNotCounted) {
  ReportingContext context;
  CountedTexture texture(&context);
  texture.CountAs(ContextObject::Kind::kTexture);
  LogCapture log;
  context.ReportObjectsLeft();
  EXPECT_THAT(log.Lines(), SizeIs(1));
  log.Clear();
  CountAsPart(&texture);
  context.ReportObjectsLeft();
  EXPECT_THAT(log.Lines(), IsEmpty());
}

TEST(GraphicsTextureImplTest, WhatIsNotCountedAnywayStaysSo) {
  CountAsPart(static_cast<GraphicsTexture*>(nullptr));
  GraphicsTextureImpl texture(1, 1);
  CountAsPart(&texture);
}

TEST(GraphicsTextureImplTest, NativeObjWarnsAndIsNull) {
  LogCapture log;
  GraphicsTextureImpl texture(1, 1);
  EXPECT_EQ(texture.native_obj(), nullptr);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, "GraphicsTexture::native_obj is unimplemented"}));
}

// In every build, those with NDEBUG included.
TEST(GraphicsTextureImplDeathTest, ZeroWidthAborts) {
  EXPECT_EXIT(GraphicsTextureImpl(0, 1), ::testing::KilledBySignal(SIGABRT),
              "graphics/graphics_texture_impl.*GraphicsTextureImpl.*width_ > 0 && height_ > 0");
}

TEST(GraphicsTextureImplDeathTest, ZeroHeightAborts) {
  EXPECT_EXIT(GraphicsTextureImpl(1, 0), ::testing::KilledBySignal(SIGABRT), "width_ > 0 && height_ > 0");
}

TEST(GraphicsTextureArrayTest, BindsEachTextureToItsUnit) {
  Journal journal;
  TestTexture a(&journal, "a"), b(&journal, "b"), c(&journal, "c"), d(&journal, "d");
  GraphicsTextureArray array(&a, &b, &c, &d);
  EXPECT_THAT(journal, IsEmpty());
  array.Bind();
  // A bind that fails does not keep the others from theirs.
  EXPECT_THAT(journal, ElementsAre("bind a 0", "bind b 1", "bind c 2", "bind d 3"));
  journal.clear();
  array.Unbind();
  EXPECT_THAT(journal, ElementsAre("release a", "release b", "release c", "release d"));
}

TEST(GraphicsTextureArrayTest, NullEntryLeavesItsUnitAlone) {
  Journal journal;
  TestTexture a(&journal, "a"), c(&journal, "c");
  GraphicsTextureArray array(&a, nullptr, &c, nullptr);
  array.Bind();
  array.Unbind();
  EXPECT_THAT(journal, ElementsAre("bind a 0", "bind c 2", "release a", "release c"));
}

TEST(GraphicsTextureArrayTest, OneTextureTakesUnitZero) {
  Journal journal;
  TestTexture a(&journal, "a");
  GraphicsTextureArray array(&a);
  array.Bind();
  array.Unbind();
  EXPECT_THAT(journal, ElementsAre("bind a 0", "release a"));
}

TEST(GraphicsConstantBufferImplTest, UpdateWarnsAndTheRestIsNeutral) {
  LogCapture log;
  GraphicsConstantBufferImpl buffer;
  EXPECT_FALSE(buffer.Bind(0));
  buffer.Unbind();
  EXPECT_THAT(log.Lines(), IsEmpty());
  buffer.Update("data", 4);
  EXPECT_THAT(log.Lines(),
              ElementsAre(LogCapture::Line{Logger::Level::Warn, "ConstantBuffer::Update is unimplemented"}));
}

}  // namespace
