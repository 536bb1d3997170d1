// Opens files and streams with FFmpeg.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_FILE_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_FILE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "studio/av.h"
#include "studio/media_time.h"

namespace studio {

// Closes what OpenMedia opened.
struct MediaCloser {
  void operator()(AVFormatContext* format) const;
};
using Media = std::unique_ptr<AVFormatContext, MediaCloser>;

// The name of the standard input.
inline constexpr char kStandardInput[] = "-";

// Whether it can be opened once only: a URL, a pipe, a device, the standard input.
bool IsStream(const std::string& file);

// How many pixels the pictures of a codec may have, for a file of a few bytes may say any number. Codecs that make
// pictures of others keep several.
constexpr std::int64_t kMaxStillPixels = std::int64_t{1} << 27;  // More than cameras have.
constexpr std::int64_t kMaxFilmPixels = std::int64_t{1} << 26;   // 8192x8192.
std::int64_t MaxPixels(AVCodecID codec);

// Finds out what is in a file or stream. Reads that wait end early once `interrupt` says so. Throws Error.
//
// Of files and pipes nothing else is opened, whatever they name; a stream may lead to other addresses, not to files.
Media OpenMedia(const std::string& file, AVIOInterruptCB interrupt = {nullptr, nullptr});

// The decoder of a stream of `format`: the one that has its transparency, where it says that it is transparent. Throws
// Error.
AvCodec OpenDecoder(const std::string& file, AVFormatContext* format, int stream);

// The stream of sound number `track`, or FFmpeg's choice; negative where there is no sound to choose. Throws Error
// where there are fewer.
int FindSound(AVFormatContext* format, const std::string& file, std::optional<int> track);

// Decodes the next frame of a stream, skipping damaged data. Returns false at the end: *draining says that the media
// has ended, and is the caller's to keep and, for another pass, to clear.
bool DecodeFrame(AVFormatContext* format, AVCodecContext* codec, int stream, AVPacket* packet, AVFrame* frame,
                 bool* draining);

// The same, of packets that `read` gets, which answers as av_read_frame does. Adds to *damaged the packets that could
// not be decoded, or not wholly.
bool DecodeFrame(const std::function<int(AVPacket*)>& read, AVCodecContext* codec, int stream, AVPacket* packet,
                 AVFrame* frame, bool* draining, std::uint64_t* damaged);

// When the first sound of a file is heard, on the file's own clock; AV_NOPTS_VALUE where there is none. Never throws.
std::int64_t FirstSoundNs(const std::string& file);
// A time of the stream, or that of its start where it is earlier: what lies before that is no part of it. In Ogg that
// is how much is cut off its first packets, and may be seconds where FFmpeg takes empty packets for sound.
std::int64_t NotBeforeStart(std::int64_t pts, const AVStream* stream);

// How long a picture of a stream of pictures is seen.
std::int64_t PictureDurationNs(AVFormatContext* format, int stream);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_FILE_H_
