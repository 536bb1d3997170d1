#include "studio/film_inputs.h"

#include <filesystem>
#include <system_error>

#include "studio/error.h"
#include "studio/output_name.h"

namespace studio {
namespace {

void Refuse(const std::string& output, const std::string& input) {
  if (IsSameFile(output, input)) throw UsageError("cannot write " + output + ": the scene reads it");
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

}  // namespace studio
