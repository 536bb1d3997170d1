#include "foundation/page_memory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

const std::size_t kPage = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));

unsigned char* Bytes(const PageMemory& memory) { return static_cast<unsigned char*>(memory.data()); }

std::size_t PagesInUse(const PageMemory& memory, std::size_t pages) {
  std::vector<unsigned char> in_use(pages);
  EXPECT_EQ(mincore(memory.data(), pages * kPage, in_use.data()), 0);
  return static_cast<std::size_t>(std::count_if(in_use.begin(), in_use.end(), [](auto page) { return page & 1; }));
}

TEST(PageMemoryTest, IsZeroedAndLiesOnAPagesBoundary) {
  PageMemory memory(3 * kPage + 7);
  ASSERT_NE(memory.data(), nullptr);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory.data()) % kPage, 0u);
  EXPECT_THAT(std::vector<unsigned char>(Bytes(memory), Bytes(memory) + 3 * kPage + 7), testing::Each(0));
}

TEST(PageMemoryTest, PagesAreInUseFromTheFirstWriteOn) {
  // Large enough that a system with large pages would be tempted.
  const std::size_t pages = 4096;
  PageMemory memory(pages * kPage);
  EXPECT_EQ(PagesInUse(memory, pages), 0u);
  Bytes(memory)[1500 * kPage] = 1;
  Bytes(memory)[4000 * kPage + 1] = 1;
  EXPECT_EQ(PagesInUse(memory, pages), 2u);
}

TEST(PageMemoryTest, GivesWholePagesBack) {
  PageMemory memory(8 * kPage);
  std::fill_n(Bytes(memory), 8 * kPage, 5);
  memory.GiveBack(kPage + 1, 5 * kPage - 1);
  EXPECT_EQ(PagesInUse(memory, 8), 6u) << "of the pages 1 to 4 the first and the last are not given back as a whole";
  EXPECT_EQ(Bytes(memory)[2 * kPage - 1], 5);
  EXPECT_EQ(Bytes(memory)[2 * kPage], 0);
  EXPECT_EQ(Bytes(memory)[4 * kPage - 1], 0);
  EXPECT_EQ(Bytes(memory)[4 * kPage], 5);
  memory.GiveBack(kPage, kPage);
  memory.GiveBack(kPage + 1, kPage + 2);
  EXPECT_EQ(Bytes(memory)[kPage], 5);
}

TEST(PageMemoryTest, TheLastPageIsWholeWhereTheMemoryEnds) {
  PageMemory memory(3 * kPage + 7);
  std::fill_n(Bytes(memory), 3 * kPage + 7, 5);
  memory.GiveBack(2 * kPage, 3 * kPage + 7);
  EXPECT_EQ(PagesInUse(memory, 4), 2u);
}

TEST(PageMemoryTest, GoesBackToTheSystem) {
  const void* bytes = nullptr;
  {
    PageMemory memory(3 * kPage);
    bytes = memory.data();
  }
  unsigned char in_use[3];
  EXPECT_EQ(mincore(const_cast<void*>(bytes), sizeof(in_use) * kPage, in_use), -1) << "something is mapped there";
  EXPECT_EQ(errno, ENOMEM);
}

TEST(PageMemoryTest, ThereIsNoneForNoBytesAndForTooMany) {
  PageMemory none(0);
  EXPECT_EQ(none.data(), nullptr);
  none.GiveBack(0, 0);
  PageMemory too_many(std::numeric_limits<std::size_t>::max() / 2);
  EXPECT_EQ(too_many.data(), nullptr);
  too_many.GiveBack(0, kPage);
}

}  // namespace
