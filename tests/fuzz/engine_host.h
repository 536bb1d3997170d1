// A host of the public graphics interface that does what the bytes of an input say: it makes, attaches, changes, draws
// with and destroys objects of two devices, in any order and with any values, from its own code and from callbacks. It
// keeps to the few rules of quarn.h whose breach is undefined, and looks at what the library promises in turn.
#ifndef QUARN_TESTS_FUZZ_ENGINE_HOST_H_
#define QUARN_TESTS_FUZZ_ENGINE_HOST_H_

#include <array>
#include <memory>
#include <utility>
#include <vector>

#include <quarn/quarn.h>

#include "tests/fuzz/engine_objects.h"
#include "tests/fuzz/fuzz_input.h"

namespace fuzz {

class EngineHost : public Callbacks {
 public:
  // What the engine under it makes possible.
  struct Traits {
    bool real = false;  // Whether pictures have pixels and devices cost much: sides are short, devices last.
    void (*after)(GsDevice*) = nullptr;  // Called with each device at the end of an input.
  };

  explicit EngineHost(const Traits& traits) : traits_(traits) {}
  ~EngineHost() override { DestroyDevices(); }

  void Run(FuzzInput* input);

  // What the objects call.
  void InDraw(const void* target) override;
  void InTick(FuzzItem* item) override;

 private:
  static constexpr unsigned int kSlots = 3;
  template <class T>
  using Slots = std::array<T, kSlots>;
  struct Sides {
    unsigned int width;
    unsigned int height;
  };

  // One step each. In a callback less is allowed.
  void Step();
  void StepOfDevice(unsigned int what);
  void StepOfScene(unsigned int what);
  void StepOfItem(unsigned int what);
  void StepOfPicture(unsigned int what);
  void StepOfTexture(unsigned int what);
  void StepOfFilter(unsigned int what);
  void StepOfOutput(unsigned int what);
  void StepOfView(unsigned int what);
  void StepOfDrawing(unsigned int what);

  bool in_callback() const { return depth_ > 0; }
  void InCallback(unsigned int most_steps);
  void Frame();
  void MakeDevices();
  void DestroyDevices();
  void DestroyObjects();

  template <class T>
  T& Pick(Slots<T>& slots) {
    return slots[input_->UpTo(kSlots - 1)];
  }
  GsDevice* PickDevice();
  Sides PickSides();
  // Of pictures in memory: not so large that making them takes long, or so large that they are refused.
  Sides PickPictureSides();
  gs_vec2 PickVec();
  const char* PickName();
  GsItem* PickItem();
  // A texture that lives at least as long as what is returned.
  std::shared_ptr<GsTexture> PickTexture();
  // Keeps what a callback must not destroy until the outermost one is over.
  template <class T>
  void Keep(T object) {
    if (in_callback()) kept_.push_back(std::make_shared<T>(std::move(object)));
  }

  const Traits traits_;
  FuzzInput* input_ = nullptr;
  int depth_ = 0;                     // Of callbacks.
  GsDevice* frame_device_ = nullptr;  // Whose frame runs.
  std::vector<GsTexture*> bound_textures_;
  std::vector<GsConstantBuffer*> bound_buffers_;
  std::vector<std::shared_ptr<void>> kept_;

  std::unique_ptr<GsDevice> second_;
  Slots<scoped_refptr<FuzzScene>> scenes_;
  Slots<scoped_refptr<FuzzItem>> items_;
  Slots<scoped_refptr<FuzzPictureItem>> pictures_;
  Slots<std::shared_ptr<GsTexture>> textures_;
  Slots<std::shared_ptr<GsVideoTexture>> videos_;
  Slots<std::shared_ptr<GsConstantBuffer>> buffers_;
  Slots<std::unique_ptr<FuzzFilter>> filters_;
  Slots<std::unique_ptr<FuzzRawOutput>> raws_;
  Slots<std::unique_ptr<FuzzTextureOutput>> texture_outputs_;
  Slots<std::unique_ptr<FuzzView>> views_;
  Slots<GsSceneHold> holds_;
};

}  // namespace fuzz

#endif  // QUARN_TESTS_FUZZ_ENGINE_HOST_H_
