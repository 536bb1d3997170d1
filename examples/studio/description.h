// What a program is asked to show and record: the one description that the command line and the scene file are both
// read into.
#ifndef QUARN_EXAMPLES_STUDIO_DESCRIPTION_H_
#define QUARN_EXAMPLES_STUDIO_DESCRIPTION_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "studio/frame_rate.h"

namespace studio {

struct Size {
  int width = 0;
  int height = 0;
};

struct Vec {
  float x = 0;
  float y = 0;
};

struct Color {
  float r = 0;
  float g = 0;
  float b = 0;
  float a = 1;
};

// How many pixels are cut off at each side.
struct Crop {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  bool IsNone() const { return left == 0 && top == 0 && right == 0 && bottom == 0; }
};

enum class LayerKind { kColor, kPicture, kVideo, kText };
enum class LayerFilter { kNone, kBlur, kGrey };
enum class TextAlign { kLeft, kCenter, kRight };
enum class PixelLayout { kI420, kNv12, kRgba, kBgra };

// Whether layers of that kind show a file.
inline bool HasMedia(LayerKind kind) { return kind == LayerKind::kPicture || kind == LayerKind::kVideo; }

constexpr Color kTextColor = {1, 1, 1, 1};  // Of a text that has none of its own.

struct Layer {
  LayerKind kind = LayerKind::kColor;
  std::string file;          // Where the picture or the video is.
  Color color;               // What a layer of one colour is filled with, or the colour of a text.
  Vec pos;                   // Centre, in canvas pixels from the canvas' centre, y downwards.
  std::optional<Size> size;  // Canvas pixels; a side of 0 follows from the other. Unset: the media's own; the canvas.
  float rotation_deg = 0;    // Clockwise.
  int z = 0;                 // Lower ones are underneath; equals stay in the order in which they were given.
  float opacity = 1;         // 0 to 1.
  bool visible = true;
  float spin_deg_s = 0;  // Degrees a second, clockwise.
  Vec drift_px_s;        // Canvas pixels a second.
  bool loop = false;     // A video starts again at its end instead of keeping its last picture.
  LayerFilter filter = LayerFilter::kNone;
  float volume = 1;          // The factor of a video's sound, 0 for none.
  std::optional<int> track;  // Which of a video's sounds is heard, 0 the first. Unset: FFmpeg's choice.
  // The part of a video that is played, in seconds of the media. Unset: until its end.
  double trim_start_s = 0;
  std::optional<double> trim_end_s;
  bool deinterlace = true;  // What a video has in halves, every other row, is made whole.
  Crop crop;                // Of the media, upright and in square pixels; what is left is what is placed.
  float fade_in_s = 0;      // How long the layer takes to appear, and to go at its end (see FadeAt), its sound too.
  float fade_out_s = 0;

  std::string text;           // UTF-8; lines end with '\n'.
  std::string font = "Sans";  // A family and what else describes it: "DejaVu Serif Bold Italic".
  float letter_px = 48;       // The size of the letters.
  TextAlign align = TextAlign::kLeft;
  std::string name;     // What people call it, if they do.
  bool locked = false;  // Not to be changed by the pointer.
};

// A sound that is heard, not seen.
struct Sound {
  std::string file;
  float gain = 1;              // A factor.
  double start_s = 0;          // The film time at which it begins.
  std::optional<int> track{};  // As a layer's.
  // The part of the file that is heard, in seconds from the sound's beginning; it begins at `start_s`.
  double trim_start_s = 0;
  std::optional<double> trim_end_s{};
  double fade_in_s = 0;
  double fade_out_s = 0;  // Up to the sound's end, or the film's where that comes first.
};

// How a film is packed and encoded. What is left out is as suits its kind.
struct Encoding {
  std::string container;                // As FFmpeg calls it, or the suffix that such files have.
  std::string codec;                    // An encoder of FFmpeg's, or what it encodes.
  std::string preset;                   // What the encoder calls its speeds.
  std::optional<int> quality;           // 0 to 100, which is the best.
  std::optional<std::int64_t> bitrate;  // Bits a second.
  std::string audio_codec;
  std::optional<std::int64_t> audio_bitrate;
  bool faststart = true;  // The index of an MP4 or MOV lies in front.
};

struct Description {
  Size canvas{1280, 720};
  std::optional<Size> output_size;  // Unset: the canvas.
  FrameRate fps;
  double duration_s = 10;
  bool duration_auto = false;  // As long as the longest of its media: see ResolveDuration.
  double start_s = 0;          // The film time of the first frame.
  std::string output;          // A file, a URL, a pipe, or a file for each picture, with "%04d" for its number.
  int output_descriptor = 1;   // What is written to where the output is one; a program may have moved it.
  bool overwrite = true;       // A file of the output's name is replaced.
  Encoding encoding;
  std::string scene_file;             // What it was read from; empty when from no file.
  bool transparent = false;           // What no layer covers stays transparent, instead of black.
  std::optional<PixelLayout> format;  // Unset: what the encoder likes best.
  bool offline = false;
  bool verbose = false;
  std::vector<Layer> layers;
  std::vector<Sound> sounds;
  bool needs_sound = false;  // A film without its sound is not what was asked for.

  Size OutputSize() const { return output_size.value_or(canvas); }
  // A still picture rather than a film.
  bool IsStill() const;
  // Whether there is something to see. Else the film is its sound.
  bool HasPicture() const;
  // The canvas does not fill the output: the engine leaves zeros around it, which are black in RGB and green in YUV.
  bool HasBars() const;
  // The time of the scene at which what is shown ends: the film's end, for a still that of the film it is a part of.
  double EndSeconds() const { return IsStill() ? duration_s : start_s + duration_s; }
  // How many frames the film has, at least one.
  std::uint64_t FrameCount() const;
  PixelLayout Format() const;
};

constexpr double kMaxFilmSeconds = 24 * 3600;

// Checks every range; throws UsageError.
void Validate(const Description& description);
// Checks the ranges of what is seen, which is all but the film; throws UsageError.
void ValidateScene(const Description& description);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_DESCRIPTION_H_
