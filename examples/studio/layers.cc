#include "studio/layers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include <quarn/gs_context.h>

#include "studio/blending.h"
#include "studio/device.h"
#include "studio/error.h"
#include "studio/media_span.h"
#include "studio/placement.h"
#include "studio/texel_copy.h"
#include "studio/text_picture.h"

namespace studio {
namespace {

constexpr float kRadiansPerDegree = 3.14159265358979f / 180.0f;
constexpr float kWhite[4] = {1, 1, 1, 1};

// What a program of layers multiplies with, or is the colour: premultiplied.
std::array<float, 4> Constants(const Layer& layer, float fade) {
  const float seen = layer.opacity * fade;
  if (layer.kind != LayerKind::kColor) return {seen, seen, seen, seen};
  const float alpha = layer.color.a * seen;
  return {layer.color.r * alpha, layer.color.g * alpha, layer.color.b * alpha, alpha};
}

unsigned int ToUnsigned(int value) { return static_cast<unsigned int>(value); }

std::unique_ptr<GsTexture> PixelTexture(const Picture& picture, const Stage& stage) {
  return std::make_unique<GsTexture>(picture.pixels.data(), ToUnsigned(picture.stride), GsTexture::kTextureRGBA,
                                     ToUnsigned(picture.size.width), ToUnsigned(picture.size.height), stage.device);
}

std::unique_ptr<GsTexture> VideoTexture(const Picture& picture, const Stage& stage) {
  if (!picture.planes || !Device::draws_planes()) return PixelTexture(picture, stage);
  return std::make_unique<GsVideoTexture>(ToUnsigned(picture.size.width), ToUnsigned(picture.size.height),
                                          picture.layout, stage.device);
}

gs_vec2 ToVec2(Size size) { return gs_vec2(static_cast<float>(size.width), static_cast<float>(size.height)); }

}  // namespace

LayerItem::LayerItem(const Layer& layer, Size size, Span span, const Stage& stage)
    : GsItem(ToVec2(size), stage.device),
      stage_(stage),
      layer_(layer),
      drawn_size_(size),
      span_(span),
      shown_(Constants(layer, 1)),
      constants_(shown_.data(), sizeof(float) * 4, stage.device) {
  SetZ(layer.z);
  SetVisible(layer.visible);
  PlaceAt(stage.clock->now_ns());
}

void LayerItem::Place(const Layer& layer, Size size) {
  const QNMutexLocker lock(mutex_);
  layer_ = layer;
  drawn_size_ = size;
}

void LayerItem::TickSource() {
  const StageTimer timer(&stage_.times->tick);
  const std::int64_t film_ns = stage_.clock->now_ns();
  PlaceAt(film_ns);
  Advance(film_ns);
}

void LayerItem::PlaceAt(std::int64_t film_ns) {
  const double seconds = static_cast<double>(film_ns) * 1e-9;
  const QNMutexLocker lock(mutex_);
  const Vec pos = PosAt(layer_, seconds);
  MoveTo(gs_vec2(pos.x, pos.y));
  SetRotation(RotationAt(layer_, seconds) * kRadiansPerDegree);
  Resize(ToVec2(drawn_size_));
  turned_ = layer_.rotation_deg != 0 || layer_.spin_deg_s != 0;
  const std::array<float, 4> constants = Constants(layer_, FadeAt(layer_, seconds, span_.begin, span_.end));
  if (std::exchange(shown_, constants) != constants) constants_.Update(constants.data(), sizeof(float) * 4);
}

bool LayerItem::DrawTexels(GsTexture* texture, Size picture, bool opaque) {
  const gs_vec2 drawn = size(), centre = pos();
  const float left = static_cast<float>(stage_.canvas.width) / 2 + centre.x - drawn.x / 2;
  const float top = static_cast<float>(stage_.canvas.height) / 2 + centre.y - drawn.y / 2;
  const float right = static_cast<float>(stage_.canvas.width), bottom = static_cast<float>(stage_.canvas.height);
  // What is outside of the canvas may be anywhere.
  if (!(left > -drawn.x && left < right && top > -drawn.y && top < bottom)) return false;
  const bool fits = !turned_ && drawn.x == static_cast<float>(picture.width) &&
                    drawn.y == static_cast<float>(picture.height) && left == std::floor(left) && top == std::floor(top);
  if (!fits) return false;
  if (!opaque || !covers() ||
      !CopyTexels(texture, picture, static_cast<int>(left), static_cast<int>(top), stage_.canvas)) {
    DrawWith(kTexelProgram, texture, opaque);
  }
  return true;
}

void LayerItem::DrawWith(const char* program, GsTexture* texture, bool opaque) {
  GsContext context(stage_.device);
  context.SetViewport(0, 0, static_cast<unsigned int>(stage_.canvas.width),
                      static_cast<unsigned int>(stage_.canvas.height));
  if (!context.BindShader(program)) return;
  constants_.Bind(0);
  {
    std::optional<Unblended> unblended;
    if (opaque && covers()) unblended.emplace();
    const GsTextureBinder binder(texture);
    context.DrawRect(gs_transform(pos(), size(), rotation()), ToVec2(stage_.canvas));
  }
  constants_.Unbind();
  context.UnbindShader();
}

ColorLayer::ColorLayer(const Layer& layer, Span span, const Stage& stage)
    : LayerItem(layer, layer.size ? DrawnSize(layer, stage.canvas) : stage.canvas, span, stage) {}

void ColorLayer::Draw() { DrawWith(turned() ? kColorProgram.turned : kColorProgram.straight, nullptr, true); }

TextureLayer::TextureLayer(const Layer& layer, Size size, Span span, const Picture& picture,
                           std::unique_ptr<GsTexture> texture, const Stage& stage)
    : LayerItem(layer, size, span, stage),
      texture_(std::move(texture)),
      picture_size_(picture.size),
      opaque_(picture.opaque) {
  const auto add = [&](Size target, const char* program, const float(&constants)[4], GsTexture* input) {
    filters_.push_back(std::make_unique<ShaderFilter>(target, program, constants, input, stage.device, stage.times));
  };
  if (layer.filter == LayerFilter::kGrey) {
    add(picture.size, kGreyProgram, kWhite, texture_.get());
  } else if (layer.filter == LayerFilter::kBlur) {
    // At half the size, first along the rows, then along the columns of that.
    const Size half{std::max(1, picture.size.width / 2), std::max(1, picture.size.height / 2)};
    const float across[4] = {1.5f / static_cast<float>(half.width), 0, 0, 0};
    const float down[4] = {0, 1.5f / static_cast<float>(half.height), 0, 0};
    add(half, kBlurProgram, across, texture_.get());
    add(half, kBlurProgram, down, filters_.back()->texture());
  }
}

void TextureLayer::Draw() {
  const char* const program = turned() ? kTextureProgram.turned : kTextureProgram.straight;
  if (!filters_.empty()) {
    DrawWith(program, filters_.back()->texture(), opaque_);
  } else if (!DrawTexels(texture_.get(), picture_size_, opaque_)) {
    DrawWith(program, texture_.get(), opaque_);
  }
}

PictureLayer::PictureLayer(const Layer& layer, Size size, Span span, const Picture& picture, std::uint64_t damaged,
                           const Stage& stage)
    : TextureLayer(layer, size, span, picture, PixelTexture(picture, stage), stage), damaged_(damaged) {}

void PictureLayer::Advance(std::int64_t /*film_ns*/) {
  for (const auto& filter : filters_) {
    if (filter->drawn()) filter->Detach();  // Its target keeps the picture.
  }
}

VideoLayer::VideoLayer(const Layer& layer, Size size, Span span, const Picture& picture,
                       std::unique_ptr<VideoPlayer> player, const Stage& stage, std::int64_t begin_ns)
    : TextureLayer(layer, size, span, picture, VideoTexture(picture, stage), stage),
      video_(dynamic_cast<GsVideoTexture*>(texture_.get())),
      player_(std::move(player)),
      begin_ns_(begin_ns) {
  player_->SetForm(video_ ? PictureForm::kPlanes : PictureForm::kPixels);
  player_->SetGoesOn(stage.goes_on);
  if (video_) Show(picture);
}

void VideoLayer::Advance(std::int64_t film_ns) {
  const Picture* picture = player_->Take(film_ns - begin_ns_);
  if (!picture) return;
  Show(*picture);
}

void VideoLayer::Show(const Picture& picture) {
  opaque_ = picture.opaque;
  if (!video_) {
    texture_->Update(picture.pixels.data(), ToUnsigned(picture.stride), GsTexture::kTextureRGBA,
                     ToUnsigned(picture.size.width), ToUnsigned(picture.size.height));
    return;
  }
  const AVFrame& planes = *picture.planes;
  const unsigned int strides[] = {ToUnsigned(planes.linesize[0]), ToUnsigned(planes.linesize[1]),
                                  ToUnsigned(planes.linesize[2])};
  video_->SetColor(picture.matrix, picture.range, picture.site);
  video_->Update(planes.data, strides);
}

LayerSource::LayerSource(const Layer& layer, const Description& description)
    : layer_(layer), natural_size_(description.canvas), film_end_s_(description.EndSeconds()) {
  if (layer_.kind == LayerKind::kColor) return;
  if (layer_.kind == LayerKind::kText) {
    natural_size_ = TextSize(layer_);
    size_ = DrawnSize(layer_, natural_size_);
    picture_ = TextPicture(layer_, natural_size_, size_);
    return;
  }
  auto reader = std::make_unique<MediaReader>(layer_);
  natural_size_ = reader->size();
  size_ = DrawnSize(layer_, natural_size_);
  reader->ShrinkTo(size_);
  if (layer_.kind == LayerKind::kPicture) {
    if (!reader->Next(&picture_)) throw Error("cannot decode " + layer_.file + ": unknown pixel layout");
    damaged_ = reader->damaged();
    return;
  }
  const auto start_ns = static_cast<std::int64_t>(description.start_s * 1e9);
  if (layer_.fade_out_s > 0 && !layer_.loop) {
    const std::int64_t length_ns = VideoLengthNs(layer_);
    if (length_ns > 0) length_s_ = static_cast<double>(length_ns) * 1e-9;
  }
  player_ = std::make_unique<VideoPlayer>(std::move(reader), layer_.loop, description.offline, start_ns);
  if (const Picture* first = player_->Take(start_ns)) picture_ = *first;
  if (picture_.pixels.empty()) throw Error("cannot decode " + layer_.file + ": no picture in it");
}

scoped_refptr<LayerItem> LayerSource::MakeItem(const Stage& stage, std::int64_t begin_ns) {
  Span span{0, film_end_s_};
  switch (layer_.kind) {
    case LayerKind::kColor: return MakeRefCounted<ColorLayer>(layer_, span, stage);
    case LayerKind::kPicture:
    case LayerKind::kText: return MakeRefCounted<PictureLayer>(layer_, size_, span, picture_, damaged_, stage);
    case LayerKind::kVideo: break;
  }
  span.begin = static_cast<double>(begin_ns) * 1e-9;
  if (length_s_) span.end = std::min(span.end, span.begin + *length_s_);
  return MakeRefCounted<VideoLayer>(layer_, size_, span, picture_, std::move(player_), stage, begin_ns);
}

}  // namespace studio
