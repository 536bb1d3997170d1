// What --version prints.
#ifndef QUARN_EXAMPLES_STUDIO_VERSION_TEXT_H_
#define QUARN_EXAMPLES_STUDIO_VERSION_TEXT_H_

#include <string>

namespace studio {

// "PROGRAM X.Y.Z", and a line for each library that it runs with.
std::string VersionText(const std::string& program);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_VERSION_TEXT_H_
