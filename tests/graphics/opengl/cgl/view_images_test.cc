// The images of a view, in turn between who draws and who shows, both played by the test.
#include "graphics/opengl/cgl/view_images.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <set>
#include <vector>

#include "tests/support/gl_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class ViewImagesTest : public GlTest {
 protected:
  void SetUp() override {
    GlTest::SetUp();
    objects_ = gl_spy::LiveObjects();
  }
  void TearDown() override {
    {
      const test::CurrentContext current(context());
      images_.Close(true);
      images_.DeleteFences();
    }
    EXPECT_EQ(Count(), 0);
    GlTest::TearDown();
  }

  void Make(std::uint32_t width = 8, std::uint32_t height = 6) {
    const test::CurrentContext current(context());
    EXPECT_TRUE(images_.Make(context(), {width, height}));
  }
  // Draws a picture and returns the texture that it is in; 0 where there is no image for it.
  GLuint DrawPicture() {
    const test::CurrentContext current(context());
    GraphicsTextureGL* const image = images_.Begin();
    if (!image) return 0;
    images_.Fence();
    glFlush();
    EXPECT_TRUE(images_.Finish({image->width(), image->height()}, {0, 0, 0, 1}));
    images_.End();
    return image->name();
  }
  GLuint DrawAndOffer() {
    const GLuint texture = DrawPicture();
    EXPECT_TRUE(images_.Offer());
    return texture;
  }
  // Gives back what was taken, with a fence of the GPU's that is passed, as the window thread does.
  void GiveBack() {
    const test::CurrentContext current(context());
    images_.GiveBack(glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0));
    glFinish();
    images_.NoteShown(true);
  }
  // Of the images that there are: each has a texture and a framebuffer object.
  int Count() const { return (gl_spy::LiveObjects() - objects_) / 2; }
  std::vector<std::uint32_t> Counts() const {
    const ViewCounts counts = images_.counts();
    return {counts.drawn, counts.presented, counts.skipped};
  }

  ViewImages images_;

 private:
  int objects_ = 0;
};

TEST_F(ViewImagesTest, ViewWhosePicturesAreTakenInTimeHasOneImage) {
  Make();
  for (int i = 0; i < 10; ++i) {
    const GLuint drawn = DrawAndOffer();
    const ViewImages::Picture* const taken = images_.Take();
    ASSERT_NE(taken, nullptr);
    EXPECT_EQ(taken->texture, drawn);
    EXPECT_NE(taken->drawn, nullptr);
    GiveBack();
    EXPECT_EQ(images_.Take(), nullptr) << "a picture is taken once";
  }
  EXPECT_EQ(Count(), 1);
  EXPECT_THAT(Counts(), ElementsAre(10, 10, 0));
}

TEST_F(ViewImagesTest, ViewThatIsNotShownHasOneImage) {
  Make();
  for (int i = 0; i < 10; ++i) {
    EXPECT_NE(DrawPicture(), 0u);
    images_.Skip();
  }
  EXPECT_EQ(Count(), 1);
  EXPECT_THAT(Counts(), ElementsAre(10, 0, 10));
}

TEST_F(ViewImagesTest, NewestPictureWaitsAndTheOthersAreSkipped) {
  Make();
  GLuint newest = 0;
  for (int i = 0; i < 10; ++i) newest = DrawAndOffer();
  EXPECT_TRUE(images_.waiting());
  EXPECT_THAT(Counts(), ElementsAre(10, 0, 9));
  EXPECT_EQ(images_.Take()->texture, newest);
  EXPECT_FALSE(images_.waiting());
  GiveBack();
  EXPECT_THAT(Counts(), ElementsAre(10, 1, 9));
}

TEST_F(ViewImagesTest, ImageThatIsReadIsNotDrawnTo) {
  Make();
  DrawAndOffer();
  const GLuint read = images_.Take()->texture;
  std::set<GLuint> drawn;
  for (int i = 0; i < 10; ++i) drawn.insert(DrawAndOffer());
  EXPECT_EQ(drawn.count(read), 0u);
  EXPECT_EQ(drawn.size(), 2u) << "one waits while the other is drawn";
  EXPECT_EQ(Count(), ViewImages::kMost);
  GiveBack();
  EXPECT_EQ(DrawPicture(), read) << "the first that is free";
}

// GL would have drawing wait for it.
TEST_F(ViewImagesTest, ImageThatTheGpuReadsIsNotDrawnToWhileThereIsAnother) {
  gl_spy::faults().fences_pending = true;
  Make();
  const GLuint first = DrawAndOffer();
  images_.Take();
  GiveBack();
  const GLuint second = DrawAndOffer();
  EXPECT_NE(second, first);
  images_.Take();
  GiveBack();
  const GLuint third = DrawAndOffer();
  EXPECT_EQ(Count(), 3);
  // All three are read: the GPU is told to wait.
  images_.Take();
  GiveBack();
  const int waits = gl_spy::FenceWaits();
  EXPECT_NE(DrawAndOffer(), 0u);
  EXPECT_EQ(gl_spy::FenceWaits(), waits + 1);
  gl_spy::faults().fences_pending = false;
  EXPECT_NE(third, second);
}

TEST_F(ViewImagesTest, ImagesThatWereNotNeededForAWhileGo) {
  Make();
  DrawAndOffer();
  images_.Take();
  for (int i = 0; i < 3; ++i) DrawAndOffer();
  ASSERT_EQ(Count(), 3);
  GiveBack();
  images_.Take();
  GiveBack();
  for (int i = 0; i < ViewImages::kIdlePictures + 2; ++i) DrawPicture();
  EXPECT_EQ(Count(), 1);
}

TEST_F(ViewImagesTest, PictureOfADroppedImageMayStillBeTaken) {
  Make(8, 6);
  const GLuint before = DrawAndOffer();
  {
    const test::CurrentContext current(context());
    images_.Drop(true);
    EXPECT_TRUE(images_.empty());
  }
  Make(4, 3);
  EXPECT_FALSE(images_.empty());
  EXPECT_EQ(Count(), 2);
  const ViewImages::Picture* const taken = images_.Take();
  EXPECT_EQ(taken->texture, before);
  EXPECT_EQ(taken->image.width, 8u);
  DrawAndOffer();
  EXPECT_EQ(Count(), 2) << "it is read";
  GiveBack();
  EXPECT_EQ(images_.Take()->image.width, 4u);
  GiveBack();
  DrawPicture();
  EXPECT_EQ(Count(), 1);
}

TEST_F(ViewImagesTest, PictureOfADroppedImageGivesWayToANewerOne) {
  Make(8, 6);
  DrawAndOffer();
  Make(4, 3);
  DrawAndOffer();
  EXPECT_THAT(Counts(), ElementsAre(2, 0, 1));
  EXPECT_EQ(images_.Take()->image.width, 4u);
  GiveBack();
  DrawPicture();
  EXPECT_EQ(Count(), 1);
}

TEST_F(ViewImagesTest, ImageThatIsDroppedWhileItIsDrawnToIsNotOffered) {
  Make();
  {
    const test::CurrentContext current(context());
    const GraphicsTextureGL* const image = images_.Begin();
    ASSERT_NE(image, nullptr);
    images_.Drop(true);
    EXPECT_EQ(Count(), 1) << "a callback has it bound";
    images_.Fence();
    EXPECT_FALSE(images_.Finish({8, 6}, {0, 0, 0, 1}));
    images_.End();
  }
  EXPECT_FALSE(images_.Offer());
  EXPECT_EQ(DrawPicture(), 0u);
  EXPECT_EQ(Count(), 0);
}

TEST_F(ViewImagesTest, UnfinishedPictureIsNotOffered) {
  Make();
  {
    const test::CurrentContext current(context());
    EXPECT_NE(images_.Begin(), nullptr);
    images_.End();
  }
  EXPECT_FALSE(images_.Offer());
  EXPECT_THAT(Counts(), ElementsAre(0, 0, 0));
}

// It is drawn with the images that there are, and said once.
TEST_F(ViewImagesTest, PicturesGoOnWhereNoOtherImageCanBeMade) {
  Make();
  DrawAndOffer();
  gl_spy::faults().gen_textures = true;
  for (int i = 0; i < 3; ++i) DrawAndOffer();
  EXPECT_THAT(Counts(), ElementsAre(4, 0, 3)) << "the one that waits is drawn over";
  images_.Take();
  EXPECT_EQ(DrawPicture(), 0u) << "the only image is read";
  gl_spy::faults().gen_textures = false;
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("create texture failed")));
  GiveBack();
  EXPECT_NE(DrawPicture(), 0u);
  EXPECT_EQ(Count(), 1);
}

TEST_F(ViewImagesTest, ImageThatCannotBeDrawnToIsNoOtherImage) {
  Make();
  const GLuint first = DrawAndOffer();
  gl_spy::faults().incomplete = true;
  EXPECT_EQ(DrawAndOffer(), first);
  gl_spy::faults().incomplete = false;
  EXPECT_EQ(Count(), 1);
}

TEST_F(ViewImagesTest, ImageThatIsReadOutlivesTheView) {
  Make();
  DrawAndOffer();
  images_.Take();
  DrawAndOffer();
  {
    const test::CurrentContext current(context());
    images_.Close(true);
  }
  EXPECT_EQ(Count(), 1);
  EXPECT_FALSE(images_.waiting());
  GiveBack();
}

}  // namespace
