// Mappings of memory on POSIX. Any thread enters.
#include "foundation/page_memory.h"

#include <sys/mman.h>
#include <unistd.h>

namespace {

void* Map(std::size_t bytes) {
  if (bytes == 0) return nullptr;
  void* const map = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (map == MAP_FAILED) return nullptr;
#if defined(MADV_NOHUGEPAGE)
  madvise(map, bytes, MADV_NOHUGEPAGE);  // A system without large pages refuses, and need not be told.
#endif
  return map;
}

}  // namespace

PageMemory::PageMemory(std::size_t bytes) : bytes_(bytes), data_(Map(bytes)) {}

PageMemory::~PageMemory() {
  if (data_) munmap(data_, bytes_);
}

void PageMemory::GiveBack(std::size_t from, std::size_t to) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  from = (from + page - 1) / page * page;
  if (to != bytes_) to = to / page * page;  // The last page is whole where the range ends.
  if (data_ && from < to) madvise(static_cast<unsigned char*>(data_) + from, to - from, MADV_DONTNEED);
}
