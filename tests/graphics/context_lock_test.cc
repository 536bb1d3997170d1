// A context's lock and references, through its interface.
#include "graphics/context_lock.h"

#include <gtest/gtest.h>

#include <thread>

#include "graphics/graphics_context_impl.h"

namespace {

// Tells when it goes.
class CountedContext : public GraphicsContextImpl {
 public:
  explicit CountedContext(int* ends) : ends_(ends) {}
  ~CountedContext() override { ++*ends_; }

 private:
  int* const ends_;
};

// A context that is not the engine's own.
class ForeignContext : public GraphicsContext {
 public:
  void InitWinrt() override {}
  void UninitWinrt() override {}
  void AddItem(GraphicsItem*) override {}
  void RemoveItem(GraphicsItem*) override {}
  bool BindShader(const char*) override { return false; }
  void UnbindShader() override {}
  void SetViewPort(unsigned int, unsigned int, unsigned int, unsigned int) override {}
  void DrawRect(const internal_transform&, const internal_vec2&) override {}
  void DrawVertexArray(GraphicsVertex*, unsigned int, unsigned int*, unsigned int, const internal_transform&,
                       const internal_vec2&) override {}
};

bool HeldByAnotherThread(const GraphicsContext* context) {
  bool held = false;
  std::thread([&] { held = HoldsContextLock(context); }).join();
  return held;
}

TEST(ContextLockTest, HoldsTheLockForAsLongAsItLives) {
  GraphicsContextImpl context;
  EXPECT_FALSE(HoldsContextLock(&context));
  {
    const ContextLock lock(&context);
    EXPECT_TRUE(HoldsContextLock(&context));
    EXPECT_TRUE(context.HeldByCaller());
    EXPECT_FALSE(HeldByAnotherThread(&context));
    {
      const ContextLock again(&context);
      EXPECT_TRUE(HoldsContextLock(&context));
    }
    EXPECT_TRUE(HoldsContextLock(&context));
  }
  EXPECT_FALSE(HoldsContextLock(&context));
  std::thread([&context] { const ContextLock lock(&context); }).join();  // The lock is free for others.
}

TEST(ContextLockTest, NullAndOtherContextsHaveNoLock) {
  ForeignContext foreign;
  for (GraphicsContext* const context :
       {static_cast<GraphicsContext*>(nullptr), static_cast<GraphicsContext*>(&foreign)}) {
    const ContextLock lock(context);
    EXPECT_FALSE(HoldsContextLock(context));
  }
}

TEST(AcquireContextTest, KeepsAContextWhoseMakerHasLetGoOfIt) {
  int ends = 0;
  auto* const made = new CountedContext(&ends);
  GraphicsContext* const held = AcquireContext(made);
  EXPECT_EQ(held, made);
  made->Release();
  EXPECT_EQ(ends, 0);
  { const ContextLock lock(held); }
  ReleaseContext(held);
  EXPECT_EQ(ends, 1);
}

TEST(AcquireContextTest, NullAndOtherContextsAreNotHeld) {
  ForeignContext foreign;
  EXPECT_EQ(AcquireContext(nullptr), nullptr);
  EXPECT_EQ(AcquireContext(&foreign), nullptr);
  ReleaseContext(nullptr);
}

}  // namespace
