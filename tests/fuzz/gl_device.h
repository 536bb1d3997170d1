// The device of targets that need no more than one, without a window system.
#ifndef QUARN_TESTS_FUZZ_GL_DEVICE_H_
#define QUARN_TESTS_FUZZ_GL_DEVICE_H_

#include <quarn/gs_device.h>

namespace fuzz {

// For all inputs. The log is kept quiet.
GsDevice* GlDevice();
// One that forgets its programs now and then.
GsDevice* FreshGlDevice();
// After an input: no call of the library's has left an error in GL.
void CheckGlDevice(GsDevice* device);

}  // namespace fuzz

#endif  // QUARN_TESTS_FUZZ_GL_DEVICE_H_
