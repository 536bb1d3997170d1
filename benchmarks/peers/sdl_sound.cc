// SDL's mixing: a stream for each source, which is pushed into, and SDL_MixAudioFormat of what comes out.
#include <SDL.h>

#include <algorithm>
#include <stdexcept>

#include "benchmarks/peers/scene.h"

namespace {

class SdlSound : public Contestant {
 public:
  explicit SdlSound(const SoundScene& scene)
      : scene_(scene),
        format_(scene.is_float ? AUDIO_F32SYS : AUDIO_S16SYS),
        taken_(scene.block_size()),
        mix_(scene.block_size()) {
    const auto channels = static_cast<Uint8>(scene.channels);
    for (unsigned int i = 0; i < scene.sources; ++i) {
      samples_.emplace_back(scene, i, SourceSamples::Layout::kInterleaved);
      streams_.emplace_back(SDL_NewAudioStream(format_, channels, kSampleRate, format_, channels, kSampleRate),
                            &SDL_FreeAudioStream);
      if (!streams_.back()) throw std::runtime_error(SDL_GetError());
    }
  }

  void Make(unsigned int count) override {
    const auto size = static_cast<int>(scene_.block_size());
    for (unsigned int i = 0; i < count; ++i, ++blocks_) {
      for (unsigned int source = 0; source < scene_.sources; ++source) {
        if (SDL_AudioStreamPut(streams_[source].get(), samples_[source].Block(blocks_, 0), size) != 0) {
          throw std::runtime_error(SDL_GetError());
        }
      }
      std::fill(mix_.begin(), mix_.end(), static_cast<unsigned char>(0));
      for (const Stream& stream : streams_) {
        if (SDL_AudioStreamGet(stream.get(), taken_.data(), size) != size) throw std::runtime_error(SDL_GetError());
        SDL_MixAudioFormat(mix_.data(), taken_.data(), format_, scene_.block_size(), SDL_MIX_MAXVOLUME);
      }
    }
  }

  std::vector<unsigned char> Latest() override { return Deinterleaved(scene_, mix_.data()); }

 private:
  using Stream = std::unique_ptr<SDL_AudioStream, decltype(&SDL_FreeAudioStream)>;

  const SoundScene scene_;
  const SDL_AudioFormat format_;
  std::vector<SourceSamples> samples_;
  std::vector<Stream> streams_;
  std::vector<unsigned char> taken_;
  std::vector<unsigned char> mix_;
  std::uint64_t blocks_ = 0;
};

}  // namespace

int main(int, char**) {
  return Serve([](const Words& words) { return std::make_unique<SdlSound>(SoundScene(words)); });
}
