// The bytes of one execution, read as values. When they are used up every value is 0, so an input ends by itself.
#ifndef QUARN_TESTS_FUZZ_FUZZ_INPUT_H_
#define QUARN_TESTS_FUZZ_FUZZ_INPUT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  bool empty() const { return left_ == 0; }
  std::size_t left() const { return left_; }

  // The next bytes as a number of type T, whatever its bits.
  template <class T>
  T Take() {
    static_assert(std::is_trivially_copyable_v<T>, "its bytes are taken as they come");
    T value{};
    const std::size_t count = std::min(left_, sizeof(T));
    std::memcpy(&value, data_, count);
    Skip(count);
    return value;
  }
  std::uint8_t Byte() { return Take<std::uint8_t>(); }
  bool Flag() { return Byte() % 2 != 0; }
  // 0 to `most`, which takes one byte.
  unsigned int UpTo(unsigned int most) { return Byte() % (most + 1); }

  // A size or a count: small ones as a rule, those around the limits of its type, and now and then any.
  unsigned int Unsigned() {
    const std::uint8_t kind = Byte();
    if (kind < 192) return kind % 65;
    constexpr unsigned int kEdges[] = {0x80000000u, 0x7FFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFEu, 0x01000001u, 0x00010000u,
                                       16384u,      16385u,      0x40000000u, 0xFFFFu,     8192u,       1000u};
    if (kind < 192 + 12) return kEdges[kind - 192];
    return Take<std::uint32_t>();
  }
  int Signed() { return static_cast<int>(Unsigned()); }
  // Any float: as a rule one within a picture's size, else any bits, infinities and what is no number among them.
  float Float() {
    const std::uint8_t kind = Byte();
    if (kind < 224) return (static_cast<float>(kind) - 64.0f) / 4.0f;
    return Take<float>();
  }
  // Up to `most` bytes, with a length of its own in front.
  std::string Text(std::size_t most) {
    const std::size_t count = std::min({static_cast<std::size_t>(Byte()), most, left_});
    std::string text(reinterpret_cast<const char*>(data_), count);
    Skip(count);
    return text;
  }
  // All that is left.
  std::string Rest() {
    std::string text(reinterpret_cast<const char*>(data_), left_);
    Skip(left_);
    return text;
  }

 private:
  void Skip(std::size_t count) {
    data_ += count;
    left_ -= count;
  }

  const std::uint8_t* data_;
  std::size_t left_;
};

#endif  // QUARN_TESTS_FUZZ_FUZZ_INPUT_H_
