// How far two files of samples are apart.
//
//   contestant-difference TYPE SPLIT A B
//
// TYPE is byte, rgb (bytes, of which every fourth is left out), short or float. SPLIT is the number of bytes behind
// which the second part begins: a picture's luma and chroma are told apart. Prints the largest and the mean difference
// of each part, in levels, or in steps of a 32768th where samples are floats; and fails where the files do not have one
// size.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

std::vector<char> Read(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <typename T>
double Value(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof(value));
  return static_cast<double>(value);
}

// A sample that is not a number is infinitely far from everything.
double Distance(const std::string& type, const char* a, const char* b) {
  double distance;
  if (type == "float") {
    distance = 32768 * std::abs(Value<float>(a) - Value<float>(b));
  } else if (type == "short") {
    distance = std::abs(Value<short>(a) - Value<short>(b));
  } else {
    distance = std::abs(Value<unsigned char>(a) - Value<unsigned char>(b));
  }
  return std::isnan(distance) ? HUGE_VAL : distance;
}

void PrintPart(const std::string& type, const char* a, const char* b, std::size_t size) {
  const std::size_t step = type == "float" ? sizeof(float) : type == "short" ? sizeof(short) : 1;
  double largest = 0;
  double sum = 0;
  std::size_t count = 0;
  for (std::size_t i = 0; i < size; i += step) {
    if (type == "rgb" && i % 4 == 3) continue;
    const double distance = Distance(type, a + i, b + i);
    largest = std::max(largest, distance);
    sum += distance;
    ++count;
  }
  std::printf("%.6g %.6g\n", largest, count ? sum / static_cast<double>(count) : 0.0);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const std::vector<char> a = Read(argv[3]);
  const std::vector<char> b = Read(argv[4]);
  if (a.empty() || a.size() != b.size()) {
    std::fprintf(stderr, "%zu bytes and %zu bytes\n", a.size(), b.size());
    return 1;
  }
  const std::size_t split = std::min<std::size_t>(std::strtoull(argv[2], nullptr, 10), a.size());
  PrintPart(argv[1], a.data(), b.data(), split);
  if (split < a.size()) PrintPart(argv[1], a.data() + split, b.data() + split, a.size() - split);
  return 0;
}
