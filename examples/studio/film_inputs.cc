#include "studio/film_inputs.h"

#include <charconv>
#include <filesystem>
#include <set>
#include <system_error>

#include "studio/error.h"
#include "studio/output_name.h"

namespace studio {
namespace {

void Refuse(const std::string& output, const std::string& input) {
  if (IsSameFile(output, input)) throw UsageError("cannot write " + output + ": the scene reads it");
}

// Adds the numbers that a file may have in a pattern: the digits in its path, or some of those that stand together.
void AddNumbers(const std::string& path, std::set<int>* numbers) {
  const auto is_digit = [&](std::size_t at) { return at < path.size() && path[at] >= '0' && path[at] <= '9'; };
  for (std::size_t begin = 0; begin < path.size(); ++begin) {
    for (std::size_t end = begin; is_digit(end); ++end) {
      int number = 0;
      if (std::from_chars(&path[begin], &path[end] + 1, number).ec != std::errc()) break;
      numbers->insert(number);
    }
  }
}

void RefuseNumbered(const std::string& pattern, const std::string& input) {
  std::set<int> numbers;
  AddNumbers(FileName(input), &numbers);
  std::error_code error;
  AddNumbers(std::filesystem::canonical(FileName(input), error).string(), &numbers);
  for (const int number : numbers) Refuse(NumberedFile(pattern, static_cast<std::uint64_t>(number)), input);
}

}  // namespace

bool IsSameFile(const std::string& name, const std::string& other) {
  std::error_code error;
  return std::filesystem::equivalent(FileName(name), FileName(other), error) && !error;
}

void RefuseMedia(const Description& description, const std::string& output) {
  for (const Layer& layer : description.layers) Refuse(output, layer.file);
  for (const Sound& sound : description.sounds) Refuse(output, sound.file);
}

void RefuseInputs(const Description& description) {
  RefuseMedia(description, description.output);
  Refuse(description.output, description.scene_file);
}

void RefuseNumberedInputs(const Description& description, const std::string& pattern) {
  for (const Layer& layer : description.layers) RefuseNumbered(pattern, layer.file);
  for (const Sound& sound : description.sounds) RefuseNumbered(pattern, sound.file);
  RefuseNumbered(pattern, description.scene_file);
}

}  // namespace studio
