// The encoders that FFmpeg has here, by the names that people use, and what of it goes where.
#ifndef QUARN_EXAMPLES_STUDIO_CODEC_NAMES_H_
#define QUARN_EXAMPLES_STUDIO_CODEC_NAMES_H_

#include <string>
#include <vector>

#include "studio/av.h"

namespace studio {

// Encoders of a codec ("h264", "opus") or that of a name ("libx264"), the best first. Throws UsageError where there is
// none such.
std::vector<const AVCodec*> EncodersNamed(const char* option, const std::string& name, AVMediaType type);
// The encoders of a codec that work without a choice of theirs, the best first; none where FFmpeg has none.
std::vector<const AVCodec*> EncodersOf(AVCodecID id);

// Whether films of a container may hold a codec.
bool Takes(const AVOutputFormat* container, AVCodecID id);
// What a container takes of the codecs that people use, as a list to read.
std::string WhatFits(const AVOutputFormat* container, AVMediaType type);

// Whether an encoder keeps alpha.
bool KeepsAlpha(const AVCodec* codec);
bool TakesFormat(const AVCodec* codec, AVPixelFormat format);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_CODEC_NAMES_H_
