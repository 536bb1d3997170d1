// GStreamer's mixing: audiomixer.
#include "benchmarks/peers/gstreamer.h"

#include "benchmarks/peers/scene.h"

namespace {

class GStreamerSound : public Contestant {
 public:
  explicit GStreamerSound(const SoundScene& scene)
      : scene_(scene),
        caps_("audio/x-raw,format=" + std::string(scene.is_float ? "F32LE" : "S16LE") + ",layout=interleaved,rate=" +
              std::to_string(kSampleRate) + ",channels=" + std::to_string(scene.channels) +
              (scene.channels > 2 ? ",channel-mask=(bitmask)0xc3f" : ",channel-mask=(bitmask)0x3")),
        mixer_("audiomixer name=mixer output-buffer-duration=50000000 ! " + caps_ +
               " ! appsink name=sink sync=false max-buffers=2") {
    mixer_.Start();
    GstCaps* const caps = gst_caps_from_string(caps_.c_str());
    for (unsigned int i = 0; i < scene.sources; ++i) {
      samples_.emplace_back(scene, i, SourceSamples::Layout::kInterleaved);
      inputs_.push_back(mixer_.AddInput(caps));
    }
    gst_caps_unref(caps);
  }

  void Make(unsigned int count) override {
    for (unsigned int i = 0; i < count; ++i, ++blocks_) {
      for (unsigned int source = 0; source < scene_.sources; ++source) Push(source);
      latest_ = mixer_.Pull();
      if (gst_buffer_get_size(gst_sample_get_buffer(latest_.get())) != scene_.block_size()) {
        throw std::runtime_error("made a block of another size");
      }
    }
  }

  std::vector<unsigned char> Latest() override {
    GstMapInfo map;
    GstBuffer* const buffer = gst_sample_get_buffer(latest_.get());
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) throw std::runtime_error("cannot map a block");
    const std::vector<unsigned char> planes = Deinterleaved(scene_, map.data);
    gst_buffer_unmap(buffer, &map);
    return planes;
  }

 private:
  // Hands over a buffer that is the source's own samples, which stay where they are: nothing is copied.
  void Push(unsigned int source) {
    void* const samples = const_cast<void*>(samples_[source].Block(blocks_, 0));
    GstBuffer* const buffer = gst_buffer_new_wrapped_full(GST_MEMORY_FLAG_READONLY, samples, scene_.block_size(), 0,
                                                          scene_.block_size(), nullptr, nullptr);
    GST_BUFFER_PTS(buffer) = TimeOf(blocks_ * kBlockFrames, kSampleRate);
    GST_BUFFER_DURATION(buffer) = TimeOf((blocks_ + 1) * kBlockFrames, kSampleRate) - GST_BUFFER_PTS(buffer);
    mixer_.Push(inputs_[source], buffer);
  }

  const SoundScene scene_;
  const std::string caps_;
  std::vector<SourceSamples> samples_;
  SamplePtr latest_;
  MixerPipeline mixer_;
  std::vector<MixerPipeline::Input> inputs_;
  std::uint64_t blocks_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  gst_init(&argc, &argv);
  return Serve([](const Words& words) { return std::make_unique<GStreamerSound>(SoundScene(words)); });
}
