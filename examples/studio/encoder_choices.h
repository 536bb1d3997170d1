// What the user chose of an encoder's settings: quality or bit rate, and a preset.
#ifndef QUARN_EXAMPLES_STUDIO_ENCODER_CHOICES_H_
#define QUARN_EXAMPLES_STUDIO_ENCODER_CHOICES_H_

#include "studio/av.h"
#include "studio/description.h"

namespace studio {

// Says how good pictures of `codec` are to be, before it is opened. Throws UsageError where that takes no such choice.
void ChoosePicture(const Encoding& encoding, AVCodecContext* codec);
// Says how good sound of `codec` is to be. Throws UsageError, as above.
void ChooseSound(const Encoding& encoding, AVCodecContext* codec);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_ENCODER_CHOICES_H_
