// The objects of the host of the engine's fuzz targets: their callbacks lead to it, and each kind is counted, so that a
// reference too many or too few shows.
#ifndef QUARN_TESTS_FUZZ_ENGINE_OBJECTS_H_
#define QUARN_TESTS_FUZZ_ENGINE_OBJECTS_H_

#include <atomic>
#include <cstddef>
#include <set>
#include <utility>

#include <quarn/quarn.h>

#include "tests/fuzz/fuzz_check.h"

namespace fuzz {

class FuzzItem;

class Callbacks {
 public:
  virtual ~Callbacks() = default;
  // In a Draw of what `target` is: a scene, a filter, a view or an item; in OnTexture too.
  virtual void InDraw(const void* target) = 0;
  virtual void InTick(FuzzItem* item) = 0;
};

// How many scenes and items there are.
inline int live_objects = 0;

class Counted {
 public:
  Counted() { ++live_objects; }
  ~Counted() { --live_objects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
};

class FuzzScene : public RefCounted<GsScene>, private Counted {
 public:
  FuzzScene(Callbacks* callbacks, unsigned int width, unsigned int height, GsDevice* device)
      : RefCounted(width, height, device), callbacks_(callbacks) {}
  void Draw() override {
    const scoped_refptr<FuzzScene> kept(this);  // What happens in the callback may let go of it.
    callbacks_->InDraw(this);
    GsScene::Draw();
  }

 private:
  Callbacks* const callbacks_;
};

class FuzzItem : public RefCounted<GsItem>, private Counted {
 public:
  FuzzItem(Callbacks* callbacks, GsDevice* device) : RefCounted(device), callbacks_(callbacks) {}
  ~FuzzItem() override { Detach(); }
  void TickSource() override { callbacks_->InTick(this); }
  void Draw() override { callbacks_->InDraw(this); }

 private:
  Callbacks* const callbacks_;
};

class FuzzPictureItem : public RefCounted<GsPictureItem>, private Counted {
 public:
  template <class... Args>
  explicit FuzzPictureItem(Args&&... args) : RefCounted(std::forward<Args>(args)...) {
    all().insert(this);
  }
  ~FuzzPictureItem() override { all().erase(this); }
  // One that shows itself, through scenes, keeps itself in being until it does no more.
  static std::set<FuzzPictureItem*>& all() {
    static std::set<FuzzPictureItem*> items;
    return items;
  }
};

class FuzzFilter : public GsFilter {
 public:
  FuzzFilter(Callbacks* callbacks, unsigned int width, unsigned int height, GsDevice* device)
      : GsFilter(width, height, device), callbacks_(callbacks) {}
  ~FuzzFilter() override { Detach(); }
  void Draw() override {
    FUZZ_CHECK(attached);
    callbacks_->InDraw(this);
  }
  bool attached = false;

 private:
  Callbacks* const callbacks_;
};

class FuzzView : public GsViewImpl {
 public:
  FuzzView(Callbacks* callbacks, const GsWindowInfo& info, unsigned int width, unsigned int height, GsDevice* device)
      : GsViewImpl(info, width, height, device), callbacks_(callbacks) {}
  ~FuzzView() override { Detach(); }
  void Draw() override {
    FUZZ_CHECK(attached);
    callbacks_->InDraw(this);
    DefaultDraw();
  }
  bool attached = false;
  using GsViewImpl::DrawEditingItem;

 private:
  Callbacks* const callbacks_;
};

// Reads every byte that it is given, and calls nothing.
class FuzzRawOutput : public GsOutputRaw {
 public:
  FuzzRawOutput(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device)
      : GsOutputRaw(scene, width, height, format, device) {}
  ~FuzzRawOutput() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    FUZZ_CHECK(started);
    unsigned int sum = 0;
    for (int plane = 0; plane < 4; ++plane) {
      if (!frame.data[plane]) continue;
      const bool chroma = plane > 0;
      const std::size_t rows = chroma ? frame.height / 2 : frame.height;
      for (std::size_t i = 0; i < rows * frame.linesize[plane]; ++i) sum += frame.data[plane][i];
    }
    sum_ = sum;
  }
  std::atomic<bool> started{false};

 private:
  std::atomic<unsigned int> sum_{0};
};

class FuzzTextureOutput : public GsOutputTex {
 public:
  FuzzTextureOutput(Callbacks* callbacks, GsScene* scene, unsigned int width, unsigned int height, GsDevice* device)
      : GsOutputTex(scene, width, height, device), callbacks_(callbacks) {}
  ~FuzzTextureOutput() override { Stop(); }
  void OnTexture(GsTexture* texture, unsigned long long) override {
    FUZZ_CHECK(started && texture);
    callbacks_->InDraw(this);
  }
  bool started = false;

 private:
  Callbacks* const callbacks_;
};

}  // namespace fuzz

#endif  // QUARN_TESTS_FUZZ_ENGINE_OBJECTS_H_
