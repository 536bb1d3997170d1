// Reads a sound with FFmpeg, in the form that the mixer takes, on the film's time.
#ifndef QUARN_EXAMPLES_STUDIO_SOUND_READER_H_
#define QUARN_EXAMPLES_STUDIO_SOUND_READER_H_

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "studio/av.h"
#include "studio/description.h"
#include "studio/media_file.h"
#include "studio/media_span.h"
#include "studio/sound_fade.h"
#include "studio/sound_format.h"

namespace studio {

constexpr std::int64_t kNoFilmEnd = std::numeric_limits<std::int64_t>::max();

// What is read is silent where the sound has not begun yet, or has a gap in its times. One thread at a time, Interrupt
// excepted.
class SoundReader {
 public:
  // Reads from the film time `start_ns` on, for a film that ends at `film_end_ns`; for `goes_on` see SetGoesOn. Throws
  // Error.
  SoundReader(const Sound& sound, std::int64_t start_ns, std::int64_t film_end_ns = kNoFilmEnd,
              std::function<bool()> goes_on = nullptr);
  // The same for the sound of a video layer, which keeps to its pictures: it is silent until it begins, is trimmed and
  // fades as they do and, where the layer starts again, ends after the last one. Null when there is none to hear. A
  // video that is a stream is silent: it cannot be opened once more.
  static std::unique_ptr<SoundReader> OfVideo(const Layer& layer, std::int64_t start_ns,
                                              std::int64_t film_end_ns = kNoFilmEnd,
                                              std::function<bool()> goes_on = nullptr);
  SoundReader(const SoundReader&) = delete;
  SoundReader& operator=(const SoundReader&) = delete;

  const std::string& file() const { return file_; }
  // The factor with which the sound is to be heard. What is read is without it.
  float gain() const { return gain_; }

  // Reads the next `frames` frames into each of kSoundChannels planes. Returns how many there were: fewer only at the
  // end.
  int Read(float* const* planes, int frames);
  // Makes a Read that waits for a sender return with what it has, and is the end. Thread: any.
  void Interrupt() { interrupted_ = true; }
  // Has a Read that waits ask now and then whether it shall go on; if not, that is the same as an Interrupt.
  void SetGoesOn(std::function<bool()> goes_on) { goes_on_ = std::move(goes_on); }

  // How long a sound is heard that this reads, in nanoseconds; 0 where that cannot be known. Throws Error where its
  // trim leaves nothing.
  std::int64_t LengthNs(const Sound& sound) const;
  // Does not decode all that comes before the start, where the file can be sought in. Behind that, the times of some
  // containers are off by a few milliseconds. Call it before anything is read.
  void SeekNearStart();

 private:
  SoundReader(const std::string& file, float gain, std::optional<int> track, std::int64_t begin_ns,
              std::int64_t start_ns);

  static int Interrupted(void* reader);
  void SetFade(float in_s, float out_s, std::int64_t begin_ns, std::int64_t end_ns);
  bool Open();
  bool Begin();
  std::int64_t FrameNs() const;
  std::int64_t BeginNs() const;
  bool DecodeFrame();
  bool DecodeMore();
  bool NextPass();
  void Take(const AVFrame* frame);
  void Convert(const AVFrame* frame);
  void Place(std::int64_t wanted, std::int64_t is);
  void CutBefore(std::int64_t first);
  std::int64_t PositionOf(std::int64_t pts);

  const std::string file_;
  const float gain_;
  const std::optional<int> track_;
  const std::int64_t start_ns_;  // The film time of the first frame that is read.
  std::atomic<bool> interrupted_{false};
  std::function<bool()> goes_on_;

  Media format_;
  AvCodec codec_;
  AvPacket packet_;
  AvFrame frame_;
  AvResampler resampler_;
  int stream_ = -1;
  bool draining_ = false;
  bool frame_waits_ = false;  // `frame_` has been decoded and not yet been taken.
  bool ended_ = false;
  // What the resampler is set up for.
  int rate_ = 0;
  int channels_ = 0;
  int sample_format_ = AV_SAMPLE_FMT_NONE;

  std::int64_t first_ns_ = AV_NOPTS_VALUE;  // The media's own time at which the sound, or its picture, begins.
  std::int64_t pass_begin_ns_;              // The film time of that; a video that starts again has several passes.
  std::int64_t pass_length_ns_ = 0;         // 0: it ends with the media.
  std::int64_t trim_ns_ = 0;                // What is left out of its beginning.
  bool loops_ = false;
  bool pass_decodes_ = false;  // It has had a frame.
  bool pass_heard_ = false;    // Some of it is read.
  bool pass_over_ = false;

  // In frames, counted from the first one that is read. Behind what was read comes silence, then what was decoded.
  SoundFade fade_;
  std::int64_t position_ = 0;
  std::int64_t silence_ = 0;
  std::array<std::vector<float>, kSoundChannels> decoded_;
  std::size_t taken_ = 0;  // How many samples of decoded_ have been handed out.
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_SOUND_READER_H_
