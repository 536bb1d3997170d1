// Reads a picture or a video with FFmpeg, picture by picture.
#ifndef QUARN_EXAMPLES_STUDIO_MEDIA_READER_H_
#define QUARN_EXAMPLES_STUDIO_MEDIA_READER_H_

#include <atomic>
#include <cstdint>
#include <deque>
#include <string>

#include "studio/av.h"
#include "studio/deinterlacer.h"
#include "studio/description.h"
#include "studio/media_file.h"
#include "studio/picture_converter.h"

namespace studio {

// A picture that has been decoded and not been converted.
struct DecodedPicture {
  AvFrame frame;
  std::int64_t time_ns = 0;  // From the media's beginning; where it is read again and again, of the first pass.
  std::int64_t end_ns = 0;   // When the next one is expected.
};

// The media begins with the first of what it has, picture or sound: a first picture that is to be seen later is seen
// from the beginning. It ends with its last picture. A layer's trim leaves a part of that.
//
// One thread at a time, where nothing else is said.
class MediaReader {
 public:
  // Opens the file and decodes its first picture. Throws Error.
  explicit MediaReader(const std::string& file);
  // The same with a layer's file, its trim and crop, and its wish about halves of pictures.
  explicit MediaReader(const Layer& layer);

  // The size at which the media, or what its crop leaves of it, wants to be seen: upright, with square pixels.
  Size size() const { return size_; }
  // Pictures come out no larger than this, or than hardware takes; a layer drawn small looks better for it. Call it
  // before anything is read.
  void ShrinkTo(Size size);
  // What a converter needs to know.
  const PictureShape& shape() const { return shape_; }

  // Reads the next picture. Returns false at the end, and when the rest cannot be decoded.
  bool Decode(DecodedPicture* picture);
  // The same, converted to pixels.
  bool Next(Picture* picture);
  // Starts again; times go on where the last picture ended. Passes that end before `wanted_ns` are left out. Returns
  // false when the file cannot be opened any more, or has no picture.
  bool Rewind(std::int64_t wanted_ns = 0);

  // Goes on at the last picture at or before `time_ns` that can be decoded without others, if that is ahead: what lies
  // before it is not decoded. For files.
  void SkipTo(std::int64_t time_ns);
  // Leaves out pictures that no other one needs. For files.
  void SetHurry(bool hurry);
  // Makes whatever waits for a sender come to an end: nothing is read any more. Thread: any.
  void Interrupt() { interrupted_ = true; }
  // How many packets could not be decoded, or not wholly, in one pass. Thread: any.
  std::uint64_t damaged() const { return damaged_; }

 private:
  void Open();
  void SetCrop(const Crop& crop, AVFrame* first);
  void CropFrame(AVFrame* frame) const;
  bool BeginPass();
  bool PickFirst(DecodedPicture first);
  bool SeekToTrim();
  int ReadPacket(AVPacket* packet);
  bool DecodeFrame();
  bool NextFrame(DecodedPicture* picture);
  std::int64_t FrameTime();
  std::int64_t MediaTime(std::int64_t time_ns) const;

  const std::string file_;
  const bool is_stream_;
  const bool deinterlaces_;
  const std::int64_t trim_start_ns_;
  const std::int64_t length_ns_;  // Of the trimmed part; the largest number where it ends with the media.
  std::atomic<bool> interrupted_{false};
  std::atomic<std::uint64_t> damaged_{0};
  Size size_;
  Orientation orientation_;
  Crop crop_;  // Of a picture of the size uncut_, upright.
  Size uncut_;
  PictureShape shape_;

  Media format_;
  AvCodec codec_;
  AvPacket packet_;
  AvFrame frame_;
  std::deque<AvPacket> packets_;  // Read ahead of the decoder.
  Deinterlacer deinterlacer_;
  bool deinterlacer_ends_ = false;
  AvFrame unlike_;  // Waits until the deinterlacer has given what it has.
  bool unlike_waits_ = false;
  std::deque<DecodedPicture> decoded_;  // Not yet handed out.
  int stream_ = -1;
  bool draining_ = false;
  bool pass_over_ = false;  // What follows is behind the trimmed part.
  std::uint64_t pass_damaged_ = 0;
  std::int64_t origin_ns_ = AV_NOPTS_VALUE;  // The media's own time at which it begins.
  std::int64_t pass_begin_ns_ = 0;           // Where the present pass through the file begins.
  std::int64_t pass_end_ns_ = 0;             // Where the picture after the last one is expected.
  std::int64_t next_ns_ = 0;                 // The same of the decoder's.
  std::int64_t frame_duration_ns_ = 0;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_MEDIA_READER_H_
