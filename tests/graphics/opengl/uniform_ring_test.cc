#include "graphics/opengl/uniform_ring.h"

#include <vector>

#include "graphics/opengl/gl_version.h"
#include "tests/support/gl_fixture.h"

namespace {

class UniformRingTest : public GlTest {
 protected:
  void SetUp() override {
    GlTest::SetUp();
    current_ = std::make_unique<test::CurrentContext>(context());
    if (!HasGL(44, "GL_ARB_buffer_storage")) GTEST_SKIP() << "buffers cannot stay mapped here";
    ring_.Build(true);
  }
  void TearDown() override {
    ring_.Release();
    current_.reset();
    GlTest::TearDown();
  }

  struct Place {
    GLint buffer;
    GLint64 start;
  };
  static Place BoundTo(GLuint point) {
    Place place = {};
    glGetIntegeri_v(GL_UNIFORM_BUFFER_BINDING, point, &place.buffer);
    glGetInteger64i_v(GL_UNIFORM_BUFFER_START, point, &place.start);
    return place;
  }
  static int ValueAt(const Place& place) {
    int value = 0;
    glBindBuffer(GL_UNIFORM_BUFFER, static_cast<GLuint>(place.buffer));
    glGetBufferSubData(GL_UNIFORM_BUFFER, static_cast<GLintptr>(place.start), sizeof(value), &value);
    return value;
  }

  UniformRing ring_;

 private:
  std::unique_ptr<test::CurrentContext> current_;
};

TEST_F(UniformRingTest, GivesEachBlockAPlaceOfItsOwn) {
  std::vector<Place> places;
  const std::size_t uploads = gl_spy::Uploads().size();
  for (int i = 0; i < 50; ++i) {
    const std::vector<int> block(48, i);
    ASSERT_TRUE(ring_.Bind(2, block.data(), 192));
    places.push_back(BoundTo(2));
  }
  for (int i = 0; i < 50; ++i) EXPECT_EQ(ValueAt(places[static_cast<std::size_t>(i)]), i);
  EXPECT_EQ(gl_spy::Uploads().size(), uploads) << "nothing is uploaded";
}

TEST_F(UniformRingTest, ReplacesABufferThatIsFull) {
  const int objects = gl_spy::LiveObjects();
  const std::vector<int> block(1024, 7);
  const GLsizeiptr size = 4096;
  ASSERT_TRUE(ring_.Bind(2, block.data(), size));
  GLint64 last = BoundTo(2).start;
  int replaced = 0;
  for (GLsizeiptr i = 1; i < 3 * UniformRing::kBufferSize / size; ++i) {
    ASSERT_TRUE(ring_.Bind(2, block.data(), size));
    const Place place = BoundTo(2);
    EXPECT_LE(place.start + size, UniformRing::kBufferSize);
    EXPECT_EQ(ValueAt(place), 7);
    replaced += place.start < last;
    last = place.start;
  }
  EXPECT_EQ(replaced, 2);
  EXPECT_EQ(gl_spy::LiveObjects(), objects + 1) << "one buffer at a time";
}

TEST_F(UniformRingTest, DoesNothingWhereBuffersCannotStayMapped) {
  UniformRing ring;
  const float block[4] = {};
  EXPECT_FALSE(ring.Bind(2, block, sizeof(block))) << "not built";
  ring.Build(false);
  EXPECT_FALSE(ring.Bind(2, block, sizeof(block)));
  gl_spy::faults().map_buffer = true;
  ring.Build(true);
  EXPECT_FALSE(ring.Bind(2, block, sizeof(block)));
  gl_spy::faults().map_buffer = false;
  EXPECT_FALSE(ring.Bind(2, block, sizeof(block))) << "it is not tried again";
}

}  // namespace
