// What a stress test derives from the public classes so that they tell of what must not happen: a reference that is
// taken on an object that is gone, a callback after the call that ended the callbacks, a count that does not add up.
// Everything here sees the public interface only.
#ifndef QUARN_TESTS_STRESS_THREAD_CHECKS_H_
#define QUARN_TESTS_STRESS_THREAD_CHECKS_H_

#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <utility>

#include <quarn/quarn.h>

namespace stress {

using Random = std::mt19937;

inline unsigned int Below(Random& random, unsigned int end) { return static_cast<unsigned int>(random()) % end; }

// What was found to be wrong, in words; the first few of it. Any thread.
class Findings {
 public:
  void Add(const std::string& text);
  bool any() const { return count_ > 0; }
  void Clear() { count_ = 0; }

 private:
  std::atomic<int> count_{0};
};

extern Findings findings;

// How many objects of the counted kinds there are.
extern std::atomic<int> live_objects;

// A count over a class that leaves it to its host, as RefCounted is, which knows what a count may be.
template <class Base>
class Counted : public Base {
 public:
  template <class... Args>
  explicit Counted(Args&&... args) : Base(std::forward<Args>(args)...) {
    ++live_objects;
  }
  void AddRef() override {
    if (count_.fetch_add(1) < 1) findings.Add("a reference was taken on an object that had none");
  }
  void Release() override {
    const int before = count_.fetch_sub(1);
    if (before < 1) findings.Add("a reference was dropped that nobody had");
    if (before == 1) delete this;
  }
  int count() const { return count_; }

 protected:
  ~Counted() override { --live_objects; }

 private:
  std::atomic<int> count_{1};
};

// Whether callbacks may come. Whoever owns the object opens the gate before the call that begins them and shuts it
// after the call that ends them.
class Gate {
 public:
  explicit Gate(bool open = true) : open_(open) {}
  void Open() { open_ = true; }
  void Shut() { open_ = false; }
  bool IsOpen() const { return open_; }

 private:
  std::atomic<bool> open_;
};

// Lives as long as a callback, which must neither begin nor still run once its gate is shut.
class Passage {
 public:
  Passage(const Gate& gate, const char* what) : gate_(gate), what_(what) { Look("began"); }
  ~Passage() { Look("still ran"); }
  Passage(const Passage&) = delete;
  Passage& operator=(const Passage&) = delete;

 private:
  void Look(const char* how) const {
    if (!gate_.IsOpen()) findings.Add(std::string(what_) + " " + how + " after the call that ends it had returned");
  }

  const Gate& gate_;
  const char* what_;
};

// Draws one texture, which lives longer than the item. Its gate is open unless its owner shuts it.
class ItemBase : public GsItem {
 public:
  ItemBase(GsDevice* device, GsTexture* texture) : GsItem(gs_vec2(8, 8), device), device_(device), texture_(texture) {}
  void TickSource() override { const Passage passage(gate, "GsItem::TickSource"); }
  void Draw() override;

  Gate gate;

 private:
  GsDevice* device_;
  GsTexture* texture_;
};
using Item = Counted<ItemBase>;

class SceneBase : public GsScene {
 public:
  SceneBase(unsigned int width, unsigned int height, GsDevice* device) : GsScene(width, height, device) {}
  void Draw() override {
    const Passage passage(gate, "GsScene::Draw");
    GsScene::Draw();
  }

  Gate gate;
};
using Scene = Counted<SceneBase>;

using PictureItem = Counted<GsPictureItem>;

class Filter : public GsFilter {
 public:
  Filter(GsDevice* device, GsTexture* texture) : GsFilter(8, 8, device), device_(device), texture_(texture) {}
  ~Filter() override { Detach(); }
  void Draw() override;

  Gate gate;

 private:
  GsDevice* device_;
  GsTexture* texture_;
};

class View : public GsViewImpl {
 public:
  explicit View(GsDevice* device) : GsViewImpl(GsWindowInfo(), 24, 16, device) {}
  ~View() override {
    Detach();
    gate.Shut();
  }
  void Draw() override {
    const Passage passage(gate, "GsView::Draw");
    GsViewImpl::Draw();
  }

  Gate gate{false};
};

// What an output receives: counted, and looked at.
struct Received {
  unsigned long long calls = 0;
  unsigned long long repeats = 0;
  const void* planes = nullptr;  // Of the latest call.
  unsigned int starts = 0;       // Up to it.
};

class RawOutput : public GsOutputRaw {
 public:
  RawOutput(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device)
      : GsOutputRaw(scene, width, height, format, device), width_(width), height_(height) {}
  void OnFrame(const GsFrame& frame) override;
  // After Stop: whether what came is what the library says to have delivered.
  void Check() const;
  // Starts from outside, also what is started already.
  void Begin();
  // Stops and starts, from its own OnFrame.
  void BeginAnew();
  // Stops from outside.
  void End();

  Gate gate{false};
  // Called with the number of calls before it.
  std::function<void(unsigned long long)> on_frame;

 private:
  unsigned int width_;
  unsigned int height_;
  std::atomic<unsigned int> starts_{0};  // From outside, counted at the beginning and at the end of each.
  bool anew_ = false;
  Received received_;
};

class TextureOutput : public GsOutputTex {
 public:
  TextureOutput(GsScene* scene, GsDevice* device) : GsOutputTex(scene, 8, 8, device), scene_(scene) {}
  void OnTexture(GsTexture* texture, unsigned long long timestamp) override;
  void Check() const;
  void Begin();
  void End();

  Gate gate{false};
  std::function<void(unsigned long long)> on_texture;

 private:
  GsScene* scene_;
  Received received_;
};

// Has every error and warning of the library found to be wrong, but for the few that a round is to bring about.
void WatchLog();

}  // namespace stress

#endif  // QUARN_TESTS_STRESS_THREAD_CHECKS_H_
