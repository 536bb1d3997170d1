// Buffers when memory is short.
#include <quarn/qn_buffer.h>

#include <gtest/gtest.h>

#include "tests/foundation/system_calls.h"

namespace {

TEST(QNBufferMemoryTest, FailedAllocationLeavesItEmpty) {
  ScopedSystemCalls scope;
  std::size_t asked = 0;
  system_calls().malloc = [&](std::size_t size) {
    asked = size;
    return nullptr;
  };
  RefCounted<QNBuffer>* const made = new RefCounted<QNBuffer>(100ul);
  system_calls().malloc = nullptr;
  const auto buffer = scoped_refptr<RefCounted<QNBuffer>>::Adopt(made);
  EXPECT_EQ(asked, 128u);
  EXPECT_EQ(buffer->data(), nullptr);
  EXPECT_EQ(buffer->size(), 0u);
}

}  // namespace
