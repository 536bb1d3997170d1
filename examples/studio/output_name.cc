#include "studio/output_name.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <system_error>

#include "studio/av.h"

namespace studio {
namespace {

constexpr char kFileScheme[] = "file://";

}  // namespace

bool IsUrl(const std::string& output) {
  return output.find("://") != std::string::npos && output.rfind(kFileScheme, 0) != 0;
}

std::string FileName(const std::string& output) {
  return output.rfind(kFileScheme, 0) == 0 ? output.substr(sizeof(kFileScheme) - 1) : output;
}

std::optional<int> DescriptorOf(const std::string& output) {
  if (output == "-") return 1;
  const std::string name = FileName(output);
  if (name == "/dev/stdout") return 1;
  if (name == "/dev/stderr") return 2;
  for (const std::string folder : {"/dev/fd/", "/proc/self/fd/"}) {
    if (name.rfind(folder, 0) != 0) continue;
    int descriptor = -1;
    const char* const end = name.data() + name.size();
    const auto [rest, error] = std::from_chars(name.data() + folder.size(), end, descriptor);
    if (error == std::errc() && rest == end && descriptor >= 0) return descriptor;
  }
  return std::nullopt;
}

bool IsPipe(const std::string& output) {
  if (DescriptorOf(output)) return true;
  if (IsUrl(output)) return false;
  std::error_code ignored;
  const std::string name = FileName(output);
  return std::filesystem::is_fifo(name, ignored) || std::filesystem::is_character_file(name, ignored);
}

bool IsPattern(const std::string& output) { return !IsUrl(output) && av_filename_number_test(output.c_str()) != 0; }

std::string NumberedFile(const std::string& pattern, std::uint64_t number) {
  std::string file(pattern.size() + 32, '\0');
  if (av_get_frame_filename(file.data(), static_cast<int>(file.size()), pattern.c_str(), static_cast<int>(number)) <
      0) {
    return pattern;
  }
  file.resize(file.find('\0'));
  return file;
}

std::set<int> NumbersIn(const std::string& path) {
  std::set<int> numbers;
  const auto is_digit = [&](std::size_t at) { return at < path.size() && path[at] >= '0' && path[at] <= '9'; };
  for (std::size_t begin = 0; begin < path.size(); ++begin) {
    for (std::size_t end = begin; is_digit(end); ++end) {
      int number = 0;
      if (std::from_chars(&path[begin], &path[end] + 1, number).ec != std::errc()) break;
      numbers.insert(number);
    }
  }
  return numbers;
}

std::string FirstNumberedFile(const std::string& pattern, std::uint64_t first, std::uint64_t count) {
  namespace fs = std::filesystem;
  // The number may be that of a folder: what it is in is where two names part.
  const fs::path one = NumberedFile(pattern, 1), two = NumberedFile(pattern, 2);
  const auto parts = std::mismatch(one.begin(), one.end(), two.begin(), two.end());
  fs::path folder;
  for (auto part = one.begin(); part != parts.first; ++part) folder /= *part;
  std::optional<std::uint64_t> lowest;
  std::error_code error;
  for (fs::directory_iterator file(folder.empty() ? "." : folder, error), end; !error && file != end;
       file.increment(error)) {
    for (const int number : NumbersIn(file->path().filename().string())) {
      const auto n = static_cast<std::uint64_t>(number);
      std::error_code ignored;
      const bool counts = n >= first && n - first < count && (!lowest || n < *lowest);
      if (counts && fs::exists(NumberedFile(pattern, n), ignored)) lowest = n;
    }
  }
  return lowest ? NumberedFile(pattern, *lowest) : "";
}

std::string LocalPath(const std::string& output) {
  return output.find('/') == std::string::npos ? "./" + output : output;
}

std::string SuffixOf(const std::string& output) {
  const std::size_t dot = output.find_last_of("./");
  if (dot == std::string::npos || output[dot] == '/') return "";
  std::string suffix = output.substr(dot + 1);
  std::transform(suffix.begin(), suffix.end(), suffix.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return suffix;
}

}  // namespace studio
