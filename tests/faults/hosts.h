// What the hosts of the scenarios have in common: devices, and items and receivers that are easily compared.
#ifndef QUARN_TESTS_FAULTS_HOSTS_H_
#define QUARN_TESTS_FAULTS_HOSTS_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "tests/faults/scenario.h"

namespace faults {

// How long is waited for what does not come: far beyond what it takes.
inline constexpr unsigned int kPatienceMs = 1000;

// A device whose frames the host drives.
class DrivenHost : public Host {
 public:
  ~DrivenHost() override;
  void MakeDevice() override;

 protected:
  GsDevice* device() const { return device_.get(); }
  // Two frames: what shows scenes in scenes has its whole picture with the second.
  void Frames();

 private:
  std::unique_ptr<GsDevice> device_;
  std::uint64_t time_ = 0;
};

// Digests the last frame that it received.
class Receiver : public GsOutputRaw {
 public:
  Receiver(GsScene* scene, unsigned int width, unsigned int height, GsFormat format, GsDevice* device)
      : GsOutputRaw(scene, width, height, format, device), format_(format) {}
  ~Receiver() override { Stop(); }
  void OnFrame(const GsFrame& frame) override;
  // Of the frames since the last call, once all that is under way has come.
  Digest Take();

 private:
  const GsFormat format_;
  std::mutex mutex_;
  Digest digest_ = kNothing;
  unsigned int patience_ms_ = kPatienceMs;
};

// Draws by whatever is given.
class Item : public GsItem {
 public:
  Item(const gs_vec2& size, GsDevice* device, std::function<void(Item*)> draw)
      : GsItem(size, device), draw_(std::move(draw)) {}
  void Draw() override { draw_(this); }
  // Where the item lies, with that program and texture.
  void DrawTexture(GsDevice* device, const char* program, GsTexture* texture, GsConstantBuffer* constants = nullptr);

 private:
  const std::function<void(Item*)> draw_;
};

// Gradients of that many bytes a pixel.
std::vector<unsigned char> Pixels(unsigned int width, unsigned int height, unsigned int bytes);

using SceneRef = scoped_refptr<GsScene>;
SceneRef MakeScene(unsigned int width, unsigned int height, GsDevice* device);
template <class T, class... Args>
scoped_refptr<T> MakeItem(Args&&... args) {
  return MakeRef<RefCounted<T>>(std::forward<Args>(args)...);
}

// Has a host of that class made.
template <class T, class... Args>
Scenario MakeScenario(const char* group, const char* name, Args... args) {
  return {group, name, [=]() -> std::unique_ptr<Host> { return std::make_unique<T>(args...); }};
}

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_HOSTS_H_
