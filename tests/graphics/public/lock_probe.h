// Shows that an operation holds a context's lock at the places where it calls the engine.
#ifndef QUARN_TESTS_GRAPHICS_PUBLIC_LOCK_PROBE_H_
#define QUARN_TESTS_GRAPHICS_PUBLIC_LOCK_PROBE_H_

#include <atomic>
#include <memory>
#include <thread>

#include "graphics/graphics_context_impl.h"
#include "tests/support/fake_device.h"

// Called in the middle of an operation that should hold the lock: gives another thread every chance to take it, and
// answers whether that thread could. It joins the thread when it is destroyed, after the operation.
class LockProbe {
 public:
  explicit LockProbe(GraphicsContextImpl* context)
      : thread_([this, context] {
          trying_ = true;
          context->Lock();
          entered_ = true;
          context->Unlock();
        }) {}
  ~LockProbe() { thread_.join(); }

  bool Entered() {
    while (!trying_) std::this_thread::yield();
    for (int i = 0; i < 1000 && !entered_; ++i) std::this_thread::yield();
    return entered_;
  }

 private:
  std::atomic<bool> trying_{false};
  std::atomic<bool> entered_{false};
  std::thread thread_;
};

// A context that probes its lock whenever an item registers or leaves.
class ProbedContext : public GraphicsContextImpl {
 public:
  // Becomes the device's context.
  static ProbedContext* PutInto(FakeDevice* device) {
    auto owned = std::make_unique<ProbedContext>();
    ProbedContext* const context = owned.get();
    device->context = std::move(owned);
    return context;
  }

  void AddItem(GraphicsItem* item) override {
    Probe();
    GraphicsContextImpl::AddItem(item);
  }
  void RemoveItem(GraphicsItem* item) override {
    Probe();
    GraphicsContextImpl::RemoveItem(item);
  }

  void Probe() {
    probes_.push_back(std::make_unique<LockProbe>(this));
    if (probes_.back()->Entered()) ++intrusions_;
  }

  // Ends the probes; the operation is over.
  int probes() {
    const int count = static_cast<int>(probes_.size());
    probes_.clear();
    return count;
  }
  int intrusions() const { return intrusions_; }

 private:
  std::vector<std::unique_ptr<LockProbe>> probes_;
  int intrusions_ = 0;
};

#endif  // QUARN_TESTS_GRAPHICS_PUBLIC_LOCK_PROBE_H_
