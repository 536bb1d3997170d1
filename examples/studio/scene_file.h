// Scenes written down as JSON.
#ifndef QUARN_EXAMPLES_STUDIO_SCENE_FILE_H_
#define QUARN_EXAMPLES_STUDIO_SCENE_FILE_H_

#include <string>
#include <vector>

#include "studio/description.h"

namespace studio {

// What a program's help says about scene files.
extern const char kSceneHelp[];

// Reads a scene file over `description`: what it sets replaces the defaults, its layers are appended. Media files are
// looked for from the scene file's own folder. Throws Error, naming the file and the place in it.
void ReadSceneFile(const std::string& path, Description* description);

// Writes what ReadSceneFile reads: reading it back gives the same scene. Media files are named as seen from the scene
// file's folder. The file gets its name once it is complete: a failure leaves an older one as it was. Throws Error.
void WriteSceneFile(const std::string& path, const Description& description);

// Layers as a text, for a clipboard: as scene files have them, but with media files named from the root folder. Throws
// Error.
std::string LayersText(const std::vector<Layer>& layers);
// The layers of such a text, or of the text of any scene file. Throws Error.
std::vector<Layer> ParseLayersText(const std::string& text);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SCENE_FILE_H_
