// FFmpeg's mixing: the filter amix, which does not scale its inputs here. It mixes floats only; shorts are converted
// before and behind it.
#include "benchmarks/peers/ffmpeg.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

#include "benchmarks/peers/scene.h"

namespace {

class FFmpegSound : public Contestant {
 public:
  explicit FFmpegSound(const SoundScene& scene)
      : scene_(scene), format_(scene.is_float ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_S16P), latest_(NewFrame()) {
    AVFilterContext* const mix = graph_.Add(
        "amix", {{"inputs", std::to_string(scene.sources)}, {"normalize", "0"}, {"dropout_transition", "0"}});
    for (unsigned int i = 0; i < scene.sources; ++i) {
      samples_.emplace_back(scene, i, SourceSamples::Layout::kPlanar);
      sources_.push_back(graph_.Add("abuffer", {{"sample_rate", std::to_string(kSampleRate)},
                                                {"sample_fmt", av_get_sample_fmt_name(format_)},
                                                {"channel_layout", scene.channels == 2 ? "stereo" : "7.1"},
                                                {"time_base", "1/" + std::to_string(kSampleRate)}}));
      graph_.Link(sources_.back(), mix, i);
    }
    sink_ = graph_.Add("abuffersink", {});
    const AVSampleFormat formats[] = {format_, AV_SAMPLE_FMT_NONE};
    CheckFFmpeg(av_opt_set_int_list(sink_, "sample_fmts", formats, AV_SAMPLE_FMT_NONE, AV_OPT_SEARCH_CHILDREN));
    graph_.Link(mix, sink_, 0);
    graph_.Configure();
  }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i, ++blocks_) {
      for (unsigned int source = 0; source < scene_.sources; ++source) Push(source);
      av_frame_unref(latest_.get());
      CheckFFmpeg(av_buffersink_get_frame(sink_, latest_.get()));
      if (latest_->nb_samples != static_cast<int>(kBlockFrames))
        throw std::runtime_error("made a block of another size");
    }
  }

  std::vector<unsigned char> Latest() override {
    std::vector<unsigned char> bytes;
    for (unsigned int c = 0; c < scene_.channels; ++c) {
      AppendRows(&bytes, latest_->extended_data[c], 0, kBlockFrames * scene_.sample_size(), 1);
    }
    return bytes;
  }

 private:
  // Hands over a frame whose planes are the source's own samples, which stay where they are: nothing is copied.
  void Push(unsigned int source) {
    const FramePtr frame = NewFrame();
    frame->format = format_;
    frame->sample_rate = static_cast<int>(kSampleRate);
    frame->nb_samples = static_cast<int>(kBlockFrames);
    frame->pts = static_cast<std::int64_t>(blocks_ * kBlockFrames);
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100)
    av_channel_layout_default(&frame->ch_layout, static_cast<int>(scene_.channels));
#else
    frame->channels = static_cast<int>(scene_.channels);
    frame->channel_layout = static_cast<std::uint64_t>(av_get_default_channel_layout(frame->channels));
#endif
    for (unsigned int c = 0; c < scene_.channels; ++c) {
      auto* const plane =
          const_cast<unsigned char*>(static_cast<const unsigned char*>(samples_[source].Block(blocks_, c)));
      frame->data[c] = plane;
      frame->buf[c] = av_buffer_create(
          plane, kBlockFrames * scene_.sample_size(), [](void*, std::uint8_t*) {}, nullptr, AV_BUFFER_FLAG_READONLY);
      if (!frame->buf[c]) throw std::bad_alloc();
    }
    frame->linesize[0] = static_cast<int>(kBlockFrames * scene_.sample_size());
    CheckFFmpeg(av_buffersrc_add_frame(sources_[source], frame.get()));
  }

  const SoundScene scene_;
  const AVSampleFormat format_;
  std::vector<SourceSamples> samples_;
  FramePtr latest_;
  FilterGraph graph_;
  std::vector<AVFilterContext*> sources_;
  AVFilterContext* sink_ = nullptr;
  std::uint64_t blocks_ = 0;
};

}  // namespace

int main() {
  av_log_set_level(AV_LOG_ERROR);
  return Serve([](const Words& words) { return std::make_unique<FFmpegSound>(SoundScene(words)); });
}
