#include "studio/media_span.h"

#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <mutex>
#include <tuple>

#include "studio/media_file.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace studio {
namespace {

using GoesOn = std::function<bool()>;

// What the sound of a video begins earlier than its pictures is, below this, what its encoder needed to begin: a packet
// or two, of which not every container tells.
constexpr std::int64_t kSoundLeadNs = 50000000;

// What was measured, for a file is read to its end for it. One that has changed since is measured anew.
class KnownSpans {
 public:
  // A file as it is now, and what of it.
  struct Key {
    dev_t device = 0;
    ino_t inode = 0;
    off_t bytes = 0;
    timespec changed = {};
    int what = 0;

    bool operator<(const Key& other) const { return Tie() < other.Tie(); }
    std::tuple<dev_t, ino_t, off_t, time_t, long, int> Tie() const {
      return {device, inode, bytes, changed.tv_sec, changed.tv_nsec, what};
    }
  };

  std::optional<MediaSpan> Find(const Key& key) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = spans_.find(key);
    return found == spans_.end() ? std::nullopt : std::optional(found->second);
  }
  void Keep(const Key& key, const MediaSpan& span) {
    const std::lock_guard<std::mutex> lock(mutex_);
    spans_[key] = span;
  }

 private:
  std::mutex mutex_;
  std::map<Key, MediaSpan> spans_;
};

std::int64_t FromSeconds(double seconds) { return static_cast<std::int64_t>(std::llround(seconds * 1e9)); }

AVIOInterruptCB InterruptOf(const GoesOn& goes_on) {
  const auto interrupted = [](void* asked) { return (*static_cast<const GoesOn*>(asked))() ? 0 : 1; };
  if (!goes_on) return {nullptr, nullptr};
  return {interrupted, const_cast<GoesOn*>(&goes_on)};
}

// How much of a packet's end is no part of the sound, for encoders fill their last packet.
std::int64_t Padding(const AVPacket* packet, const AVStream* stream) {
  std::size_t size = 0;
  const std::uint8_t* const skip = av_packet_get_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
  if (!skip || size < 8 || stream->codecpar->sample_rate <= 0) return 0;
  return Rescaled(AV_RL32(skip + 4), AVRational{1, stream->codecpar->sample_rate}, stream->time_base);
}

MediaSpan Measure(AVFormatContext* format, int stream, bool length, const GoesOn& goes_on) {
  MediaSpan span;
  for (unsigned int i = 0; i < format->nb_streams; ++i) {
    if (static_cast<int>(i) != stream) format->streams[i]->discard = AVDISCARD_ALL;
  }
  const AVStream* const of = format->streams[stream];
  const bool is_sound = of->codecpar->codec_type == AVMEDIA_TYPE_AUDIO;
  const AvPacket packet(av_packet_alloc());
  std::int64_t first = AV_NOPTS_VALUE, end = AV_NOPTS_VALUE;
  while ((length || first == AV_NOPTS_VALUE) && (!goes_on || goes_on()) && av_read_frame(format, packet.get()) >= 0) {
    const std::int64_t pts = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    const bool seen = packet->stream_index == stream && pts != AV_NOPTS_VALUE && !(packet->flags & AV_PKT_FLAG_DISCARD);
    if (seen && first == AV_NOPTS_VALUE && (packet->flags & AV_PKT_FLAG_KEY)) first = pts;
    if (seen && first != AV_NOPTS_VALUE) {
      end = std::max(end, is_sound ? Minus(Plus(pts, packet->duration), Padding(packet.get(), of)) : pts);
    }
    av_packet_unref(packet.get());
  }
  if (first == AV_NOPTS_VALUE) return span;
  if (is_sound) first = NotBeforeStart(first, of);
  span.begin_ns = MediaNs(first, of->time_base);
  if (length) span.length_ns = DurationNs(Minus(end, first), of->time_base);
  if (length && !is_sound) span.length_ns = LimitedNs(span.length_ns + PictureDurationNs(format, stream));
  return span;
}

// What of a file, as KnownSpans has it; the others are the numbers of its sounds.
constexpr int kPictures = -2, kUsualSound = -1;

MediaSpan Remembered(const std::string& file, int what, const std::function<MediaSpan()>& measure,
                     const GoesOn& goes_on) {
  static KnownSpans known;
  struct stat status = {};
  if (stat(file.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return measure();
  const KnownSpans::Key key{status.st_dev, status.st_ino, status.st_size, status.st_ctim, what};
  if (const std::optional<MediaSpan> span = known.Find(key)) return *span;
  const MediaSpan span = measure();
  if (!goes_on || goes_on()) known.Keep(key, span);  // Else it was not read to its end.
  return span;
}

}  // namespace

MediaSpan MeasurePictures(const std::string& file, bool length, const GoesOn& goes_on) {
  const auto measure = [&] {
    const Media format = OpenMedia(file, InterruptOf(goes_on));
    const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    return stream < 0 ? MediaSpan() : Measure(format.get(), stream, length, goes_on);
  };
  return length ? Remembered(file, kPictures, measure, goes_on) : measure();
}

MediaSpan MeasureSound(const std::string& file, std::optional<int> track, const GoesOn& goes_on) {
  const auto measure = [&] {
    const Media format = OpenMedia(file, InterruptOf(goes_on));
    const int stream = FindSound(format.get(), file, track);
    return stream < 0 ? MediaSpan() : Measure(format.get(), stream, true, goes_on);
  };
  return Remembered(file, track.value_or(kUsualSound), measure, goes_on);
}

std::int64_t VideoOriginNs(std::int64_t pictures_ns, std::int64_t sound_ns) {
  const bool sound_first =
      pictures_ns == AV_NOPTS_VALUE || (sound_ns != AV_NOPTS_VALUE && sound_ns <= pictures_ns - kSoundLeadNs);
  return sound_first ? sound_ns : pictures_ns;
}

std::int64_t VideoLengthNs(const Layer& layer, const MediaSpan& pictures, std::int64_t origin_ns) {
  const std::int64_t trim_start_ns = FromSeconds(layer.trim_start_s);
  std::int64_t length_ns = 0;
  if (pictures.length_ns > 0) {
    length_ns = std::max(pictures.length_ns + SinceNs(pictures.begin_ns, origin_ns) - trim_start_ns, kShortestPassNs);
  }
  if (!layer.trim_end_s) return length_ns;
  const std::int64_t trimmed_ns = std::max(FromSeconds(*layer.trim_end_s) - trim_start_ns, kShortestPassNs);
  return length_ns > 0 ? std::min(length_ns, trimmed_ns) : trimmed_ns;
}

std::int64_t VideoLengthNs(const Layer& layer) {
  if (IsStream(layer.file)) return VideoLengthNs(layer, MediaSpan(), AV_NOPTS_VALUE);  // It cannot be read twice.
  const MediaSpan pictures = MeasurePictures(layer.file, true);
  return VideoLengthNs(layer, pictures, VideoOriginNs(pictures.begin_ns, FirstSoundNs(layer.file)));
}

}  // namespace studio
