#include "studio/media_reader.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "studio/error.h"
#include "studio/media_span.h"

namespace studio {
namespace {

constexpr std::int64_t kRoundingNs = 1000000;  // Containers round times to milliseconds.
constexpr std::size_t kMaxPacketsAhead = 5000;
constexpr int kMaxNaturalSide = 1 << 20;  // Pixels may be said to be any number of times as wide as high.
constexpr std::int64_t kNoEnd = std::numeric_limits<std::int64_t>::max();

std::int64_t Nanoseconds(double seconds) { return static_cast<std::int64_t>(std::llround(seconds * 1e9)); }

// Gives a frame of pixels that share bytes, which FFmpeg does not crop, a whole number of bytes for each.
void Unpack(AVFrame* frame) {
  const auto format = static_cast<AVPixelFormat>(frame->format);
  if (!(av_pix_fmt_desc_get(format)->flags & AV_PIX_FMT_FLAG_BITSTREAM)) return;
  AvFrame whole(av_frame_alloc());
  if (!whole || av_frame_copy_props(whole.get(), frame) < 0) return;
  whole->format = AV_PIX_FMT_RGB24;
  whole->width = frame->width;
  whole->height = frame->height;
  const AvScaler scaler(sws_getContext(frame->width, frame->height, format, frame->width, frame->height,
                                       AV_PIX_FMT_RGB24, SWS_POINT, nullptr, nullptr, nullptr));
  if (!scaler || av_frame_get_buffer(whole.get(), 0) < 0) return;
  sws_scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, whole->data, whole->linesize);
  av_frame_unref(frame);
  av_frame_move_ref(frame, whole.get());
}

Layer LayerOf(const std::string& file) {
  Layer layer;
  layer.file = file;
  return layer;
}

}  // namespace

MediaReader::MediaReader(const std::string& file) : MediaReader(LayerOf(file)) {}

MediaReader::MediaReader(const Layer& layer)
    : file_(layer.file),
      is_stream_(IsStream(layer.file)),
      deinterlaces_(layer.deinterlace),
      trim_start_ns_(Nanoseconds(layer.trim_start_s)),
      length_ns_(layer.trim_end_s ? Nanoseconds(*layer.trim_end_s) - trim_start_ns_ : kNoEnd),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()),
      unlike_(av_frame_alloc()) {
  Open();
  DecodedPicture first;
  if (!NextFrame(&first)) {
    throw Error("cannot decode " + file_ + ": no picture in it of at most " +
                std::to_string(MaxPixels(codec_->codec_id)) + " pixels");
  }
  const AVStream* const stream = format_->streams[stream_];
  orientation_ = OrientationOf(stream, first.frame.get());
  const AVRational aspect = av_guess_sample_aspect_ratio(format_.get(), format_->streams[stream_], first.frame.get());
  const double stretch = aspect.num > 0 && aspect.den > 0 ? av_q2d(aspect) : 1;
  const double width = std::max(1.0, std::round(first.frame->width * stretch));
  if (width > kMaxNaturalSide || first.frame->height > kMaxNaturalSide) {
    throw Error("cannot decode " + file_ + ": its pictures are to be seen with " + std::to_string(std::llround(width)) +
                "x" + std::to_string(first.frame->height) + " pixels: each side must be at most " +
                std::to_string(kMaxNaturalSide));
  }
  const Size square{static_cast<int>(width), first.frame->height};
  size_ = orientation_.Turned(square);
  SetCrop(layer.crop, first.frame.get());

  const bool has_sound = !is_stream_ && av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0) >= 0;
  const std::int64_t sound_ns = has_sound ? FirstSoundNs(file_) : AV_NOPTS_VALUE;
  const std::int64_t begin_ns = origin_ns_ == AV_NOPTS_VALUE ? origin_ns_ : VideoOriginNs(origin_ns_, sound_ns);
  const bool sound_first = begin_ns != origin_ns_;
  origin_ns_ = begin_ns;
  const bool again = sound_first || (!is_stream_ && trim_start_ns_ > 0);
  if (!(again ? BeginPass() : PickFirst(std::move(first)))) {
    throw Error("cannot decode " + file_ + ": its trim begins where it has ended");
  }
  ShrinkTo(Size{kMaxPictureSide, kMaxPictureSide});
}

void MediaReader::Open() {
  const auto interrupted = [](void* flag) { return static_cast<std::atomic<bool>*>(flag)->load() ? 1 : 0; };
  codec_.reset();
  format_.reset();
  format_ = OpenMedia(file_, {interrupted, &interrupted_});
  stream_ = av_find_best_stream(format_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  if (stream_ < 0) throw Error("cannot decode " + file_ + ": no picture in it");
  codec_ = OpenDecoder(file_, format_.get(), stream_);
  frame_duration_ns_ = PictureDurationNs(format_.get(), stream_);
  for (unsigned int i = 0; i < format_->nb_streams; ++i) {
    if (static_cast<int>(i) != stream_) format_->streams[i]->discard = AVDISCARD_ALL;
  }
  packets_.clear();
  decoded_.clear();
  deinterlacer_.Reset();
  draining_ = deinterlacer_ends_ = unlike_waits_ = false;
  pass_damaged_ = 0;
  next_ns_ = pass_begin_ns_ - trim_start_ns_;
  if (is_stream_) origin_ns_ = AV_NOPTS_VALUE;  // A sender's clock goes on.
}

void MediaReader::SetCrop(const Crop& crop, AVFrame* first) {
  if (crop.IsNone()) return;
  crop_ = crop;
  uncut_ = size_;
  size_ = Size{uncut_.width - crop.left - crop.right, uncut_.height - crop.top - crop.bottom};
  if (size_.width < 1 || size_.height < 1) {
    throw Error("the crop leaves nothing of " + file_ + ", which has " + std::to_string(uncut_.width) + "x" +
                std::to_string(uncut_.height) + " pixels");
  }
  CropFrame(first);
}

// Frames lie as the camera was held, and their pixels need not be square.
void MediaReader::CropFrame(AVFrame* frame) const {
  if (crop_.IsNone()) return;
  Crop lying = crop_;
  if (orientation_.flipped) std::swap(lying.top, lying.bottom);
  if (orientation_.mirrored) std::swap(lying.left, lying.right);
  if (orientation_.transposed) {
    std::swap(lying.left, lying.top);
    std::swap(lying.right, lying.bottom);
  }
  const Size of = orientation_.Turned(uncut_);
  const auto scaled = [](int pixels, int frame_side, int side) {
    return static_cast<std::size_t>((std::int64_t{pixels} * frame_side + side / 2) / side);
  };
  const int width = frame->width, height = frame->height;
  Unpack(frame);
  frame->crop_left = scaled(lying.left, width, of.width);
  frame->crop_top = scaled(lying.top, height, of.height);
  frame->crop_right = scaled(lying.right, width, of.width);
  frame->crop_bottom = scaled(lying.bottom, height, of.height);
  av_frame_apply_cropping(frame, AV_FRAME_CROP_UNALIGNED);
}

// Opening the file again works with every container; seeking does not, and is tried where much is to be left out.
bool MediaReader::BeginPass() {
  Open();
  DecodedPicture first;
  const bool sought = SeekToTrim();
  bool found = NextFrame(&first);
  if (sought && (!found || first.time_ns > pass_begin_ns_ + kRoundingNs)) {
    Open();
    found = NextFrame(&first);
  }
  return found && PickFirst(std::move(first));
}

// Of the pictures before the trimmed part, the last is seen at its beginning.
bool MediaReader::PickFirst(DecodedPicture first) {
  DecodedPicture next;
  bool has_next = false;
  while (trim_start_ns_ > 0 && first.time_ns <= pass_begin_ns_ + kRoundingNs && (has_next = NextFrame(&next)) &&
         next.time_ns <= pass_begin_ns_ + kRoundingNs) {
    std::swap(first, next);
    has_next = false;
  }
  if (!has_next && first.end_ns <= pass_begin_ns_) return false;
  first.time_ns = pass_begin_ns_;
  decoded_.push_back(std::move(first));
  if (has_next) decoded_.push_back(std::move(next));
  return true;
}

bool MediaReader::SeekToTrim() {
  if (is_stream_ || trim_start_ns_ == 0 || origin_ns_ == AV_NOPTS_VALUE) return false;
  const std::int64_t time = MediaTime(pass_begin_ns_);
  return avformat_seek_file(format_.get(), stream_, std::numeric_limits<std::int64_t>::min(), time, time, 0) >= 0;
}

void MediaReader::ShrinkTo(Size size) { shape_ = PictureShape(*decoded_.front().frame, orientation_, size); }

// Of a film time, in the units of the stream.
std::int64_t MediaReader::MediaTime(std::int64_t time_ns) const {
  return Rescaled(Plus(time_ns - pass_begin_ns_ + trim_start_ns_, origin_ns_), kNanoseconds,
                  format_->streams[stream_]->time_base);
}

std::int64_t MediaReader::FrameTime() {
  if (frame_->best_effort_timestamp == AV_NOPTS_VALUE) return next_ns_;
  const std::int64_t media_ns = MediaNs(frame_->best_effort_timestamp, format_->streams[stream_]->time_base);
  if (origin_ns_ == AV_NOPTS_VALUE) origin_ns_ = media_ns;
  return LimitedNs(pass_begin_ns_ + SinceNs(media_ns, origin_ns_) - trim_start_ns_);
}

int MediaReader::ReadPacket(AVPacket* packet) {
  if (packets_.empty()) {
    const int result = av_read_frame(format_.get(), packet);
    if (result < 0 && result != AVERROR_EOF && result != AVERROR_EXIT) ++pass_damaged_;
    return result;
  }
  av_packet_move_ref(packet, packets_.front().get());
  packets_.pop_front();
  return 0;
}

bool MediaReader::DecodeFrame() {
  const bool decoded = studio::DecodeFrame([this](AVPacket* packet) { return ReadPacket(packet); }, codec_.get(),
                                           stream_, packet_.get(), frame_.get(), &draining_, &pass_damaged_);
  damaged_ = std::max(damaged_.load(), pass_damaged_);
  if (!decoded) return false;
  frame_->pts = FrameTime();
  next_ns_ = LimitedNs(frame_->pts + frame_duration_ns_);
  return true;
}

// Decodes the next frame, and makes it whole where it is interlaced.
bool MediaReader::NextFrame(DecodedPicture* picture) {
  for (bool whole = false; !whole;) {
    if (deinterlacer_.is_used()) {
      if (deinterlacer_.Pull(frame_.get())) break;
      if (deinterlacer_ends_) deinterlacer_.Reset();
      deinterlacer_ends_ = false;
    }
    if (unlike_waits_) {
      av_frame_unref(frame_.get());
      av_frame_move_ref(frame_.get(), unlike_.get());
      unlike_waits_ = false;
    } else if (!DecodeFrame()) {
      if (!deinterlacer_.is_used()) return false;
      deinterlacer_ends_ = true;
      deinterlacer_.Push(nullptr);
      continue;
    }
    if (!deinterlacer_.Takes(*frame_)) {
      av_frame_move_ref(unlike_.get(), frame_.get());
      unlike_waits_ = deinterlacer_ends_ = true;
      deinterlacer_.Push(nullptr);
      continue;
    }
    const bool interlaced = frame_->interlaced_frame != 0 || deinterlacer_.is_used();
    whole = !deinterlaces_ || !interlaced || !deinterlacer_.Push(frame_.get());
  }
  picture->time_ns = LimitedNs(frame_->pts);
  picture->end_ns = picture->time_ns + frame_duration_ns_;
  picture->frame.reset(av_frame_alloc());
  if (!picture->frame) return false;
  av_frame_move_ref(picture->frame.get(), frame_.get());
  CropFrame(picture->frame.get());
  return true;
}

bool MediaReader::Decode(DecodedPicture* picture) {
  if (decoded_.empty()) {
    if (pass_over_ || !NextFrame(picture)) return false;
  } else {
    *picture = std::move(decoded_.front());
    decoded_.pop_front();
  }
  const std::int64_t end_ns = length_ns_ == kNoEnd ? kNoEnd : pass_begin_ns_ + length_ns_;
  pass_over_ = picture->time_ns + kRoundingNs >= end_ns;
  pass_end_ns_ = pass_over_ ? end_ns : std::min(picture->end_ns, end_ns);
  return !pass_over_;
}

bool MediaReader::Next(Picture* picture) {
  DecodedPicture decoded;
  return Decode(&decoded) && PictureConverter(shape_).Convert(*decoded.frame, PictureForm::kPixels, picture);
}

bool MediaReader::Rewind(std::int64_t wanted_ns) {
  // The last picture may be said to be seen before the first.
  const std::int64_t length_ns = std::max(pass_end_ns_ - pass_begin_ns_, kShortestPassNs);
  pass_begin_ns_ += length_ns;
  pass_begin_ns_ += std::max(wanted_ns - pass_begin_ns_, std::int64_t{0}) / length_ns * length_ns;
  pass_over_ = pass_begin_ns_ > kLongestNs;
  try {
    return !pass_over_ && BeginPass();
  } catch (const Error&) {
    pass_over_ = true;
    return false;
  }
}

void MediaReader::SetHurry(bool hurry) {
  if (codec_ && !is_stream_) codec_->skip_frame = hurry ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
}

// Seeking would find the same picture, but not with every container, and does not tell beforehand whether it is ahead.
void MediaReader::SkipTo(std::int64_t time_ns) {
  if (is_stream_ || !format_ || origin_ns_ == AV_NOPTS_VALUE || draining_ || !packets_.empty()) return;
  // The last picture of the trimmed part may be the one that stays.
  const std::int64_t last_ns = length_ns_ == kNoEnd ? kNoEnd : pass_begin_ns_ + length_ns_ - 2 * kRoundingNs;
  const std::int64_t wanted = MediaTime(std::min(time_ns, last_ns));
  const std::int64_t most = kLongestNs / std::max(codec_->has_b_frames, 1);
  const std::int64_t delay = Rescaled(codec_->has_b_frames * std::min(frame_duration_ns_, most), kNanoseconds,
                                      format_->streams[stream_]->time_base);
  bool found = false;
  while (packets_.size() < kMaxPacketsAhead) {
    AvPacket packet(av_packet_alloc());
    if (!packet || av_read_frame(format_.get(), packet.get()) < 0) break;
    if (packet->stream_index != stream_) continue;
    // Containers without times of pictures have those of packets, which come earlier.
    const std::int64_t pts =
        packet->pts != AV_NOPTS_VALUE || packet->dts == AV_NOPTS_VALUE ? packet->pts : Plus(packet->dts, delay);
    const bool skips = (packet->flags & AV_PKT_FLAG_KEY) != 0 && pts != AV_NOPTS_VALUE && pts <= wanted;
    const bool passed = packet->dts != AV_NOPTS_VALUE ? packet->dts > wanted : pts > wanted;
    if (skips) packets_.clear();
    found = found || skips;
    packets_.push_back(std::move(packet));
    if (passed) break;
  }
  if (!found) return;
  avcodec_flush_buffers(codec_.get());
  deinterlacer_.Reset();
  deinterlacer_ends_ = unlike_waits_ = false;
  decoded_.clear();
}

}  // namespace studio
