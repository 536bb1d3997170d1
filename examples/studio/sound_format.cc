#include "studio/sound_format.h"

#include <cstring>

namespace studio {
namespace {

// What sounds come with. With less a few bytes would be minutes, and the filter for more takes as long to make.
constexpr int kMinRate = 1000, kMaxRate = 6144000;

bool IsRate(int rate) { return rate >= kMinRate && rate <= kMaxRate; }

AvResampler Initialised(SwrContext* context, bool mono) {
  AvResampler resampler(context);
  constexpr double kBothSides[kSoundChannels] = {1, 1};
  if (resampler && mono && swr_set_matrix(context, kBothSides, 1) < 0) return nullptr;
  if (!resampler || swr_init(context) < 0) return nullptr;
  return resampler;
}

}  // namespace

#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100)

namespace {

AVChannelLayout Stereo() {
  AVChannelLayout layout = {};
  av_channel_layout_default(&layout, kSoundChannels);
  return layout;
}

}  // namespace

AvResampler ResamplerFrom(const AVFrame& from) {
  if (!IsRate(from.sample_rate)) return nullptr;
  AVChannelLayout stereo = Stereo();
  AVChannelLayout layout = {};
  if (from.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&layout, from.ch_layout.nb_channels);
  } else if (av_channel_layout_copy(&layout, &from.ch_layout) < 0) {
    return nullptr;
  }
  SwrContext* context = nullptr;
  swr_alloc_set_opts2(&context, &stereo, AV_SAMPLE_FMT_FLTP, kSoundRate, &layout,
                      static_cast<AVSampleFormat>(from.format), from.sample_rate, 0, nullptr);
  av_channel_layout_uninit(&layout);
  return Initialised(context, from.ch_layout.nb_channels == 1);
}

AvResampler ResamplerTo(AVSampleFormat format) {
  AVChannelLayout stereo = Stereo();
  SwrContext* context = nullptr;
  swr_alloc_set_opts2(&context, &stereo, format, kSoundRate, &stereo, AV_SAMPLE_FMT_FLTP, kSoundRate, 0, nullptr);
  return Initialised(context, false);
}

void SetSoundChannels(AVCodecContext* codec) { codec->ch_layout = Stereo(); }

void SetSoundChannels(AVFrame* frame) { frame->ch_layout = Stereo(); }

#else  // FFmpeg before 5.1.

AvResampler ResamplerFrom(const AVFrame& from) {
  if (!IsRate(from.sample_rate)) return nullptr;
  const auto channels = av_get_default_channel_layout(from.channels);
  const auto layout = from.channel_layout ? static_cast<std::int64_t>(from.channel_layout) : channels;
  return Initialised(swr_alloc_set_opts(nullptr, AV_CH_LAYOUT_STEREO, AV_SAMPLE_FMT_FLTP, kSoundRate, layout,
                                        static_cast<AVSampleFormat>(from.format), from.sample_rate, 0, nullptr),
                     from.channels == 1);
}

AvResampler ResamplerTo(AVSampleFormat format) {
  return Initialised(swr_alloc_set_opts(nullptr, AV_CH_LAYOUT_STEREO, format, kSoundRate, AV_CH_LAYOUT_STEREO,
                                        AV_SAMPLE_FMT_FLTP, kSoundRate, 0, nullptr),
                     false);
}

void SetSoundChannels(AVCodecContext* codec) {
  codec->channel_layout = AV_CH_LAYOUT_STEREO;
  codec->channels = kSoundChannels;
}

void SetSoundChannels(AVFrame* frame) {
  frame->channel_layout = AV_CH_LAYOUT_STEREO;
  frame->channels = kSoundChannels;
}

#endif

AvFrame NewSoundBlock(const float* const* planes, int frames) {
  AvFrame block(av_frame_alloc());
  block->format = AV_SAMPLE_FMT_FLTP;
  block->sample_rate = kSoundRate;
  block->nb_samples = frames;
  SetSoundChannels(block.get());
  if (av_frame_get_buffer(block.get(), 0) < 0) return nullptr;
  for (int c = 0; c < kSoundChannels; ++c) std::memcpy(block->data[c], planes[c], sizeof(float) * frames);
  return block;
}

}  // namespace studio
