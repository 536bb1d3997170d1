// The text of scene files.
#ifndef QUARN_EXAMPLES_STUDIO_SCENE_TEXT_H_
#define QUARN_EXAMPLES_STUDIO_SCENE_TEXT_H_

#include <filesystem>
#include <string>
#include <vector>

#include "studio/description.h"

namespace studio {

// What a scene file in `folder` holds. Throws nlohmann::json's exceptions for what is not UTF-8, and those of the file
// system.
std::string SceneText(const Description& description, const std::filesystem::path& folder);

// The same with nothing but the layers; files have their whole path where `folder` is empty.
std::string LayerListText(const std::vector<Layer>& layers, const std::filesystem::path& folder);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SCENE_TEXT_H_
