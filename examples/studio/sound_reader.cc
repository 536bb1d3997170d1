#include "studio/sound_reader.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "studio/error.h"

namespace studio {
namespace {

// Containers round times to milliseconds, or worse: what is less off than this goes on where the last frame ended.
constexpr std::int64_t kTolerance = kSoundRate / 50;
constexpr std::int64_t kPrerollNs = 1000000000;  // What decoders get of what comes before.
constexpr int kMostFrames = 60 * kSoundRate;     // Of a decoder's frame: a minute. Longer ones are not heard.

std::int64_t FromSeconds(double seconds) { return static_cast<std::int64_t>(std::llround(seconds * 1e9)); }

}  // namespace

SoundReader::SoundReader(const std::string& file, float gain, std::optional<int> track, std::int64_t begin_ns,
                         std::int64_t start_ns)
    : file_(file),
      gain_(gain),
      track_(track),
      start_ns_(start_ns),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()),
      pass_begin_ns_(begin_ns) {}

SoundReader::SoundReader(const Sound& sound, std::int64_t start_ns, std::int64_t film_end_ns,
                         std::function<bool()> goes_on)
    : SoundReader(sound.file, sound.gain, sound.track, FromSeconds(sound.start_s), start_ns) {
  goes_on_ = std::move(goes_on);
  if (!Open() || !Begin()) throw Error("cannot decode " + file_ + ": no sound in it");
  trim_ns_ = FromSeconds(sound.trim_start_s);
  if (sound.trim_end_s) pass_length_ns_ = FromSeconds(*sound.trim_end_s) - trim_ns_;
  const std::int64_t length_ns = trim_ns_ > 0 || sound.fade_out_s > 0 ? LengthNs(sound) : 0;
  const std::int64_t end_ns = length_ns > 0 ? std::min(pass_begin_ns_ + length_ns, film_end_ns) : film_end_ns;
  SetFade(static_cast<float>(sound.fade_in_s), static_cast<float>(sound.fade_out_s), pass_begin_ns_, end_ns);
}

std::unique_ptr<SoundReader> SoundReader::OfVideo(const Layer& layer, std::int64_t start_ns, std::int64_t film_end_ns,
                                                  std::function<bool()> goes_on) {
  if (layer.volume == 0 || IsStream(layer.file)) return nullptr;
  std::unique_ptr<SoundReader> reader(new SoundReader(layer.file, layer.volume, layer.track, 0, start_ns));
  reader->goes_on_ = std::move(goes_on);
  if (!reader->Open() || !reader->Begin()) return nullptr;
  const MediaSpan pictures = MeasurePictures(layer.file, layer.loop || layer.fade_out_s > 0, reader->goes_on_);
  // The media begins with its first picture or sound, and is trimmed from there, as MediaReader has it.
  const std::int64_t sound_ns = layer.track ? FirstSoundNs(layer.file) : reader->BeginNs();
  const std::int64_t begin_ns = VideoOriginNs(pictures.begin_ns, sound_ns);
  if (begin_ns != AV_NOPTS_VALUE) reader->first_ns_ = Plus(begin_ns, FromSeconds(layer.trim_start_s));
  const std::int64_t length_ns = VideoLengthNs(layer, pictures, begin_ns);
  const bool ends_itself = !layer.loop && length_ns > 0;
  reader->SetFade(layer.fade_in_s, layer.fade_out_s, 0, ends_itself ? std::min(length_ns, film_end_ns) : film_end_ns);
  reader->loops_ = layer.loop;
  // What of a video's sound lies behind its last picture is heard, but where there is another pass or a trim.
  if (layer.loop || layer.trim_end_s) reader->pass_length_ns_ = length_ns;
  // The passes before the film's start need not be read.
  if (layer.loop && length_ns > 0) reader->pass_begin_ns_ = start_ns / length_ns * length_ns;
  return reader;
}

std::int64_t SoundReader::LengthNs(const Sound& sound) const {
  const AVStream* const of = format_->streams[stream_];
  std::int64_t whole_ns = 0;
  if (format_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
    // Guessed from the beginning, and wrong where the rest has other rates.
    if (!IsStream(file_)) whole_ns = MeasureSound(file_, track_, goes_on_).length_ns;
  } else if (of->duration > 0) {
    whole_ns = DurationNs(of->duration, of->time_base);
  } else if (format_->duration > 0) {
    whole_ns = DurationNs(format_->duration, AVRational{1, AV_TIME_BASE});
  }
  const std::int64_t trim_ns = FromSeconds(sound.trim_start_s);
  if (whole_ns > 0 && trim_ns >= whole_ns) throw Error("cannot trim " + file_ + ": it ends before that");
  std::int64_t end_ns = whole_ns;
  if (sound.trim_end_s) {
    const std::int64_t trim_end_ns = FromSeconds(*sound.trim_end_s);
    end_ns = whole_ns > 0 ? std::min(whole_ns, trim_end_ns) : trim_end_ns;
  }
  return std::max<std::int64_t>(end_ns - trim_ns, 0);
}

void SoundReader::SeekNearStart() {
  if (!frame_waits_ || IsStream(file_)) return;
  if (first_ns_ == AV_NOPTS_VALUE) first_ns_ = BeginNs();
  if (first_ns_ == AV_NOPTS_VALUE) return;
  const std::int64_t wanted_ns = Plus(first_ns_, trim_ns_ + start_ns_ - pass_begin_ns_);
  const std::int64_t target_ns = Minus(wanted_ns, kPrerollNs);
  if (target_ns <= FrameNs()) return;
  const std::int64_t target = Rescaled(target_ns, kNanoseconds, format_->streams[stream_]->time_base);
  if (avformat_seek_file(format_.get(), stream_, std::numeric_limits<std::int64_t>::min(), target, target, 0) >= 0) {
    avcodec_flush_buffers(codec_.get());
    frame_waits_ = DecodeFrame();
    if (frame_waits_ && FrameNs() != AV_NOPTS_VALUE && FrameNs() <= target_ns + kPrerollNs / 2) return;
  }
  frame_waits_ = false;
  if (Open()) frame_waits_ = DecodeFrame();
}

int SoundReader::Interrupted(void* reader) {
  auto* const self = static_cast<SoundReader*>(reader);
  if (!self->interrupted_ && self->goes_on_ && !self->goes_on_()) self->interrupted_ = true;
  return self->interrupted_ ? 1 : 0;
}

void SoundReader::SetFade(float in_s, float out_s, std::int64_t begin_ns, std::int64_t end_ns) {
  fade_.begin = SoundFrames(begin_ns - start_ns_);
  fade_.in = SoundFrames(FromSeconds(in_s));
  if (end_ns == kNoFilmEnd) return;
  fade_.end = SoundFrames(end_ns - start_ns_);
  fade_.out = SoundFrames(FromSeconds(out_s));
}

// Returns false when there is no sound.
bool SoundReader::Open() {
  format_ = OpenMedia(file_, {&SoundReader::Interrupted, this});
  stream_ = FindSound(format_.get(), file_, track_);
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
  return MediaNs(frame_->best_effort_timestamp, format_->streams[stream_]->time_base);
}

// When the sound begins, of which the first frame has been decoded.
std::int64_t SoundReader::BeginNs() const {
  const AVStream* const of = format_->streams[stream_];
  return MediaNs(NotBeforeStart(frame_->best_effort_timestamp, of), of->time_base);
}

// Decodes the first frame. Returns false when there is none.
bool SoundReader::Begin() {
  frame_waits_ = DecodeFrame();
  if (frame_waits_ && !ResamplerFrom(*frame_)) throw Error("cannot decode " + file_ + ": FFmpeg cannot convert it");
  return frame_waits_;
}

int SoundReader::Read(float* const* planes, int frames) {
  const std::int64_t first = position_;
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
  fade_.Apply(planes, done, first);
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
  if (!loops_ || pass_length_ns_ == 0 || !pass_decodes_ || interrupted_ || pass_begin_ns_ > kLongestNs) return false;
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
  const std::int64_t media_ns = MediaNs(pts, format_->streams[stream_]->time_base);
  if (first_ns_ == AV_NOPTS_VALUE) first_ns_ = BeginNs();
  return SoundFrames(SinceNs(media_ns, first_ns_) - trim_ns_ + pass_begin_ns_ - start_ns_);
}

// Converts a frame; none means the resampler's rest.
void SoundReader::Take(const AVFrame* frame) {
  const std::int64_t is = position_ + (resampler_ ? swr_get_delay(resampler_.get(), kSoundRate) : 0);
  Convert(frame);
  if (frame && frame->best_effort_timestamp != AV_NOPTS_VALUE) Place(PositionOf(frame->best_effort_timestamp), is);
  if (trim_ns_ > 0) CutBefore(SoundFrames(pass_begin_ns_ - start_ns_));
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
  if (room <= 0 || room > kMostFrames) return;
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

// Nothing is heard before the position `first`.
void SoundReader::CutBefore(std::int64_t first) {
  const std::int64_t missing = first - position_ - silence_;
  if (missing <= 0) return;
  const std::int64_t cut = std::min(missing, static_cast<std::int64_t>(decoded_[0].size()));
  for (auto& plane : decoded_) plane.erase(plane.begin(), plane.begin() + cut);
  // Where something is left, it begins there.
  silence_ = decoded_[0].empty() ? 0 : first - position_;
}

}  // namespace studio
