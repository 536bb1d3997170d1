// The layers of a film: items that draw a colour, a picture, a video or a text.
#ifndef QUARN_EXAMPLES_STUDIO_LAYERS_H_
#define QUARN_EXAMPLES_STUDIO_LAYERS_H_

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include <quarn/gs_constant_buffer.h>
#include <quarn/gs_device.h>
#include <quarn/gs_item.h>
#include <quarn/gs_texture.h>
#include <quarn/gs_video_texture.h>

#include "studio/description.h"
#include "studio/film_clock.h"
#include "studio/media_reader.h"
#include "studio/programs.h"
#include "studio/shader_filter.h"
#include "studio/stage_times.h"
#include "studio/video_player.h"

namespace studio {

// What all layers of a film share.
struct Stage {
  GsDevice* device = nullptr;
  Size canvas;
  const FilmClock* clock = nullptr;
  StageTimes* times = nullptr;
  std::function<bool()> goes_on = nullptr;  // Asked by what waits for a film that is made offline.
};

// When a layer is there, in seconds of the film.
struct Span {
  double begin = 0;
  double end = 0;
};

// Places, moves and blends; what is drawn is up to the kind. Made on the host's thread, then the render thread's, Place
// excepted.
class LayerItem : public GsItem {
 public:
  LayerItem(const Layer& layer, Size size, Span span, const Stage& stage);

  // Puts the layer elsewhere from the next frame on: takes the position, rotation, drift, spin and opacity of `layer`,
  // and a size. Thread: any.
  void Place(const Layer& layer, Size size);

  void TickSource() final;

  // How many packets of its media could not be decoded, or not wholly. Thread: any.
  virtual std::uint64_t damaged() const { return 0; }

 protected:
  // Moves the content on to the film's time.
  virtual void Advance(std::int64_t /*film_ns*/) {}
  // Draws the layer's rectangle with one of the programs. What it draws without opacity or edges of its own is blended
  // with nothing where it is `opaque`.
  void DrawWith(const char* program, GsTexture* texture, bool opaque);
  // Draws a picture that has a texel for each pixel here, and returns whether it has.
  bool DrawTexels(GsTexture* texture, Size picture, bool opaque);
  bool turned() const { return turned_; }

  const Stage stage_;

 private:
  void PlaceAt(std::int64_t film_ns);
  // Whether nothing of what is below is to be seen through something opaque, and that has its own colours.
  bool covers() const { return !turned_ && shown_[3] == 1; }

  Layer layer_;  // Under mutex_.
  Size drawn_size_;
  const Span span_;
  bool turned_ = false;         // Render thread.
  std::array<float, 4> shown_;  // What the constants hold.
  GsConstantBuffer constants_;
};

class ColorLayer : public LayerItem {
 public:
  ColorLayer(const Layer& layer, Span span, const Stage& stage);
  void Draw() override;
};

// A texture, seen as it is or through filters.
class TextureLayer : public LayerItem {
 public:
  // `texture` shows `picture`.
  TextureLayer(const Layer& layer, Size size, Span span, const Picture& picture, std::unique_ptr<GsTexture> texture,
               const Stage& stage);
  void Draw() override;

 protected:
  const std::unique_ptr<GsTexture> texture_;
  const Size picture_size_;
  bool opaque_;                                         // The picture that is shown. Render thread.
  std::vector<std::unique_ptr<ShaderFilter>> filters_;  // Each reads the one before.
};

// Of a text, too.
class PictureLayer : public TextureLayer {
 public:
  PictureLayer(const Layer& layer, Size size, Span span, const Picture& picture, std::uint64_t damaged,
               const Stage& stage);

  std::uint64_t damaged() const override { return damaged_; }

 protected:
  // A still is filtered once.
  void Advance(std::int64_t film_ns) override;

 private:
  const std::uint64_t damaged_;
};

// Its pictures come as planes where the driver makes their colours faster than the processor would, and the media has
// them (Device::draws_planes).
class VideoLayer : public TextureLayer {
 public:
  VideoLayer(const Layer& layer, Size size, Span span, const Picture& picture, std::unique_ptr<VideoPlayer> player,
             const Stage& stage, std::int64_t begin_ns);

  std::uint64_t damaged() const override { return player_->damaged(); }

 protected:
  void Advance(std::int64_t film_ns) override;

 private:
  void Show(const Picture& picture);

  GsVideoTexture* const video_;  // The texture, if it takes planes.
  const std::unique_ptr<VideoPlayer> player_;
  const std::int64_t begin_ns_;
};

// A layer whose media has been opened and found good; it needs no device yet.
class LayerSource {
 public:
  // Throws Error.
  LayerSource(const Layer& layer, const Description& description);
  // The size of a layer that has none of its own.
  Size natural_size() const { return natural_size_; }
  // Call once. A video shows its start at the film time `begin_ns`; any other layer is there from the film's start.
  scoped_refptr<LayerItem> MakeItem(const Stage& stage, std::int64_t begin_ns = 0);

 private:
  Layer layer_;
  Size natural_size_;
  Size size_;
  double film_end_s_ = 0;
  std::optional<double> length_s_;  // Of a video that fades out at its own end.
  Picture picture_;                 // The first picture of the media.
  std::uint64_t damaged_ = 0;       // Of a picture.
  std::unique_ptr<VideoPlayer> player_;
};

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LAYERS_H_
