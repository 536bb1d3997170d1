// Keeps what a mixer calls back with, and may act from inside.
#ifndef QUARN_TESTS_AUDIO_MIX_RECORDER_H_
#define QUARN_TESTS_AUDIO_MIX_RECORDER_H_

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

// The callback of an AudioMixer or of a QnAudioMixer, for samples of T. Written on the mixer thread; read it once the
// mixer has stopped, or from inside.
template <class Base, class T>
class MixRecorder : public Base {
 public:
  struct Block {
    std::vector<std::vector<T>> planes;  // One for each of `channels`.
    unsigned int frames = 0;
    std::uint64_t timestamp_ns = 0;
    std::vector<float> peaks;  // One, unless the mixer is wrong.
    std::thread::id thread;
  };

  explicit MixRecorder(unsigned int recorded_channels = 0) : channels(recorded_channels) {}

  void OnMixSamples(void** planes, unsigned int frames, unsigned long long timestamp_ns) override {
    Block block;
    for (unsigned int c = 0; c < channels; ++c) {
      const T* const plane = static_cast<const T*>(planes[c]);
      block.planes.emplace_back(plane, plane + frames);
    }
    block.frames = frames;
    block.timestamp_ns = timestamp_ns;
    block.thread = std::this_thread::get_id();
    blocks.push_back(block);
    if (on_samples) on_samples(planes, blocks.size());
  }

  void OnMixPeak(float peak) override {
    if (blocks.empty()) {
      ++stray_peaks;
      return;
    }
    blocks.back().peaks.push_back(peak);
    if (on_peak) on_peak(blocks.size());
  }

  unsigned int channels;  // How many planes to keep.
  std::vector<Block> blocks;
  int stray_peaks = 0;  // Peaks that no block came before.
  // Called at the end of each callback with the number of blocks so far. Set them before the mixer starts.
  std::function<void(void** planes, std::size_t count)> on_samples;
  std::function<void(std::size_t count)> on_peak;
};

#endif  // QUARN_TESTS_AUDIO_MIX_RECORDER_H_
