// Pictures: items and textures of every kind, filters, outputs of every format, images of others'.
#include <sys/mman.h>
#include <unistd.h>

#include "tests/faults/hosts.h"

namespace faults {
namespace {

constexpr unsigned int kSide = 32;
constexpr float kSideF = 32;

constexpr char kTintSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "uniform u_buf0 { vec4 tint; };\n"
    "void main() { FragColor = texture(u_tex0, v_tex_coord) * tint; }\n";

// A scene, and an output of it.
class SceneHost : public DrivenHost {
 public:
  explicit SceneHost(GsFormat format = kGsFormatRGBA) : format_(format) {}
  ~SceneHost() override { Clear(); }
  void MakeObjects() override {
    Clear();
    scene_ = MakeScene(kSide, kSide, device());
    Fill();
    if (format_ == kGsFormatNone) return;
    if (format_ == kGsFormatBGRA)
      device()->AddShader("to_rgba", glsl_src[kGsGlslToBgra + 1], glsl_src[kGsGlslToBgra + 2]);
    receiver_ = std::make_unique<Receiver>(scene_, kSide, kSide, format_, device());
    receiver_->Start();
  }
  Digest Work() override {
    Frames();
    return receiver_->Take();
  }

 protected:
  GsScene* scene() const { return scene_; }
  // Puts what it shows into the scene: by default a picture.
  virtual void Fill() { AddPicture(kSideF); }
  // Takes out of the scene what is not its own.
  virtual void Empty() {}
  scoped_refptr<GsPictureItem> AddPicture(float side) {
    const std::vector<unsigned char> pixels = Pixels(8, 8, 4);
    auto item = MakeItem<GsPictureItem>(pixels.data(), 32u, 8u, 8u, device());
    item->Resize(gs_vec2(side, side));
    scene_->AddItem(item);
    return item;
  }

 private:
  void Clear() {
    receiver_.reset();
    Empty();
    scene_ = nullptr;
  }

  const GsFormat format_;
  SceneRef scene_;
  std::unique_ptr<Receiver> receiver_;
};

// Every kind of item, and every kind of texture that can be made.
class AllItems : public SceneHost {
 public:
  ~AllItems() override { Empty(); }

 protected:
  void Fill() override {
    device()->AddShader("tint", glsl_src[kGsGlslRgba + 1], kTintSource);
    const auto turned = AddPicture(20);
    turned->SetRotation(30);
    turned->SetOpacity(0.5f);
    turned->SetFlip(true, false);
    turned->SetCrop(gs_vec2(1, 1), gs_vec2(6, 6));
    Add(MakeItem<GsPictureItem>(gs_vec2(6, 6), gs_vec3(0.2f, 0.9f, 0.4f), device()), 12, 12);

    shown_ = MakeScene(8, 8, device());
    shown_->AddItem(MakeItem<GsPictureItem>(gs_vec2(8, 8), gs_vec3(0.9f, 0.1f, 0.3f), device()));
    const auto of_scene = MakeItem<GsPictureItem>(device());
    of_scene->ShowScene(shown_);
    Add(of_scene, -12, 12);
    itself_ = MakeItem<GsPictureItem>(device());
    itself_->ShowScene(scene());
    itself_->SetVisible(false);
    Add(itself_, 0, 0);

    const GsVideoTexture::Layout layouts[] = {GsVideoTexture::kLayoutI420, GsVideoTexture::kLayoutNV12,
                                              GsVideoTexture::kLayoutP010};
    float x = -12;
    for (const auto layout : layouts) {
      const auto video = std::make_shared<GsVideoTexture>(8u, 8u, layout, device());
      const std::vector<unsigned char> plane = Pixels(16, 8, 1);
      const unsigned char* const planes[] = {plane.data(), plane.data(), plane.data()};
      const unsigned int strides[] = {16, 16, 16};
      video->SetColor(GsVideoTexture::kMatrixBT709, GsVideoTexture::kRangeLimited, GsVideoTexture::kChromaLeft);
      video->Update(planes, strides);
      const auto item = MakeItem<GsPictureItem>(device());
      item->SetTexture(video);
      Add(item, x, -12);
      x += 10;
    }

    const std::vector<unsigned char> pixels = Pixels(8, 8, 4);
    texture_ = std::make_unique<GsTexture>(pixels.data(), 32, GsTexture::kTextureRGBA, 8, 8, device());
    const float tint[4] = {1.0f, 0.5f, 0.25f, 1.0f};
    constants_ = std::make_unique<GsConstantBuffer>(tint, sizeof(tint), device());
    Add(MakeItem<Item>(gs_vec2(10, 10), device(),
                       [this](Item* item) { item->DrawTexture(device(), "tint", texture_.get(), constants_.get()); }),
        0, 2);
    scene()->OrderItem();
  }
  void Empty() override {
    if (itself_) itself_->ShowScene(nullptr);
    itself_ = nullptr;
    shown_ = nullptr;
    texture_.reset();
    constants_.reset();
  }
  Digest Work() override {
    const std::vector<unsigned char> pixels = Pixels(8, 8, 4);
    texture_->Update(pixels.data(), 32, GsTexture::kTextureRGBA, 8, 8);
    const float tint[4] = {1.0f, 0.5f, 0.25f, 1.0f};
    constants_->Update(tint, sizeof(tint));
    return SceneHost::Work();
  }

 private:
  void Add(GsItem* item, float x, float y) {
    item->MoveTo(gs_vec2(x, y));
    scene()->AddItem(item);
  }

  SceneRef shown_;
  scoped_refptr<GsPictureItem> itself_;
  std::unique_ptr<GsTexture> texture_;
  std::unique_ptr<GsConstantBuffer> constants_;
};

// A filter whose picture the scene shows.
class Filters : public SceneHost {
 public:
  ~Filters() override { Empty(); }

 protected:
  class Filter : public GsFilter {
   public:
    Filter(GsDevice* device, GsTexture* texture) : GsFilter(8, 8, device), device_(device), texture_(texture) {}
    ~Filter() override { Detach(); }
    void Draw() override {
      GsContext context(device_);
      if (!context.BindShader("rgba")) return;
      {
        const GsTextureBinder binder(texture_);
        context.DrawRect(gs_transform(gs_vec2(), gs_vec2(12, 12)));
      }
      context.UnbindShader();
    }

   private:
    GsDevice* const device_;
    GsTexture* const texture_;
  };

  void Fill() override {
    const std::vector<unsigned char> pixels = Pixels(8, 8, 4);
    texture_ = std::make_unique<GsTexture>(pixels.data(), 32, GsTexture::kTextureRGBA, 8, 8, device());
    filter_ = std::make_unique<Filter>(device(), texture_.get());
    filter_->Resize(16, 16);
    filter_->Attach();
    scene()->AddItem(MakeItem<Item>(gs_vec2(20, 20), device(),
                                    [this](Item* item) { item->DrawTexture(device(), "rgba", filter_->texture()); }));
  }
  void Empty() override {
    filter_.reset();
    texture_.reset();
  }
  Digest Work() override {
    filter_->Resize(24, 12);
    Frames();
    filter_->Resize(16, 16);
    return SceneHost::Work();
  }

 private:
  std::unique_ptr<GsTexture> texture_;
  std::unique_ptr<Filter> filter_;
};

// An output of another size beside the first, as of a host whose user asks for it, and a picture that changes its own.
class Resized : public SceneHost {
 public:
  Resized() : SceneHost(kGsFormatI420) {}
  ~Resized() override { Empty(); }
  Digest Work() override {
    const std::vector<unsigned char> pixels = Pixels(12, 4, 4);
    picture_->Update(pixels.data(), 48, 12, 4);
    const Digest before = SceneHost::Work();
    Digest smaller = kNothing;
    {
      Receiver receiver(scene(), kSide / 2, kSide / 4, kGsFormatI420, device());
      receiver.Start();
      Frames();
      smaller = receiver.Take();
    }
    picture_->Update(pixels.data(), 24, 6, 4);
    const Digest after = SceneHost::Work();
    if (before == kNothing || smaller == kNothing || after == kNothing) return kNothing;
    return DigestOf(&before, sizeof(before), DigestOf(&smaller, sizeof(smaller), after));
  }

 protected:
  void Fill() override { picture_ = AddPicture(kSideF); }
  void Empty() override { picture_ = nullptr; }

 private:
  scoped_refptr<GsPictureItem> picture_;
};

// Images of others', in memory and in files, of both layouts.
class ExternalImages : public SceneHost {
 public:
  ExternalImages() : pixels_(Pixels(8, 64, 4)), file_(memfd_create("faults", MFD_CLOEXEC)) {
    if (write(file_, pixels_.data(), pixels_.size()) < 0) file_ = -1;
    images_.emplace_back(8u, 8u, QnExternalImage::kPixelFormatBGRA, 32u, pixels_.data());
    images_.emplace_back(8u, 8u, QnExternalImage::kPixelFormatL10R, 32u, pixels_.data());
    images_.emplace_back(8u, 8u, QnExternalImage::kPixelFormatBGRA, 32u, file_, std::size_t{256});
    images_.emplace_back(8u, 8u, QnExternalImage::kPixelFormatL10R, 32u, file_, std::size_t{512});
  }
  ~ExternalImages() override {
    Empty();
    close(file_);
  }

 protected:
  void Fill() override {
    float place = -12;
    for (QnExternalImage& image : images_) {
      textures_.push_back(std::make_unique<GsTexture>(&image, device()));
      GsTexture* const texture = textures_.back().get();
      const auto item = MakeItem<Item>(gs_vec2(8, 8), device(),
                                       [this, texture](Item* self) { self->DrawTexture(device(), "rgba", texture); });
      item->MoveTo(gs_vec2(place, place));
      scene()->AddItem(item);
      place += 8;
    }
  }
  void Empty() override { textures_.clear(); }
  Digest Work() override {
    for (std::size_t i = 0; i < textures_.size(); ++i) textures_[i]->Update(&images_[i]);
    return SceneHost::Work();
  }

 private:
  const std::vector<unsigned char> pixels_;
  int file_;
  std::vector<QnExternalImage> images_;
  std::vector<std::unique_ptr<GsTexture>> textures_;
};

// The scene's own texture.
class Textures : public SceneHost {
 public:
  Textures() : SceneHost(kGsFormatNone) {}
  ~Textures() override { Empty(); }
  Digest Work() override {
    output_->received = 0;
    Frames();
    return output_->received == 2 ? DigestOf("two", 3) : kNothing;
  }

 protected:
  class Output : public GsOutputTex {
   public:
    using GsOutputTex::GsOutputTex;
    ~Output() override { Stop(); }
    void OnTexture(GsTexture* texture, unsigned long long /*timestamp*/) override {
      received += texture->width() == kSide;
    }
    int received = 0;
  };

  void Fill() override {
    SceneHost::Fill();
    output_ = std::make_unique<Output>(scene(), kSide, kSide, device());
    output_->Start();
  }
  void Empty() override { output_.reset(); }

 private:
  std::unique_ptr<Output> output_;
};

}  // namespace

std::vector<Scenario> PictureScenarios() {
  return {
      MakeScenario<AllItems>("picture", "items"),
      MakeScenario<Filters>("picture", "filter"),
      MakeScenario<ExternalImages>("picture", "external"),
      MakeScenario<SceneHost>("picture", "rgba", kGsFormatRGBA),
      MakeScenario<SceneHost>("picture", "bgra", kGsFormatBGRA),
      MakeScenario<SceneHost>("picture", "i420", kGsFormatI420),
      MakeScenario<SceneHost>("picture", "nv12", kGsFormatNV12),
      MakeScenario<Textures>("picture", "texture"),
      MakeScenario<Resized>("picture", "resized"),
  };
}

}  // namespace faults
