// What the tests of the public interface have in common: a log to look into, a device driven by hand, and the small
// items and receivers of a typical host. Nothing here knows more of the library than its public headers.
#ifndef QUARN_TESTS_PUBLIC_HOST_H_
#define QUARN_TESTS_PUBLIC_HOST_H_

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <quarn/quarn.h>

#include "tests/support/image_compare.h"

namespace host {

// How long a test waits for another thread before it gives up: far beyond what a slow machine needs.
constexpr int kPatienceMs = 60000;

// Everything that the library logs, formatted. Any thread.
namespace log {
void Install();  // Begins the keeping: to be called once, before the library is used.
void Clear();
// How often exactly this message came.
int Count(int level, const std::string& text);
// Waits until exactly this message has come. Returns false when the patience ran out.
bool WaitFor(int level, const std::string& text);
// How many messages hold `part`.
int CountContaining(int level, const std::string& part);
// All messages of warning and error level but "device create success", one a line.
std::string Complaints();
}  // namespace log

// A condition that threads wait for: unlike a plain event it stays, and the wait ends some time.
class Flag {
 public:
  void Set();
  bool IsSet() const;
  // Returns false when the patience ran out.
  bool Wait(int ms = kPatienceMs) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool set_ = false;
};

// Counts up; threads wait for it to reach a value.
class Counter {
 public:
  int Add();
  int value() const;
  bool WaitFor(int value) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  int value_ = 0;
};

// Copies of one delivery.
struct Delivery {
  std::uint64_t timestamp = 0;
  std::uint32_t format = 0;
  std::thread::id thread;
  std::vector<test::Picture> planes;
};

// Copies the planes of a frame in the layout that the output was asked for.
std::vector<test::Picture> CopyPlanes(const GsFrame& frame, GsFormat format);

// Keeps what it receives.
class Receiver : public GsOutputRaw {
 public:
  Receiver(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device)
      : GsOutputRaw(scene, width, height, format, device), format_(format) {}
  ~Receiver() override { Stop(); }

  void OnFrame(const GsFrame& frame) override;

  // The first `count` deliveries; fewer when the patience ran out.
  std::vector<Delivery> WaitFor(std::size_t count) const;
  std::vector<Delivery> deliveries() const;
  std::vector<std::uint64_t> timestamps() const;

  // Called at the end of OnFrame with the number of deliveries so far. Set it before Start.
  std::function<void(int count)> on_frame;
  // Whether to copy planes.
  bool keep_planes = true;

 private:
  const GsFormat format_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Delivery> deliveries_;
};

// Keeps the timestamps that it receives.
class TextureReceiver : public GsOutputTex {
 public:
  using GsOutputTex::GsOutputTex;
  ~TextureReceiver() override { Stop(); }

  void OnTexture(GsTexture* texture, unsigned long long timestamp) override;

  // The first `count` timestamps; fewer when the patience ran out.
  std::vector<std::uint64_t> WaitFor(std::size_t count) const;
  std::vector<std::uint64_t> timestamps() const;

  // Called at the end of OnTexture. Set it before Start.
  std::function<void(GsTexture* texture, int count)> on_texture;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<std::uint64_t> timestamps_;
};

class Scene : public GsScene {
 public:
  using GsScene::GsScene;
  ~Scene() override {
    if (destroyed) ++*destroyed;
  }
  std::atomic<int>* destroyed = nullptr;
};

// Draws a texture with a program; both may be changed between frames.
class Item : public GsItem {
 public:
  Item(const gs_vec2& size, GsDevice* device) : GsItem(size, device), device_(device) {}
  ~Item() override {
    if (destroyed) ++*destroyed;
  }

  void TickSource() override;
  void Draw() override;

  GsTexture* texture = nullptr;  // Not owned.
  const char* program = "rgba";
  GsConstantBuffer* constants = nullptr;  // Not owned.
  Counter ticks;
  std::atomic<int> draws{0};
  // Called in TickSource and in Draw. Set them before the item is added.
  std::function<void()> on_tick;
  std::function<void()> on_draw;
  std::atomic<int>* destroyed = nullptr;

 private:
  GsDevice* device_;
};

// The fragment source of a program that multiplies a texture by a constant.
inline constexpr char kTintSource[] =
    "out vec4 FragColor;\n"
    "in vec2 v_tex_coord;\n"
    "uniform sampler2D u_tex0;\n"
    "uniform u_buf0 { vec4 tint; };\n"
    "void main() { FragColor = texture(u_tex0, v_tex_coord) * tint; }\n";

scoped_refptr<Scene> MakeScene(unsigned int width, unsigned int height, GsDevice* device);
scoped_refptr<Item> MakeItem(const gs_vec2& size, GsDevice* device);

// A texture of a picture with four channels.
std::unique_ptr<GsTexture> MakeTexture(const test::Picture& picture, GsDevice* device);
// One pixel.
std::unique_ptr<GsTexture> MakeColor(unsigned char r, unsigned char g, unsigned char b, unsigned char a,
                                     GsDevice* device);
// A picture of gradients and stripes that no turn or mirroring leaves as it is. Alpha is `alpha`, or goes from 0 to 255
// along x when that is negative.
test::Picture MakePattern(int width, int height, int alpha);

// One frame as a render loop makes it, of a device whose frames the caller drives: handed to the outputs as `count`
// from `timestamp` on.
void DriveFrame(GsDevice* device, std::uint64_t timestamp, unsigned int count = 1);

// A device whose frames the test drives, on the thread of the test.
class DrivenTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // DriveFrame of the device.
  void Frame(std::uint64_t timestamp, unsigned int count = 1);

  GsDevice device;
};

// The default device, on a thread of its own.
class ThreadedTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  GsDevice* device = nullptr;
};

// Whether a picture makes its way through a scene, an item and an output of the device, which the caller's thread
// drives.
::testing::AssertionResult DrivenDeviceWorks(GsDevice* device);
// Whether a picture makes its way through a scene, an item and an output of a device with a render thread.
::testing::AssertionResult ThreadedDeviceWorks(GsDevice* device);

// Waits until a device with a render thread has made at least that many frames. Returns false when the patience ran
// out.
bool PassFrames(GsDevice* device, int count);

// Whether each timestamp is `interval` after the one before it.
::testing::AssertionResult IsContiguous(const std::vector<std::uint64_t>& timestamps, std::uint64_t interval);

}  // namespace host

#endif  // QUARN_TESTS_PUBLIC_HOST_H_
