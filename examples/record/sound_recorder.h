// Makes a film that is sound alone: nothing is drawn.
#ifndef QUARN_EXAMPLES_RECORD_SOUND_RECORDER_H_
#define QUARN_EXAMPLES_RECORD_SOUND_RECORDER_H_

#include "record/recorder.h"
#include "studio/description.h"

namespace studio {

// As Record, for a description without pictures. Throws Error; what there is of the film
// is kept.
Summary RecordSound(const Description& description, const Progress& progress, StageTimes* times);

}  // namespace studio

#endif  // QUARN_EXAMPLES_RECORD_SOUND_RECORDER_H_
