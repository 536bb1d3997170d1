// The host's buffer. Callers take turns.
#include <quarn/qn_buffer.h>

#include <cstdlib>

#include "foundation/align.h"

QNBuffer::QNBuffer() : data_(nullptr), size_(0) {}

QNBuffer::QNBuffer(unsigned long size) : QNBuffer() {
  const unsigned long rounded = AlignSize(size);
  if (rounded == 0) return;  // Nothing asked for, or so much that rounding it up overflows.
  data_ = static_cast<unsigned char*>(std::malloc(rounded));
  if (data_) size_ = rounded;
}

QNBuffer::~QNBuffer() { std::free(data_); }

unsigned long QNBuffer::size() const { return size_; }

unsigned char* QNBuffer::data() { return data_; }

const unsigned char* QNBuffer::data() const { return data_; }
