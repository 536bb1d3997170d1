// The host's handle on a screen duplicator.
#include <quarn/gs_screen_dup.h>

#include <quarn/gs_texture.h>

#include "tests/graphics/public/facade_test.h"

namespace {

using testing::ElementsAre;

class GsScreenDupTest : public FacadeWithDeviceTest {
 protected:
  static void ExpectEmpty(GsScreenDup& dup) {
    EXPECT_EQ(dup.Dup(), -1);
    EXPECT_EQ(dup.last_frame(), nullptr);
    EXPECT_FALSE(dup.is_hdr());
    EXPECT_EQ(dup.sdr_white_level(), 80u);
  }
};

TEST_F(GsScreenDupTest, IsEmptyOnAnEngineWithoutDuplicators) {
  GsScreenDup dup("display", nullptr);
  ExpectEmpty(dup);
  EXPECT_THAT(warnings(), ElementsAre("CreateDuplicator is unimplemented"));
}

TEST_F(GsScreenDupTest, IsEmptyWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  GsScreenDup dup(nullptr, nullptr);
  ExpectEmpty(dup);
}

TEST_F(GsScreenDupTest, WrapsTheLatestCapture) {
  fake::options().duplicator = true;
  {
    GsScreenDup dup("display", nullptr);
    EXPECT_EQ(dup.last_frame(), nullptr);
    EXPECT_TRUE(dup.is_hdr());
    EXPECT_EQ(dup.sdr_white_level(), 203u);
    EXPECT_EQ(dup.Dup(), 0);
    ASSERT_NE(dup.last_frame(), nullptr);
    EXPECT_EQ(dup.last_frame()->width(), 2u);
    fake::options().dup_result = 5;
    EXPECT_EQ(dup.Dup(), 5);
    EXPECT_NE(dup.last_frame(), nullptr);
  }
  // Each capture starts from null, and the engine's texture goes with the duplicator, once.
  EXPECT_THAT(fake::Calls(), ElementsAre("device.CreateDuplicator display", "duplicator.Dup null",
                                         "duplicator.Dup null", "duplicator.~", "texture.~"));
}

TEST_F(GsScreenDupTest, AFailedCaptureForgetsTheFrame) {
  fake::options().duplicator = true;
  GsScreenDup dup("display", nullptr);
  EXPECT_EQ(dup.Dup(), 0);
  EXPECT_NE(dup.last_frame(), nullptr);
  fake::options().dup_result = -3;
  EXPECT_EQ(dup.Dup(), -3);
  EXPECT_EQ(dup.last_frame(), nullptr);
}

TEST(GraphicsDuplicatorSlotTest, VirtualOperationsKeepTheirOrder) {
  EXPECT_EQ(Slot(&GraphicsDuplicator::Dup), 2);
  EXPECT_EQ(Slot(&GraphicsDuplicator::is_hdr), 3);
  EXPECT_EQ(Slot(&GraphicsDuplicator::sdr_white_level), 4);
}

}  // namespace
