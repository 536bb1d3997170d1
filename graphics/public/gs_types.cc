// Conversions of the public value types to the engine's. Any thread.
#include <quarn/gs_types.h>

#include "graphics/internal_types.h"

gs_vec2::operator internal_vec2() const { return internal_vec2(x, y); }

gs_vec3::operator internal_vec3() const { return internal_vec3(x, y, z); }

gs_transform::operator internal_transform() const { return internal_transform(pos, size, rotation); }
