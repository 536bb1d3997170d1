// The host's handle on shader constants.
#include <quarn/gs_constant_buffer.h>

#include "tests/graphics/public/facade_test.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class GsConstantBufferTest : public FacadeWithDeviceTest {
 protected:
  const float data_[4] = {1, 2, 3, 4};
};

TEST_F(GsConstantBufferTest, OwnsAnEngineBuffer) {
  {
    GsConstantBuffer buffer(data_, sizeof(data_), nullptr);
    EXPECT_TRUE(buffer.Bind(3));
    buffer.Unbind();
    buffer.Update(data_, 8);
  }
  EXPECT_THAT(fake::Calls(),
              ElementsAre("buffer 16 data", "buffer.Bind 3", "buffer.Unbind", "buffer.Update 8", "buffer.~"));
}

TEST_F(GsConstantBufferTest, NullDataAsksForZeros) {
  GsConstantBuffer of_size(32, nullptr);
  GsConstantBuffer of_null(nullptr, 48, nullptr);
  EXPECT_THAT(fake::Calls(), ElementsAre("buffer 32 null", "buffer 48 null"));
}

TEST_F(GsConstantBufferTest, SizeZeroMakesNone) {
  {
    GsConstantBuffer buffer(data_, 0, nullptr);
    GsConstantBuffer of_size(0, nullptr);
    EXPECT_FALSE(buffer.Bind(0));
    EXPECT_FALSE(of_size.Bind(0));
    buffer.Unbind();
    buffer.Update(data_, 4);
  }
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsConstantBufferTest, LeavesTheSlotToTheEngine) {
  GsConstantBuffer buffer(16, nullptr);
  fake::ClearCalls();
  for (const int slot : {0, 9, 10, -1}) EXPECT_TRUE(buffer.Bind(slot));
  EXPECT_THAT(fake::Calls(), ElementsAre("buffer.Bind 0", "buffer.Bind 9", "buffer.Bind 10", "buffer.Bind -1"));
}

TEST_F(GsConstantBufferTest, IgnoresAnUpdateWithoutData) {
  GsConstantBuffer buffer(16, nullptr);
  fake::ClearCalls();
  buffer.Update(nullptr, 16);
  EXPECT_THAT(fake::Calls(), IsEmpty());
}

TEST_F(GsConstantBufferTest, IsInertWithoutADevice) {
  GsDevice::DestroyDefaultDevice();
  GsConstantBuffer buffer(data_, sizeof(data_), nullptr);
  EXPECT_FALSE(buffer.Bind(0));
  buffer.Unbind();
  buffer.Update(data_, sizeof(data_));
}

TEST_F(GsConstantBufferTest, IsInertWhenTheEngineMakesNone) {
  fake::options().objects = false;
  GsConstantBuffer buffer(data_, sizeof(data_), nullptr);
  EXPECT_FALSE(buffer.Bind(0));
}

}  // namespace
