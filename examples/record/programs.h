// The shader programs of this host.
#ifndef QUARN_EXAMPLES_RECORD_PROGRAMS_H_
#define QUARN_EXAMPLES_RECORD_PROGRAMS_H_

#include <quarn/gs_device.h>

namespace record {

// Each reads one constant buffer, u_buf0, of four floats.
constexpr char kColorProgram[] = "record_color";      // The constants are the colour.
constexpr char kTextureProgram[] = "record_texture";  // A texture times the constants.
constexpr char kMaskedProgram[] = "record_masked";    // The same with the alpha of a second texture: a filter's target
                                                      // is opaque, the media behind it need not be.
constexpr char kGreyProgram[] = "record_grey";        // A texture without its colours.
constexpr char kBlurProgram[] = "record_blur";        // Blurred along one axis; constants: the step, in texture
                                                      // coordinates.

// Returns false when one cannot be built; the log says why.
bool AddPrograms(GsDevice* device);
// What turns the engine's BGRA output from black into a picture.
bool AddBgraProgram(GsDevice* device);

}  // namespace record

#endif  // QUARN_EXAMPLES_RECORD_PROGRAMS_H_
