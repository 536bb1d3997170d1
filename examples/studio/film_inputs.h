// Keeps a film from being written over what it is made of.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_INPUTS_H_
#define QUARN_EXAMPLES_STUDIO_FILM_INPUTS_H_

#include <string>

#include "studio/description.h"

namespace studio {

// Whether two names are of one file, by whatever links.
bool IsSameFile(const std::string& name, const std::string& other);

// Throws UsageError when `output` is a picture, a video or a sound of the scene, under whatever name.
void RefuseMedia(const Description& description, const std::string& output);
// So too when the film's output is the scene file.
void RefuseInputs(const Description& description);
// So too when one of them is a file of the film's pattern, whatever its number.
void RefuseNumberedInputs(const Description& description, const std::string& pattern);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_INPUTS_H_
