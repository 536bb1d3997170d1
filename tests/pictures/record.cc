#include "tests/pictures/record.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <regex>
#include <utility>

namespace pictures {
namespace {

// FNV-1a: told apart is what an accident makes.
std::uint64_t Digest(const unsigned char* data, std::size_t size) {
  std::uint64_t digest = 0xcbf29ce484222325u;
  for (std::size_t i = 0; i < size; ++i) digest = (digest ^ data[i]) * 0x100000001b3u;
  return digest;
}

}  // namespace

Record::Record(std::string case_name, std::string raw_folder)
    : case_name_(std::move(case_name)), raw_folder_(std::move(raw_folder)) {}

void Record::Line(const std::string& text) {
  std::lock_guard<std::mutex> lock(mutex_);
  (std::this_thread::get_id() == driver_ ? lines_ : elsewhere_).push_back(text);
}

void Record::Message(int level, std::string text) {
  static const std::regex address("0x[0-9a-fA-F]{5,}");
  static const std::regex source_line("(\\.(cc|h)) \\([0-9]+\\)");
  text = std::regex_replace(text, address, "0x...");
  text = std::regex_replace(text, source_line, "$1 (...)");
  std::replace(text.begin(), text.end(), '\n', ' ');
  Line("log " + std::to_string(level) + " " + text);
}

void Record::Picture(const std::string& name, const unsigned char* data, std::size_t pitch, std::size_t rows) {
  const std::size_t size = data ? pitch * rows : 0;
  char digest[17];
  std::snprintf(digest, sizeof(digest), "%016llx", static_cast<unsigned long long>(Digest(data, size)));
  Line("picture " + name + " " + std::to_string(pitch) + "x" + std::to_string(rows) + " " + digest);
  if (raw_folder_.empty() || size == 0) return;
  std::string file = case_name_ + " " + name;
  std::replace(file.begin(), file.end(), '/', '_');
  std::ofstream(raw_folder_ + "/" + file, std::ios::binary)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
}

void Record::Write(std::ostream* out) const {
  std::lock_guard<std::mutex> lock(mutex_);
  *out << "== " << case_name_ << "\n";
  for (const std::string& line : lines_) *out << line << "\n";
  std::vector<std::string> elsewhere = elsewhere_;
  std::sort(elsewhere.begin(), elsewhere.end());
  for (const std::string& line : elsewhere) *out << "elsewhere: " << line << "\n";
}

}  // namespace pictures
