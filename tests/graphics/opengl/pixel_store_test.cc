#include "graphics/opengl/pixel_store.h"

#include <gmock/gmock.h>

#include <vector>

#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;

class PixelStoreTest : public GlTest {
 protected:
  void SetUp() override {
    GlTest::SetUp();
    current_ = std::make_unique<test::CurrentContext>(context());
  }
  void TearDown() override {
    current_.reset();
    GlTest::TearDown();
  }

  static std::vector<GLint> Get(const std::vector<GLenum>& names) {
    std::vector<GLint> values;
    for (const GLenum name : names) {
      values.push_back(-1);
      glGetIntegerv(name, &values.back());
    }
    return values;
  }
  const std::vector<GLenum> unpack_ = {GL_UNPACK_ALIGNMENT, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS,
                                       GL_UNPACK_SKIP_PIXELS, GL_PIXEL_UNPACK_BUFFER_BINDING};
  const std::vector<GLenum> pack_ = {GL_PACK_ALIGNMENT, GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS};

 private:
  std::unique_ptr<test::CurrentContext> current_;
};

TEST_F(PixelStoreTest, UnpackReadsTheRowsOfMemoryAndLeavesWhatItFound) {
  GLuint buffer = 0;
  glGenBuffers(1, &buffer);
  glBindBuffer(GL_PIXEL_UNPACK_BUFFER, buffer);
  glPixelStorei(GL_UNPACK_ALIGNMENT, 8);
  glPixelStorei(GL_UNPACK_ROW_LENGTH, 20);
  glPixelStorei(GL_UNPACK_SKIP_ROWS, 3);
  glPixelStorei(GL_UNPACK_SKIP_PIXELS, 2);
  {
    const ScopedUnpack unpack(7);
    EXPECT_THAT(Get(unpack_), ElementsAre(1, 7, 0, 0, 0));
  }
  EXPECT_THAT(Get(unpack_), ElementsAre(8, 20, 3, 2, static_cast<GLint>(buffer)));
  glDeleteBuffers(1, &buffer);
}

TEST_F(PixelStoreTest, UnpackReadsTightRowsUnlessToldOtherwise) {
  const ScopedUnpack unpack;
  EXPECT_THAT(Get(unpack_), ElementsAre(1, 0, 0, 0, 0));
}

TEST_F(PixelStoreTest, PackWritesTightRowsAndLeavesWhatItFound) {
  glPixelStorei(GL_PACK_ALIGNMENT, 2);
  glPixelStorei(GL_PACK_ROW_LENGTH, 11);
  glPixelStorei(GL_PACK_SKIP_ROWS, 5);
  glPixelStorei(GL_PACK_SKIP_PIXELS, 4);
  {
    const ScopedPack pack;
    EXPECT_THAT(Get(pack_), ElementsAre(1, 0, 0, 0));
  }
  EXPECT_THAT(Get(pack_), ElementsAre(2, 11, 5, 4));
}

}  // namespace
