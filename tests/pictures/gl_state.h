// What a host's own GL finds and leaves in a callback.
#ifndef QUARN_TESTS_PICTURES_GL_STATE_H_
#define QUARN_TESTS_PICTURES_GL_STATE_H_

#include <string>

#include "tests/pictures/stage.h"

namespace pictures {

// The state that drawing depends on, in a line: names of objects only as "some" or "none".
std::string GlState();
// The pixels of the target that is drawn into, bottom row first.
void RecordTarget(Stage* stage, const std::string& name, int width, int height);
// The pixels of a texture, bottom row first.
std::vector<unsigned char> ReadTexture(GsTexture* texture);

}  // namespace pictures

#endif  // QUARN_TESTS_PICTURES_GL_STATE_H_
