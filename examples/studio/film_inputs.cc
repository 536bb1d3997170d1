#include "studio/film_inputs.h"

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

void RefuseNumbered(const std::string& pattern, const std::string& input) {
  std::error_code error;
  std::set<int> numbers = NumbersIn(FileName(input));
  numbers.merge(NumbersIn(std::filesystem::canonical(FileName(input), error).string()));
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
