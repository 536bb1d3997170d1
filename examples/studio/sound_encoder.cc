#include "studio/sound_encoder.h"

#include <algorithm>
#include <array>

#include "studio/encoder_choices.h"

namespace studio {
namespace {

constexpr int kFreeFrameSize = 1024;  // For encoders that take any.
constexpr int kBitRate = 160000;

// What an encoder takes; planar floats where it has the choice.
AVSampleFormat SampleFormat(const AVCodec* codec) {
  if (!codec->sample_fmts) return AV_SAMPLE_FMT_FLTP;
  for (const AVSampleFormat* format = codec->sample_fmts; *format != AV_SAMPLE_FMT_NONE; ++format) {
    if (*format == AV_SAMPLE_FMT_FLTP) return *format;
  }
  return codec->sample_fmts[0];
}

}  // namespace

SoundEncoder::SoundEncoder(const std::vector<const AVCodec*>& codecs, bool global_header, std::int64_t length,
                           const Encoding& encoding)
    : length_(length), packet_(av_packet_alloc()), frame_(av_frame_alloc()) {
  const bool opened = std::any_of(codecs.begin(), codecs.end(),
                                  [&](const AVCodec* codec) { return Try(codec, global_header, encoding); });
  if (!opened) codec_.reset();
}

bool SoundEncoder::Try(const AVCodec* codec, bool global_header, const Encoding& encoding) {
  codec_.reset(avcodec_alloc_context3(codec));
  codec_->sample_rate = kSoundRate;
  codec_->sample_fmt = SampleFormat(codec);
  codec_->time_base = {1, kSoundRate};
  codec_->bit_rate = kBitRate;
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  if (global_header) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  SetSoundChannels(codec_.get());
  ChooseSound(encoding, codec_.get());
  if (avcodec_open2(codec_.get(), codec, nullptr) < 0) return false;
  frame_size_ = codec_->frame_size > 0 ? codec_->frame_size : kFreeFrameSize;
  resampler_ = ResamplerTo(codec_->sample_fmt);
  queue_.reset(av_audio_fifo_alloc(codec_->sample_fmt, kSoundChannels, frame_size_ + kSoundBlock));
  return resampler_ && queue_;
}

int SoundEncoder::Write(const AVFrame* block, std::int64_t index, const Sink& sink) {
  // Silence for what is missing, a piece at a time: it may be much.
  static const std::array<float, kSoundBlock> silence = {};
  const float* const silent[kSoundChannels] = {silence.data(), silence.data()};
  while (written_ < std::min(index, length_)) {
    const std::int64_t missing = std::min(index, length_) - written_;
    int result = Append(silent, static_cast<int>(std::min<std::int64_t>(missing, kSoundBlock)));
    if (result >= 0) result = EncodeQueued(frame_size_, sink);
    if (result < 0) return result;
  }
  const std::int64_t from = std::clamp<std::int64_t>(written_ - index, 0, block->nb_samples);
  const std::int64_t to = std::clamp<std::int64_t>(length_ - index, from, block->nb_samples);
  if (from == to) return 0;
  const float* planes[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) planes[c] = reinterpret_cast<const float*>(block->extended_data[c]) + from;
  const int result = Append(planes, static_cast<int>(to - from));
  return result < 0 ? result : EncodeQueued(frame_size_, sink);
}

int SoundEncoder::Finish(const Sink& sink) {
  const int result = EncodeQueued(1, sink);
  return result < 0 ? result : Encode(nullptr, sink);
}

int SoundEncoder::Append(const float* const* planes, int frames) {
  AvFrame converted(av_frame_alloc());
  converted->format = codec_->sample_fmt;
  converted->nb_samples = frames;
  SetSoundChannels(converted.get());
  int result = av_frame_get_buffer(converted.get(), 0);
  if (result < 0) return result;
  const std::uint8_t* data[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) data[c] = reinterpret_cast<const std::uint8_t*>(planes[c]);
  result = swr_convert(resampler_.get(), converted->extended_data, frames, data, frames);
  if (result < 0) return result;
  result = av_audio_fifo_write(queue_.get(), reinterpret_cast<void**>(converted->extended_data), frames);
  if (result >= 0) written_ += frames;
  return result;
}

// Encodes what is queued, but for fewer frames than `least`.
int SoundEncoder::EncodeQueued(int least, const Sink& sink) {
  while (av_audio_fifo_size(queue_.get()) >= least) {
    const int queued = std::min(av_audio_fifo_size(queue_.get()), frame_size_);
    av_frame_unref(frame_.get());
    frame_->format = codec_->sample_fmt;
    frame_->sample_rate = kSoundRate;
    // Some encoders want whole frames to the end.
    const bool small = (codec_->codec->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME) || codec_->frame_size == 0;
    frame_->nb_samples = small ? queued : frame_size_;
    SetSoundChannels(frame_.get());
    int result = av_frame_get_buffer(frame_.get(), 0);
    if (result < 0) return result;
    av_samples_set_silence(frame_->extended_data, 0, frame_->nb_samples, kSoundChannels, codec_->sample_fmt);
    result = av_audio_fifo_read(queue_.get(), reinterpret_cast<void**>(frame_->extended_data), queued);
    if (result < 0) return result;
    frame_->pts = encoded_;
    encoded_ += queued;
    result = Encode(frame_.get(), sink);
    if (result < 0) return result;
  }
  return 0;
}

int SoundEncoder::Encode(const AVFrame* frame, const Sink& sink) {
  const int sent = avcodec_send_frame(codec_.get(), frame);
  if (sent < 0) return sent;
  for (;;) {
    const int received = avcodec_receive_packet(codec_.get(), packet_.get());
    if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) return 0;
    if (received < 0) return received;
    sink(packet_.get());
  }
}

}  // namespace studio
