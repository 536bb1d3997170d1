// What the cases are made of: a device whose frames they drive one by one, and the host's items, filters and receivers.
// Everything here is a host's code and knows the public headers only, so that it builds with every state of the
// library.
#ifndef QUARN_TESTS_PICTURES_STAGE_H_
#define QUARN_TESTS_PICTURES_STAGE_H_

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "tests/pictures/record.h"

namespace pictures {

// The same numbers in every run.
class Random {
 public:
  explicit Random(std::uint32_t seed) : state_(seed * 2654435761u + 1u) {}
  std::uint32_t Next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return state_;
  }
  // 0 to `end` - 1.
  int Below(int end) { return static_cast<int>(Next() % static_cast<std::uint32_t>(end)); }
  float Between(float low, float high) { return low + (high - low) * (static_cast<float>(Next() >> 8) / 16777216.0f); }

 private:
  std::uint32_t state_;
};

inline unsigned int Unsigned(int value) { return static_cast<unsigned int>(value); }
inline gs_vec2 Vec(int x, int y) { return gs_vec2(static_cast<float>(x), static_cast<float>(y)); }
inline gs_vec2 Vec(unsigned int x, unsigned int y) { return gs_vec2(static_cast<float>(x), static_cast<float>(y)); }

// Pixels of noise, in which no two places are alike: a picture that is moved, mixed or rounded otherwise shows it.
enum class Alpha { kOpaque, kMixed, kNone, kSteps };
std::vector<unsigned char> Noise(int width, int height, int channels, std::uint32_t seed, Alpha alpha = Alpha::kOpaque);

// A program that multiplies its texture by u_buf0, and one that adds up four textures by the four values of u_buf0.
extern const char kTint[];
extern const char kTintSource[];
extern const char kFour[];
extern const char kFourSource[];

class Stage;

class Scene : public GsScene {
 public:
  Scene(Stage* stage, unsigned int width, unsigned int height, std::string name);
  void Draw() override;
  // In place of the items' drawing; it may call DrawItems.
  std::function<void(Scene*)> draw;
  void DrawItems() { GsScene::Draw(); }

 private:
  Stage* const stage_;
  const std::string name_;
};

// Binds a block of constants to a slot while a rectangle is drawn.
struct Constants {
  int slot;
  GsConstantBuffer* buffer;
};

// Draws textures with a program where it lies, or whatever `draw` does.
class Item : public GsItem {
 public:
  Item(Stage* stage, const gs_vec2& size, std::string name);
  void TickSource() override;
  void Draw() override;
  // What Draw does by default.
  void DrawPicture();
  // The same into another place, with a program of the caller's bound already.
  void DrawPictureAt(const gs_transform& transform, const gs_vec2& target);

  GsTexture* textures[4] = {};
  std::string program = "rgba";
  std::vector<Constants> constants;
  bool quiet = false;  // Leaves no lines.
  std::function<void(Item*)> tick;
  std::function<void(Item*)> draw;

 private:
  Stage* const stage_;
  const std::string name_;
};

class Filter : public GsFilter {
 public:
  Filter(Stage* stage, unsigned int width, unsigned int height, std::string name);
  ~Filter() override;
  void Draw() override;
  std::function<void(Filter*)> draw;

 private:
  Stage* const stage_;
  const std::string name_;
};

// Keeps what it receives until the stage has written it down.
class Output : public GsOutputRaw {
 public:
  Output(Stage* stage, GsScene* scene, int width, int height, GsFormat format, std::string name);
  ~Output() override;
  bool Start() override;
  void Stop() override;
  void OnFrame(const GsFrame& frame) override;

  // Writes down the next `count` pictures, for which it waits.
  void Collect(unsigned int count);
  // Writes down what has come unasked.
  void Rest();
  // Writes down what the library has counted, once it has counted all that has come.
  void WriteCounts();
  bool started() const { return started_; }
  // While it is shut, OnFrame does not return.
  void SetGate(bool open);

  bool silent = false;  // Nothing is expected of it.

 private:
  struct Picture {
    std::uint64_t timestamp;
    std::uint32_t width;
    std::uint32_t height;
    std::vector<unsigned char> planes[4];
    std::uint32_t linesize[4];
    std::size_t rows[4];
  };
  void Write(const Picture& picture);

  Stage* const stage_;
  const GsFormat format_;
  const std::string name_;
  bool started_ = false;
  int written_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Picture> pictures_;
  unsigned int received_ = 0;
  bool open_ = true;
};

class TextureOutput : public GsOutputTex {
 public:
  TextureOutput(Stage* stage, GsScene* scene, int width, int height, std::string name);
  ~TextureOutput() override;
  void OnTexture(GsTexture* texture, unsigned long long timestamp) override;
  std::function<void(GsTexture*)> on_texture;

 private:
  Stage* const stage_;
  const std::string name_;
};

// A device and what a case has put on it. What it has made goes with it.
class Stage {
 public:
  // `is_default`: whether its device is the default one.
  Stage(Record* record, bool is_default);
  ~Stage();
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  GsDevice* device() const { return device_; }
  Record* record() const { return record_; }

  Scene* MakeScene(int width, int height);
  // An item of the scene; null puts it in none.
  Item* MakeItem(GsScene* scene, const gs_vec2& size, const gs_vec2& pos = gs_vec2(), GsTexture* texture = nullptr);
  Filter* MakeFilter(int width, int height);
  // A started output.
  Output* MakeOutput(GsScene* scene, int width, int height, GsFormat format);
  TextureOutput* MakeTextureOutput(GsScene* scene, int width, int height);
  GsTexture* MakeTexture(int width, int height, std::uint32_t seed, Alpha alpha = Alpha::kOpaque);
  GsTexture* MakeColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a);
  GsConstantBuffer* MakeConstants(const void* data, unsigned int size);
  GsConstantBuffer* MakeConstants(const std::vector<float>& values);
  // Adds a program under the vertex source of the built-in ones.
  void AddProgram(const char* name, const char* fragment_source);
  // What makes BGRA outputs show something.
  void AddBgraProgram();
  // Takes over what the case has made, to be destroyed behind the items.
  template <class T>
  T* Keep(std::unique_ptr<T> object) {
    T* const result = object.get();
    kept_.push_back(std::shared_ptr<void>(std::move(object)));
    return result;
  }
  // Destroys something made here before the end.
  void Remove(Output* output);
  void Remove(Item* item);

  // A frame, and what every started output has made of it.
  void Frame(unsigned int count = 1);
  void Frames(int frames);
  // A frame whose deliveries nobody waits for.
  void Drive(unsigned int count = 1);

 private:
  friend class Output;

  Record* const record_;
  const bool is_default_;
  std::unique_ptr<GsDevice> own_device_;
  GsDevice* device_ = nullptr;
  std::uint64_t timestamp_ = 0;
  int names_ = 0;
  std::vector<std::shared_ptr<void>> kept_;
  std::vector<scoped_refptr<Scene>> scenes_;
  std::vector<scoped_refptr<Item>> items_;
  std::vector<std::unique_ptr<Filter>> filters_;
  std::vector<std::unique_ptr<Output>> outputs_;
  std::vector<std::unique_ptr<TextureOutput>> texture_outputs_;
};

// Where the corner of an item lies that fills whole pixels of the target: its centre, from that of the target.
gs_vec2 CentreOf(GsScene* scene, const gs_vec2& size, int left, int top);

struct Case {
  std::string name;
  std::function<void(Stage*)> run;
  bool default_device = false;
};

std::vector<Case> SizeCases();
std::vector<Case> ItemCases();
std::vector<Case> DrawingCases();
std::vector<Case> TextureCases();
std::vector<Case> FilterCases();
std::vector<Case> ConstantCases();
std::vector<Case> SceneCases();
std::vector<Case> OutputCases();
std::vector<Case> ViewCases();
std::vector<Case> StateCases();

}  // namespace pictures

#endif  // QUARN_TESTS_PICTURES_STAGE_H_
