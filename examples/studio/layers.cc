#include "studio/layers.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include <quarn/gs_context.h>

#include "studio/error.h"

namespace studio {
namespace {

constexpr float kRadiansPerDegree = 3.14159265358979f / 180.0f;
constexpr float kWhite[4] = {1, 1, 1, 1};

std::array<float, 4> Constants(const Layer& layer) {
  if (layer.kind != LayerKind::kColor) return {1, 1, 1, layer.opacity};
  return {layer.color.r, layer.color.g, layer.color.b, layer.color.a * layer.opacity};
}

gs_vec2 ToVec2(Size size) { return gs_vec2(static_cast<float>(size.width), static_cast<float>(size.height)); }

Size DrawnSize(const Layer& layer, Size natural) {
  if (!layer.size) return natural;
  Size size = *layer.size;
  const auto follow = [](int side, int of, int to) {
    return std::max(1, static_cast<int>(std::lround(static_cast<double>(side) * to / of)));
  };
  if (size.width == 0) size.width = follow(size.height, natural.height, natural.width);
  if (size.height == 0) size.height = follow(size.width, natural.width, natural.height);
  return size;
}

}  // namespace

LayerItem::LayerItem(const Layer& layer, Size size, const Stage& stage)
    : GsItem(ToVec2(size), stage.device),
      stage_(stage),
      layer_(layer),
      constants_(Constants(layer).data(), sizeof(float) * 4, stage.device) {
  MoveTo(gs_vec2(layer.pos.x, layer.pos.y));
  SetRotation(layer.rotation_deg * kRadiansPerDegree);
  SetZ(layer.z);
}

void LayerItem::TickSource() {
  const StageTimer timer(&stage_.times->tick);
  const std::int64_t film_ns = stage_.clock->now_ns();
  const double seconds = static_cast<double>(film_ns) * 1e-9;
  MoveTo(gs_vec2(static_cast<float>(layer_.pos.x + layer_.drift_px_s.x * seconds),
                 static_cast<float>(layer_.pos.y + layer_.drift_px_s.y * seconds)));
  SetRotation(static_cast<float>(std::fmod(layer_.rotation_deg + layer_.spin_deg_s * seconds, 360.0)) *
              kRadiansPerDegree);
  Advance(film_ns);
}

void LayerItem::DrawWith(const LayerProgram& program, GsTexture* texture0, GsTexture* texture1) {
  GsContext context(stage_.device);
  context.SetViewport(0, 0, static_cast<unsigned int>(stage_.canvas.width),
                      static_cast<unsigned int>(stage_.canvas.height));
  const bool turned = layer_.rotation_deg != 0 || layer_.spin_deg_s != 0;
  if (!context.BindShader(turned ? program.turned : program.straight)) return;
  constants_.Bind(0);
  {
    const GsTextureBinder binder(texture0, texture1);
    context.DrawRect(gs_transform(pos(), size(), rotation()), ToVec2(stage_.canvas));
  }
  constants_.Unbind();
  context.UnbindShader();
}

ColorLayer::ColorLayer(const Layer& layer, const Stage& stage)
    : LayerItem(layer, layer.size ? DrawnSize(layer, stage.canvas) : stage.canvas, stage) {}

void ColorLayer::Draw() { DrawWith(kColorProgram, nullptr, nullptr); }

TextureLayer::TextureLayer(const Layer& layer, Size size, const Picture& picture, const Stage& stage)
    : LayerItem(layer, size, stage),
      texture_(picture.pixels.data(), static_cast<unsigned int>(picture.stride), GsTexture::kTextureRGBA,
               static_cast<unsigned int>(picture.size.width), static_cast<unsigned int>(picture.size.height),
               stage.device),
      opaque_(picture.opaque) {
  const auto add = [&](Size target, const char* program, const float(&constants)[4], GsTexture* input) {
    filters_.push_back(std::make_unique<ShaderFilter>(target, program, constants, input, stage.device, stage.times));
  };
  if (layer.filter == LayerFilter::kGrey) {
    add(picture.size, kGreyProgram, kWhite, &texture_);
  } else if (layer.filter == LayerFilter::kBlur) {
    // At half the size, first along the rows, then along the columns of that.
    const Size half{std::max(1, picture.size.width / 2), std::max(1, picture.size.height / 2)};
    const float across[4] = {1.5f / static_cast<float>(half.width), 0, 0, 0};
    const float down[4] = {0, 1.5f / static_cast<float>(half.height), 0, 0};
    add(half, kBlurProgram, across, &texture_);
    add(half, kBlurProgram, down, filters_.back()->texture());
  }
}

void TextureLayer::Draw() {
  GsTexture* const seen = filters_.empty() ? &texture_ : filters_.back()->texture();
  if (filters_.empty() || opaque_) {
    DrawWith(kTextureProgram, seen, nullptr);
  } else {
    DrawWith(kMaskedProgram, seen, &texture_);
  }
}

void PictureLayer::Advance(std::int64_t /*film_ns*/) {
  for (const auto& filter : filters_) {
    if (filter->drawn()) filter->Detach();  // Its target keeps the picture.
  }
}

VideoLayer::VideoLayer(const Layer& layer, Size size, const Picture& picture, std::unique_ptr<VideoPlayer> player,
                       const Stage& stage)
    : TextureLayer(layer, size, picture, stage), player_(std::move(player)) {}

void VideoLayer::Advance(std::int64_t film_ns) {
  const Picture* picture = player_->Take(film_ns);
  if (!picture) return;
  texture_.Update(picture->pixels.data(), static_cast<unsigned int>(picture->stride), GsTexture::kTextureRGBA,
                  static_cast<unsigned int>(picture->size.width), static_cast<unsigned int>(picture->size.height));
}

LayerSource::LayerSource(const Layer& layer, const Description& description) : layer_(layer) {
  if (layer_.kind == LayerKind::kColor) return;
  auto reader = std::make_unique<MediaReader>(layer_.file);
  size_ = DrawnSize(layer_, reader->size());
  reader->ShrinkTo(size_);
  if (layer_.kind == LayerKind::kPicture) {
    if (!reader->Next(&picture_)) throw Error("cannot decode " + layer_.file + ": unknown pixel layout");
    return;
  }
  const auto start_ns = static_cast<std::int64_t>(description.start_s * 1e9);
  player_ = std::make_unique<VideoPlayer>(std::move(reader), layer_.loop, description.offline, start_ns);
  if (const Picture* first = player_->Take(start_ns)) picture_ = *first;
  if (picture_.pixels.empty()) throw Error("cannot decode " + layer_.file + ": no picture in it");
}

scoped_refptr<LayerItem> LayerSource::MakeItem(const Stage& stage) {
  switch (layer_.kind) {
    case LayerKind::kColor: return MakeRef<RefCounted<ColorLayer>>(layer_, stage);
    case LayerKind::kPicture: return MakeRef<RefCounted<PictureLayer>>(layer_, size_, picture_, stage);
    case LayerKind::kVideo: break;
  }
  return MakeRef<RefCounted<VideoLayer>>(layer_, size_, picture_, std::move(player_), stage);
}

}  // namespace studio
