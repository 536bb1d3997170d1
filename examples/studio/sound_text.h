// Sounds as people write them.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_TEXT_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_TEXT_H_

#include <string>

#include "studio/description.h"

namespace studio {

// What the programs' help says about sounds.
extern const char kSoundHelp[];

// "FILE[@gain[,start]][,key=value]..."; "\@" and "\," are an at and a comma of a file's name. Throws UsageError.
Sound ParseSound(const std::string& text);

// Which sound of a file: 0 is the first. Throws UsageError.
int ParseTrack(const std::string& text);
// "1:2": how long it takes to come and to go. Throws UsageError.
void ParseFade(const std::string& text, Sound* sound);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_TEXT_H_
