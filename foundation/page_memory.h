// Memory that the system gives page by page, as it is written.
#ifndef QUARN_FOUNDATION_PAGE_MEMORY_H_
#define QUARN_FOUNDATION_PAGE_MEMORY_H_

#include <cstddef>

// A range of addresses of its own, zeroed, on a page's boundary. A page costs memory from the first write to it on; the
// system is asked for small pages, because a large one would be paid for as a whole.
//
// Threads: the owner's to guard.
class PageMemory {
 public:
  // Where the system refuses, and for no bytes, there is none.
  explicit PageMemory(std::size_t bytes);
  ~PageMemory();
  PageMemory(const PageMemory&) = delete;
  PageMemory& operator=(const PageMemory&) = delete;

  // Null where there is none.
  void* data() const { return data_; }
  // Gives the whole pages of [from, to) back to the system, in bytes from the start: what they held is gone, and they
  // can be written again.
  void GiveBack(std::size_t from, std::size_t to);

 private:
  const std::size_t bytes_;
  void* const data_;
};

#endif  // QUARN_FOUNDATION_PAGE_MEMORY_H_
