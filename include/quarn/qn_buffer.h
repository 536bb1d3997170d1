// A block of bytes that a host shares by reference. Words and tags: quarn.h.
#ifndef QUARN_QN_BUFFER_H_
#define QUARN_QN_BUFFER_H_

#include <quarn/export.h>
#include <quarn/ref_count.h>

// Bytes whose size is a multiple of 64. Derive and count references, or use RefCounted<QNBuffer>.
//
// Thread: caller-serialised.
class QUARN_EXPORT QNBuffer : public RefCountInterface {
 public:
  // An empty buffer: null data, size 0.
  QNBuffer();
  // A buffer of bytes that are not zeroed. When memory is short, or the rounding overflows, the buffer is empty, with
  // an error line in the log.
  //
  // `size`: bytes, rounded up to the next multiple of 64; 0 makes an empty buffer.
  explicit QNBuffer(unsigned long size);
  // Frees the bytes.
  ~QNBuffer() override;
  QNBuffer(const QNBuffer&) = delete;
  QNBuffer& operator=(const QNBuffer&) = delete;

  // Returns whether it has bytes.
  bool valid() const;
  // Returns the rounded size in bytes; 0 for an empty buffer.
  unsigned long size() const;
  // Returns the first byte, aligned as malloc aligns; null for an empty buffer.
  //
  // Ownership: the buffer's.
  unsigned char* data();
  const unsigned char* data() const;

 private:
  unsigned char* data_;
  unsigned long size_;
};

#endif  // QUARN_QN_BUFFER_H_
