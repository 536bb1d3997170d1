// The pool of an output beside its model: pictures, deliveries, receivers that come and go, in their calls too.
#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

#include "graphics/output/graphics_output_impl.h"
#include "tests/fuzz/fuzz_check.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/quiet_log.h"
#include "tests/graphics/output/pool_model.h"

namespace {

using Receiving = PoolModel::Receiving;

// Without its thread: the target delivers.
class Output : public GraphicsOutputImpl {
 public:
  Output() : GraphicsOutputImpl(nullptr, 4, 4, 30) {}
  std::uint64_t free_count() QUARN_NO_THREAD_SAFETY_ANALYSIS { return free_count_; }
};

class Receiver : public GraphicsOutput::OutputCallback {
 public:
  explicit Receiver(GraphicsOutput::OutputFormat format) : OutputCallback(format) {}
  void OnOutputRawData(const GraphicsFrame& frame, unsigned long long timestamp) override {
    std::uint32_t id = 0;
    std::memcpy(&id, frame.data[0], sizeof(id));
    deliveries.push_back({id, timestamp});
    if (in_call) in_call();
    // The planes are the call's, whatever the receiver has done in it.
    std::uint32_t after = 0;
    std::memcpy(&after, frame.data[0], sizeof(after));
    replaced = replaced || after != id;
  }

  std::vector<PoolModel::Delivery> deliveries;
  std::function<void()> in_call;
  bool replaced = false;
};

class Pool {
 public:
  explicit Pool(GraphicsOutput::OutputFormat format) : raw_(format) {}

  // 0 and 1: a raw receiver, 2: another one, 3: null, 4: none any more; everything else: nothing happens.
  void Attach(unsigned int what) { AttachOutput(what), AttachModel(what); }

  void Produce(std::uint64_t timestamp, int count) {
    const std::uint32_t id = ++made_;
    const bool room = model_.Lock(count);
    GraphicsFrame* frame = nullptr;
    FUZZ_CHECK(output_.LockFrame(&frame, timestamp, count) == room);
    FUZZ_CHECK((frame != nullptr) == room);
    if (!room) return;
    std::memcpy(frame->data[0], &id, sizeof(id));
    output_.UnlockFrame();
    model_.Commit(id, timestamp, count);
  }

  void Deliver(unsigned int in_call) {
    raw_.in_call = [this, in_call] { AttachOutput(in_call); };
    raw_.deliveries.clear();
    expected_.clear();
    const bool finished = model_.Deliver(&expected_, [this, in_call] { AttachModel(in_call); });
    FUZZ_CHECK(output_.OutputCurrentFrame() == finished);
    FUZZ_CHECK(raw_.deliveries == expected_);
    heard_ += expected_.size();
  }

  void Compare() {
    const bool raw = model_.receiving() == Receiving::kRaw;
    FUZZ_CHECK(output_.free_count() == model_.free_count());
    FUZZ_CHECK(output_.repeat_count() == model_.repeat_count());
    FUZZ_CHECK(output_.WaitForRoom(0) == (raw && model_.free_count() > 0));
    FUZZ_CHECK(output_.WaitForDeliveries(0) == (raw && model_.queued() == 0));
    const OutputStats stats = output_.stats();
    FUZZ_CHECK(stats.delivered == heard_);
    FUZZ_CHECK(made_ == stats.delivered - stats.repeated + stats.dropped + model_.unheard());
  }

 private:
  void AttachOutput(unsigned int what) {
    if (what <= 1) output_.Attach(&raw_);
    if (what == 2) output_.Attach(&other_);
    if (what == 3) output_.Attach(nullptr);
    if (what == 4) output_.Detach();
  }
  void AttachModel(unsigned int what) {
    if (what <= 1) model_.Attach(Receiving::kRaw);
    if (what == 2) model_.Attach(Receiving::kOther);
    if (what == 3 || what == 4) model_.Detach();
  }

  Output output_;
  PoolModel model_;
  Receiver raw_;
  Receiver other_{GraphicsOutput::kOutputTexture};
  std::vector<PoolModel::Delivery> expected_;
  std::uint32_t made_ = 0;
  std::uint64_t heard_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KeepLogQuiet();
  FuzzInput input(data, size);
  constexpr GraphicsOutput::OutputFormat kFormats[] = {GraphicsOutput::kOutputRGBA, GraphicsOutput::kOutputBGRA,
                                                       GraphicsOutput::kOutputI420, GraphicsOutput::kOutputNV12};
  Pool pool(kFormats[input.UpTo(3)]);
  while (!input.empty()) {
    const std::uint8_t what = input.Byte();
    if (what < 32) {
      pool.Attach(what % 6);
    } else if (what < 144) {
      pool.Deliver(what < 128 ? 5 : what % 5);
    } else if (what < 224) {
      pool.Produce(input.Byte(), 1 + what % 3);
    } else {
      // Far from where two timestamps that are a period apart would meet at the end of the numbers.
      pool.Produce(input.Take<std::uint64_t>() >> 1, input.Signed());
    }
    pool.Compare();
  }
  return 0;
}
