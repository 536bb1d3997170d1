#include "studio/sound_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "studio/error.h"

namespace studio {
namespace {

// Containers round times to milliseconds, or worse: what is less off than this goes on where the last frame ended.
constexpr std::int64_t kTolerance = kSoundRate / 50;

// When a video's pictures begin on its own clock, and how long they last.
struct PictureSpan {
  std::int64_t begin_ns = AV_NOPTS_VALUE;
  std::int64_t length_ns = 0;
};

// The length is found only at the end of the file.
PictureSpan MeasurePictures(const std::string& file, bool length) {
  PictureSpan span;
  const Media format = OpenMedia(file);
  const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream < 0) return span;
  for (unsigned int i = 0; i < format->nb_streams; ++i) {
    if (static_cast<int>(i) != stream) format->streams[i]->discard = AVDISCARD_ALL;
  }
  const AvPacket packet(av_packet_alloc());
  std::int64_t first = AV_NOPTS_VALUE, last = AV_NOPTS_VALUE;
  while ((length || first == AV_NOPTS_VALUE) && av_read_frame(format.get(), packet.get()) >= 0) {
    const std::int64_t pts = packet->pts != AV_NOPTS_VALUE ? packet->pts : packet->dts;
    const bool seen = packet->stream_index == stream && pts != AV_NOPTS_VALUE && !(packet->flags & AV_PKT_FLAG_DISCARD);
    if (seen && first == AV_NOPTS_VALUE && (packet->flags & AV_PKT_FLAG_KEY)) first = pts;
    if (seen && first != AV_NOPTS_VALUE) last = std::max(last, pts);
    av_packet_unref(packet.get());
  }
  if (first == AV_NOPTS_VALUE) return span;
  const AVRational time_base = format->streams[stream]->time_base;
  span.begin_ns = av_rescale_q(first, time_base, kNanoseconds);
  if (length) span.length_ns = av_rescale_q(last - first, time_base, kNanoseconds);
  if (length) span.length_ns += PictureDurationNs(format.get(), stream);
  return span;
}

}  // namespace

SoundReader::SoundReader(const std::string& file, float gain, std::int64_t begin_ns, std::int64_t start_ns)
    : file_(file),
      gain_(gain),
      start_ns_(start_ns),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()),
      pass_begin_ns_(begin_ns) {}

SoundReader::SoundReader(const Sound& sound, std::int64_t start_ns)
    : SoundReader(sound.file, sound.gain, static_cast<std::int64_t>(sound.start_s * 1e9), start_ns) {
  if (!Open() || !Begin()) throw Error("cannot decode " + file_ + ": no sound in it");
}

std::unique_ptr<SoundReader> SoundReader::OfVideo(const Layer& layer, std::int64_t start_ns) {
  if (layer.volume == 0 || IsStream(layer.file)) return nullptr;
  std::unique_ptr<SoundReader> reader(new SoundReader(layer.file, layer.volume, 0, start_ns));
  if (!reader->Open() || !reader->Begin()) return nullptr;
  const PictureSpan pictures = MeasurePictures(layer.file, layer.loop);
  // The media begins with its first picture or sound, and is trimmed from there, as MediaReader has it.
  const auto nanoseconds = [](double seconds) { return static_cast<std::int64_t>(std::llround(seconds * 1e9)); };
  const std::int64_t trim_start_ns = nanoseconds(layer.trim_start_s);
  const std::int64_t sound_ns = reader->FrameNs();
  const bool sound_first =
      pictures.begin_ns == AV_NOPTS_VALUE || (sound_ns != AV_NOPTS_VALUE && sound_ns < pictures.begin_ns);
  const std::int64_t begin_ns = sound_first ? sound_ns : pictures.begin_ns;
  if (begin_ns != AV_NOPTS_VALUE) reader->first_ns_ = begin_ns + trim_start_ns;
  std::int64_t length_ns = 0;
  if (layer.loop && pictures.length_ns > 0) {
    length_ns = std::max(pictures.length_ns + pictures.begin_ns - begin_ns - trim_start_ns, std::int64_t{1});
  }
  if (layer.trim_end_s) {
    const std::int64_t trimmed_ns = nanoseconds(*layer.trim_end_s) - trim_start_ns;
    length_ns = length_ns > 0 ? std::min(length_ns, trimmed_ns) : trimmed_ns;
  }
  reader->pass_length_ns_ = length_ns;
  reader->loops_ = layer.loop;
  // The passes before the film's start need not be read.
  if (layer.loop && length_ns > 0) reader->pass_begin_ns_ = start_ns / length_ns * length_ns;
  return reader;
}

// Returns false when there is no sound.
bool SoundReader::Open() {
  const auto interrupted = [](void* flag) { return static_cast<std::atomic<bool>*>(flag)->load() ? 1 : 0; };
  format_ = OpenMedia(file_, {interrupted, &interrupted_});
  stream_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
  if (stream_ < 0) return false;
  codec_ = OpenDecoder(file_, format_.get(), stream_);
  for (unsigned int i = 0; i < format_->nb_streams; ++i) {
    if (static_cast<int>(i) != stream_) format_->streams[i]->discard = AVDISCARD_ALL;
  }
  draining_ = pass_decodes_ = pass_heard_ = pass_over_ = false;
  return true;
}

// When the frame that has been decoded is heard, on the media's own clock.
std::int64_t SoundReader::FrameNs() const {
  const std::int64_t pts = frame_->best_effort_timestamp;
  return pts == AV_NOPTS_VALUE ? pts : av_rescale_q(pts, format_->streams[stream_]->time_base, kNanoseconds);
}

// Decodes the first frame. Returns false when there is none.
bool SoundReader::Begin() {
  frame_waits_ = DecodeFrame();
  if (frame_waits_ && !ResamplerFrom(*frame_)) throw Error("cannot decode " + file_ + ": FFmpeg cannot convert it");
  return frame_waits_;
}

int SoundReader::Read(float* const* planes, int frames) {
  int done = 0;
  while (done < frames) {
    const std::size_t ready = decoded_[0].size() - taken_;
    const std::int64_t wanted = frames - done;
    std::int64_t count = 0;
    if (silence_ > 0) {
      count = std::min(silence_, wanted);
      for (int c = 0; c < kSoundChannels; ++c) std::fill_n(planes[c] + done, count, 0.0f);
      silence_ -= count;
    } else if (ready > 0) {
      count = std::min(static_cast<std::int64_t>(ready), wanted);
      for (int c = 0; c < kSoundChannels; ++c) std::copy_n(&decoded_[c][taken_], count, planes[c] + done);
      taken_ += static_cast<std::size_t>(count);
    } else if (ended_ || !DecodeMore()) {
      ended_ = true;
      break;
    }
    done += static_cast<int>(count);
    position_ += count;
  }
  return done;
}

bool SoundReader::DecodeFrame() {
  return studio::DecodeFrame(format_.get(), codec_.get(), stream_, packet_.get(), frame_.get(), &draining_);
}

// Called when all that was decoded has been read. Returns false at the end.
bool SoundReader::DecodeMore() {
  for (auto& plane : decoded_) plane.clear();
  taken_ = 0;
  if (!pass_over_) {
    const bool has_frame = frame_waits_ || DecodeFrame();
    frame_waits_ = false;
    Take(has_frame ? frame_.get() : nullptr);
    if (!has_frame) pass_over_ = true;
    return true;
  }
  return NextPass();
}

bool SoundReader::NextPass() {
  if (!loops_ || pass_length_ns_ == 0 || !pass_decodes_ || interrupted_) return false;
  pass_begin_ns_ += pass_length_ns_;
  resampler_.reset();
  // Opening the file again works with every container; seeking does not.
  try {
    return Open();
  } catch (const Error&) {
    return false;
  }
}

// Where a time of the media is in what is read.
std::int64_t SoundReader::PositionOf(std::int64_t pts) {
  const std::int64_t media_ns = av_rescale_q(pts, format_->streams[stream_]->time_base, kNanoseconds);
  if (first_ns_ == AV_NOPTS_VALUE) first_ns_ = media_ns;
  return SoundFrames(media_ns - first_ns_ + pass_begin_ns_ - start_ns_);
}

// Converts a frame; none means the resampler's rest.
void SoundReader::Take(const AVFrame* frame) {
  const std::int64_t is = position_ + (resampler_ ? swr_get_delay(resampler_.get(), kSoundRate) : 0);
  Convert(frame);
  if (frame && frame->best_effort_timestamp != AV_NOPTS_VALUE) Place(PositionOf(frame->best_effort_timestamp), is);
  if (frame) pass_decodes_ = true;
  if (silence_ > 0 || !decoded_[0].empty()) pass_heard_ = true;
  if (pass_length_ns_ == 0) return;
  const std::int64_t end = SoundFrames(pass_begin_ns_ + pass_length_ns_ - start_ns_);
  const auto ready = static_cast<std::int64_t>(decoded_[0].size());
  pass_over_ = position_ + silence_ + ready >= end;
  silence_ = std::clamp(end - position_, std::int64_t{0}, silence_);
  const std::int64_t room = std::max(end - position_ - silence_, std::int64_t{0});
  for (auto& plane : decoded_) plane.resize(static_cast<std::size_t>(std::min(room, ready)));
}

void SoundReader::Convert(const AVFrame* frame) {
  if (frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 24, 100)
    const int channels = frame->ch_layout.nb_channels;
#else
    const int channels = frame->channels;
#endif
    if (!resampler_ || rate_ != frame->sample_rate || channels_ != channels || sample_format_ != frame->format) {
      resampler_ = ResamplerFrom(*frame);
      rate_ = frame->sample_rate;
      channels_ = channels;
      sample_format_ = frame->format;
    }
  }
  if (!resampler_) return;
  const int room = swr_get_out_samples(resampler_.get(), frame ? frame->nb_samples : 0);
  if (room <= 0) return;
  std::uint8_t* planes[kSoundChannels];
  for (int c = 0; c < kSoundChannels; ++c) {
    decoded_[c].resize(static_cast<std::size_t>(room));
    planes[c] = reinterpret_cast<std::uint8_t*>(decoded_[c].data());
  }
  const auto** data = frame ? const_cast<const std::uint8_t**>(frame->extended_data) : nullptr;
  const int count = swr_convert(resampler_.get(), planes, room, data, frame ? frame->nb_samples : 0);
  for (auto& plane : decoded_) plane.resize(static_cast<std::size_t>(std::max(count, 0)));
}

// What was decoded should begin at the position `wanted`, and does at `is`.
void SoundReader::Place(std::int64_t wanted, std::int64_t is) {
  if (pass_heard_ && std::abs(wanted - is) <= kTolerance) return;
  silence_ = std::max(wanted - is, std::int64_t{0});
  const std::int64_t early = std::clamp(is - wanted, std::int64_t{0}, static_cast<std::int64_t>(decoded_[0].size()));
  for (auto& plane : decoded_) plane.erase(plane.begin(), plane.begin() + early);
}

}  // namespace studio
