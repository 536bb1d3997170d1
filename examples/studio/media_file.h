// Opens files and streams with FFmpeg.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_FILE_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_FILE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "studio/av.h"

namespace studio {

constexpr AVRational kNanoseconds = {1, 1000000000};

// Closes what OpenMedia opened.
struct MediaCloser {
  void operator()(AVFormatContext* format) const;
};
using Media = std::unique_ptr<AVFormatContext, MediaCloser>;

// Whether it can be opened once only: a URL, a pipe, a device.
bool IsStream(const std::string& file);

// Finds out what is in a file or stream. Reads that wait end early once `interrupt` says so. Throws Error.
Media OpenMedia(const std::string& file, AVIOInterruptCB interrupt = {nullptr, nullptr});

// The decoder of a stream of `format`. Throws Error.
AvCodec OpenDecoder(const std::string& file, AVFormatContext* format, int stream);

// Decodes the next frame of a stream, skipping damaged data. Returns false at the end: *draining says that the media
// has ended, and is the caller's to keep and, for another pass, to clear.
bool DecodeFrame(AVFormatContext* format, AVCodecContext* codec, int stream, AVPacket* packet, AVFrame* frame,
                 bool* draining);

// How long a picture of a stream of pictures is seen.
std::int64_t PictureDurationNs(AVFormatContext* format, int stream);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_FILE_H_
