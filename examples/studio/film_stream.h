// Where streams go: the protocols, and what each of them carries.
#ifndef QUARN_EXAMPLES_STUDIO_FILM_STREAM_H_
#define QUARN_EXAMPLES_STUDIO_FILM_STREAM_H_

#include <string>

#include "studio/av.h"

namespace studio {

// What a stream to `url` is packed into. Throws UsageError where no stream goes with that protocol, and Error where
// FFmpeg lacks it.
const AVOutputFormat* StreamFormat(const std::string& url);

// Adds what the protocol of `url` wants to be told when it is opened for `format`.
void AddProtocolOptions(const std::string& url, const AVOutputFormat* format, AVDictionary** options);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_FILM_STREAM_H_
