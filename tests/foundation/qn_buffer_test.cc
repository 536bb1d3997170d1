#include <quarn/qn_buffer.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <type_traits>

namespace {

using Buffer = RefCounted<QNBuffer>;

TEST(QNBufferTest, DefaultIsEmpty) {
  const scoped_refptr<Buffer> buffer = MakeRef<Buffer>();
  EXPECT_EQ(buffer->data(), nullptr);
  EXPECT_EQ(buffer->size(), 0u);
}

TEST(QNBufferTest, SizeIsRoundedUpToAMultipleOf64AndUsable) {
  for (const unsigned long size : {1ul, 63ul, 64ul, 65ul, 1000ul}) {
    const scoped_refptr<Buffer> buffer = MakeRef<Buffer>(size);
    EXPECT_EQ(buffer->size(), (size + 63) / 64 * 64);
    ASSERT_NE(buffer->data(), nullptr);
    std::memset(buffer->data(), 0xab, buffer->size());
    const Buffer& readable = *buffer;
    EXPECT_EQ(readable.data(), buffer->data());
    EXPECT_EQ(readable.data()[buffer->size() - 1], 0xab);
  }
}

TEST(QNBufferTest, SizeOfNothingIsEmpty) {
  const scoped_refptr<Buffer> buffer = MakeRef<Buffer>(0ul);
  EXPECT_EQ(buffer->data(), nullptr);
  EXPECT_EQ(buffer->size(), 0u);
}

TEST(QNBufferTest, SizeWhoseRoundingOverflowsIsEmpty) {
  for (const unsigned long size : {ULONG_MAX, ULONG_MAX - 62}) {
    const scoped_refptr<Buffer> buffer = MakeRef<Buffer>(size);
    EXPECT_EQ(buffer->data(), nullptr);
    EXPECT_EQ(buffer->size(), 0u);
  }
}

TEST(QNBufferTest, LeavesCountingToTheHost) {
  EXPECT_TRUE((std::is_base_of_v<RefCountInterface, QNBuffer>));
  EXPECT_TRUE(std::is_abstract_v<QNBuffer>);
  EXPECT_TRUE(std::has_virtual_destructor_v<QNBuffer>);
}

}  // namespace
