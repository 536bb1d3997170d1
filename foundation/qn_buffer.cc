// The host's buffer. Callers take turns.
#include <quarn/qn_buffer.h>

#include <cstdlib>

#include "foundation/integer_math.h"
#include "foundation/logger.h"

QNBuffer::QNBuffer() : data_(nullptr), size_(0) {}

QNBuffer::QNBuffer(unsigned long size) : QNBuffer() {
  if (size == 0) return;
  const unsigned long rounded = AlignSize(size);  // 0 where rounding up overflows.
  if (rounded > 0) data_ = static_cast<unsigned char*>(std::malloc(rounded));
  if (data_) {
    size_ = rounded;
  } else {
    Logger::default_logger()->Error("[QNBuffer] no memory for %lu bytes", size);
  }
}

QNBuffer::~QNBuffer() { std::free(data_); }

bool QNBuffer::valid() const { return data_ != nullptr; }

unsigned long QNBuffer::size() const { return size_; }

unsigned char* QNBuffer::data() { return data_; }

const unsigned char* QNBuffer::data() const { return data_; }
