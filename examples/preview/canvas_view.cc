#include "preview/canvas_view.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include <quarn/glsl_src.h>
#include <quarn/qn_mutex.h>

#include "studio/placement.h"
#include "studio/programs.h"

namespace preview {
namespace {

using studio::Size;
using studio::Vec;

constexpr float kRadiansPerDegree = 3.14159265358979f / 180.0f;
constexpr float kLinePx = 2, kHandlePx = 8, kHandleRimPx = 2, kGripPx = 8;

constexpr float kInks[][4] = {
    {0.28f, 0.30f, 0.34f, 1},     // The canvas' edge.
    {0.35f, 0.70f, 1.00f, 1},     // A layer under the pointer.
    {1.00f, 0.55f, 0.10f, 1},     // A selected one.
    {1.00f, 1.00f, 1.00f, 1},     // The inside of a handle.
    {0.20f, 0.90f, 0.50f, 1},     // Guides.
    {0.35f, 0.70f, 1.00f, 0.2f},  // What the rubber band covers.
    {0.35f, 0.70f, 1.00f, 1},     // Its edge.
};

// The scene's alpha is what blending has left; its picture is whole. A hint is shown as it is.
constexpr char kPictureProgram[] = "preview_picture";
constexpr char kPicture[] = R"(
in vec2 v_tex_coord;
out vec4 FragColor;
uniform sampler2D u_tex0;
void main() { FragColor = vec4(texture(u_tex0, v_tex_coord).rgb, 1.0); }
)";

gs_vec2 ToVec2(float x, float y) { return gs_vec2(x, y); }

float Length(int pixels, float scale) { return std::max(1.0f, std::round(static_cast<float>(pixels) * scale)); }

}  // namespace

CanvasView::CanvasView(const GsWindowInfo& window, Size size, GsDevice* device)
    : GsView(window, static_cast<unsigned int>(size.width), static_cast<unsigned int>(size.height), device),
      device_(device) {
  static_assert(std::size(kInks) == kInkCount);
  device->AddShader(kPictureProgram, glsl_src[kGsGlslRgba + 1], kPicture);
  for (int i = 0; i < kInkCount; ++i) {
    inks_[i] = std::make_unique<GsConstantBuffer>(kInks[i], static_cast<unsigned int>(sizeof(kInks[i])), device);
  }
  SetBackgroundColor(0.12f, 0.13f, 0.15f, 1);
}

CanvasView::~CanvasView() { Detach(); }

void CanvasView::SetHint(const std::uint8_t* pixels, Size size) {
  hint_ = std::make_unique<GsTexture>(pixels, static_cast<unsigned int>(size.width * 4), GsTexture::kTextureRGBA,
                                      static_cast<unsigned int>(size.width), static_cast<unsigned int>(size.height),
                                      device_);
}

void CanvasView::Show(CanvasSight sight, const studio::FilmClock* clock) {
  auto shown = std::make_shared<const CanvasSight>(std::move(sight));
  const std::lock_guard<std::mutex> lock(mutex_sight_);
  sight_.swap(shown);
  clock_ = clock;
}

void CanvasView::Draw() {
  const QNMutexLocker scene_lock(mutex_);
  std::shared_ptr<const CanvasSight> sight;
  double seconds = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_sight_);
    sight = sight_;
    if (clock_) seconds = static_cast<double>(clock_->now_ns()) * 1e-9;
  }
  if (!sight || !scene()) return;
  DrawCanvas(*sight, scene()->texture());
  // A layer that is only hovered, then the selected ones, whose handles lie over all.
  for (const CanvasFrame& frame : sight->frames) DrawFrame(*sight, frame, seconds);
  const gs_vec2 target = GsContext(device_).target_size();
  const float line = kLinePx * sight->ratio;
  if (sight->guide_x) {
    Fill(kGuide, {sight->centre.x + *sight->guide_x * sight->scale, target.y / 2}, line, target.y);
  }
  if (sight->guide_y) {
    Fill(kGuide, {target.x / 2, sight->centre.y + *sight->guide_y * sight->scale}, target.x, line);
  }
  if (sight->rubber_band) DrawBand(*sight, *sight->rubber_band);
}

// Whole pixels lie on whole pixels: at its own size the picture is shown as it is.
void CanvasView::DrawCanvas(const CanvasSight& sight, GsTexture* picture) {
  const float width = Length(sight.canvas.width, sight.scale), height = Length(sight.canvas.height, sight.scale);
  const Vec middle{std::round(sight.centre.x - width / 2) + width / 2,
                   std::round(sight.centre.y - height / 2) + height / 2};
  Fill(kCanvasEdge, middle, width + 2 * sight.ratio, height + 2 * sight.ratio);
  if (picture) DrawTexture(kPictureProgram, picture, ToVec2(middle.x, middle.y), ToVec2(width, height));
  if (!sight.hint || !hint_) return;
  const float hint_width = static_cast<float>(hint_->width()), hint_height = static_cast<float>(hint_->height());
  const Vec corner{std::round(middle.x - hint_width / 2), std::round(middle.y - hint_height / 2)};
  DrawTexture("rgba", hint_.get(), ToVec2(corner.x + hint_width / 2, corner.y + hint_height / 2),
              ToVec2(hint_width, hint_height));
}

void CanvasView::DrawFrame(const CanvasSight& sight, const CanvasFrame& frame, double seconds) {
  const Shape shape{PosAt(frame.layer, seconds), frame.size, RotationAt(frame.layer, seconds)};
  const float rotation = shape.rotation_deg * kRadiansPerDegree;
  const float line = kLinePx * sight.ratio;
  const Ink ink = frame.selected ? kSelected : kHover;
  const auto to_view = [&sight](Vec point) {
    return Vec{sight.centre.x + point.x * sight.scale, sight.centre.y + point.y * sight.scale};
  };
  const float width = static_cast<float>(shape.size.width) * sight.scale + line;
  const float height = static_cast<float>(shape.size.height) * sight.scale + line;
  for (const int side : {-1, 1}) {
    Fill(ink, to_view(HandlePoint(shape, {side, 0})), line, height, rotation);
    Fill(ink, to_view(HandlePoint(shape, {0, side})), width, line, rotation);
  }
  if (!frame.handles) return;
  if (sight.rotation_grip) {
    const Vec from = to_view(HandlePoint(shape, {0, -1})), to = to_view(*sight.rotation_grip);
    const Vec way{to.x - from.x, to.y - from.y};
    Fill(ink, {from.x + way.x / 2, from.y + way.y / 2}, sight.ratio, std::hypot(way.x, way.y), rotation);
    const float grip = kGripPx * sight.ratio, rim = kHandleRimPx * sight.ratio;
    const float diamond = rotation + 45 * kRadiansPerDegree;
    Fill(ink, to, grip + rim / 2, grip + rim / 2, diamond);
    Fill(kHandle, to, grip - rim, grip - rim, diamond);
  }
  const float outer = kHandlePx * sight.ratio, inner = outer - 2 * kHandleRimPx * sight.ratio;
  for (int i = 0; i < 9; ++i) {
    if (i == 4) continue;
    const Vec point = to_view(HandlePoint(shape, {i % 3 - 1, i / 3 - 1}));
    Fill(ink, point, outer, outer, rotation);
    Fill(kHandle, point, inner, inner, rotation);
  }
}

void CanvasView::DrawBand(const CanvasSight& sight, const Box& band) {
  const auto to_view = [&sight](Vec point) {
    return Vec{sight.centre.x + point.x * sight.scale, sight.centre.y + point.y * sight.scale};
  };
  const Vec min = to_view(band.min), max = to_view(band.max), middle = to_view(band.Center());
  const float width = max.x - min.x, height = max.y - min.y, line = sight.ratio;
  Fill(kBand, middle, width, height);
  for (const float x : {min.x, max.x}) Fill(kBandEdge, {x, middle.y}, line, height + line);
  for (const float y : {min.y, max.y}) Fill(kBandEdge, {middle.x, y}, width + line, line);
}

void CanvasView::DrawTexture(const char* program, GsTexture* texture, gs_vec2 middle, gs_vec2 size) {
  GsContext context(device_);
  if (!context.BindShader(program)) return;
  const gs_vec2 target = context.target_size();
  {
    const GsTextureBinder binder(texture);
    context.DrawRect(gs_transform(middle + target * -0.5f, size));
  }
  context.UnbindShader();
}

void CanvasView::Fill(Ink ink, Vec middle, float width, float height, float rotation) {
  GsContext context(device_);
  if (!context.BindShader(rotation != 0 ? studio::kColorProgram.turned : studio::kColorProgram.straight)) return;
  inks_[ink]->Bind(0);
  const gs_vec2 target = context.target_size();
  context.DrawRect(gs_transform(ToVec2(middle.x, middle.y) + target * -0.5f, ToVec2(width, height), rotation));
  inks_[ink]->Unbind();
  context.UnbindShader();
}

}  // namespace preview
