#include "studio/film_picture.h"

#include <array>

#include <quarn/gs_constant_buffer.h>
#include <quarn/gs_context.h>
#include <quarn/gs_picture_item.h>
#include <quarn/gs_texture.h>

#include "studio/blending.h"
#include "studio/device.h"
#include "studio/error.h"
#include "studio/placement.h"
#include "studio/programs.h"

namespace studio {
namespace {

gs_vec2 ToVec2(Size size) { return gs_vec2(static_cast<float>(size.width), static_cast<float>(size.height)); }

// Shows a scene with the program of films. The class it is derived from keeps that scene in use, and has it drawn
// first.
class ShownScene : public GsPictureItem {
 public:
  ShownScene(GsScene* scene, Size size, Vec pos, bool transparent, GsDevice* device, StageTimes* times)
      : GsPictureItem(device),
        device_(device),
        transparent_(transparent),
        times_(times),
        constants_(Constants(size, transparent).data(), sizeof(float) * 4, device) {
    Resize(ToVec2(size));
    MoveTo(gs_vec2(pos.x, pos.y));
    ShowScene(scene);
  }

  void Draw() override {
    const StageTimer timer(&times_->scene);
    GsContext context(device_);
    if (transparent_) ClearToTransparent();
    if (!context.BindShader(kFilmProgram)) return;
    constants_.Bind(0);
    {
      const Unblended unblended;
      const GsTextureBinder binder(shown_scene()->texture());
      context.DrawRect(gs_transform(pos(), size()));
    }
    constants_.Unbind();
    context.UnbindShader();
  }

 private:
  static std::array<float, 4> Constants(Size size, bool transparent) {
    return {static_cast<float>(size.width), static_cast<float>(size.height), transparent ? 1.0f : 0.0f, 0};
  }

  GsDevice* const device_;
  const bool transparent_;
  StageTimes* const times_;
  GsConstantBuffer constants_;
};

scoped_refptr<GsScene> SecondScene(GsScene* scene, const Description& description, GsDevice* device,
                                   StageTimes* times) {
  const Size film = description.OutputSize();
  const Size fitted = FittedSize(description.canvas, film);
  const bool smaller = fitted.width < description.canvas.width || fitted.height < description.canvas.height;
  if (!smaller && !description.transparent) return nullptr;
  auto second =
      MakeRefCounted<GsScene>(static_cast<unsigned int>(film.width), static_cast<unsigned int>(film.height), device);
  if (!second->valid()) throw Error(kNoGraphics);
  // On whole pixels: between bars that differ by one where there is an odd number of them.
  const auto centre = [](int whole, int part) { return static_cast<float>((whole - part) % 2) * -0.5f; };
  const Vec pos{centre(film.width, fitted.width), centre(film.height, fitted.height)};
  second->AddItem(MakeRefCounted<ShownScene>(scene, fitted, pos, description.transparent, device, times));
  return second;
}

}  // namespace

FilmPicture::FilmPicture(GsScene* scene, const Description& description, GsDevice* device, StageTimes* times)
    : second_(SecondScene(scene, description, device, times)), shown_(second_ ? second_.get() : scene) {}

}  // namespace studio
