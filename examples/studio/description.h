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

enum class LayerKind { kColor, kPicture, kVideo };
enum class LayerFilter { kNone, kBlur, kGrey };
enum class PixelLayout { kI420, kNv12, kRgba, kBgra };

struct Layer {
  LayerKind kind = LayerKind::kColor;
  std::string file;          // Where the picture or the video is.
  Color color;               // What a layer of one colour is filled with.
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
  float volume = 1;     // The factor of a video's sound, 0 for none.
  std::string name;     // What people call it, if they do.
  bool locked = false;  // Not to be changed by the pointer.
};

// A sound that is heard, not seen.
struct Sound {
  std::string file;
  float gain = 1;      // A factor.
  double start_s = 0;  // The film time at which it begins.
};

struct Description {
  Size canvas{1280, 720};
  std::optional<Size> output_size;  // Unset: the canvas.
  FrameRate fps;
  double duration_s = 10;
  double start_s = 0;  // The film time of the first frame.
  std::string output;
  std::optional<PixelLayout> format;  // Unset: what the encoder likes best.
  bool offline = false;
  bool verbose = false;
  std::vector<Layer> layers;
  std::vector<Sound> sounds;
  bool needs_sound = false;  // A film without its sound is not what was asked for.

  Size OutputSize() const { return output_size.value_or(canvas); }
  // A still picture rather than a film.
  bool IsStill() const;
  // The canvas does not fill the output: the engine leaves zeros around it, which are black in RGB and green in YUV.
  bool HasBars() const;
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
