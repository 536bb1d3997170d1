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
