#include "graphics/graphics_item.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foundation/event.h"
#include "graphics/graphics_context_impl.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Journal = std::vector<std::string>;

// Ticks the item in the middle of a registration, which shows whether a callback is set at that moment.
class TickingContext : public GraphicsContextImpl {
 public:
  explicit TickingContext(Journal* journal) : journal_(journal) {}
  void AddItem(GraphicsItem* item) override {
    journal_->push_back("add");
    item->Tick();
  }
  void RemoveItem(GraphicsItem* item) override {
    journal_->push_back("remove");
    item->Tick();
  }

 private:
  Journal* journal_;
};

class TestCallback : public GraphicsItem::TickCallback {
 public:
  explicit TestCallback(Journal* journal) : journal_(journal) {}
  void OnTick() override { journal_->push_back("tick"); }

 private:
  Journal* journal_;
};

TEST(GraphicsItemTest, AttachStoresTheCallbackThenRegisters) {
  Journal journal;
  TickingContext context(&journal);
  TestCallback callback(&journal);
  GraphicsItem item(&context);
  item.Attach(&callback);
  EXPECT_THAT(journal, ElementsAre("add", "tick"));
  item.Tick();
  EXPECT_THAT(journal, ElementsAre("add", "tick", "tick"));
}

TEST(GraphicsItemTest, DetachUnregistersThenClearsTheCallback) {
  Journal journal;
  TickingContext context(&journal);
  TestCallback callback(&journal);
  GraphicsItem item(&context);
  item.Attach(&callback);
  journal.clear();
  item.Detach();
  EXPECT_THAT(journal, ElementsAre("remove", "tick"));
  item.Tick();
  EXPECT_THAT(journal, ElementsAre("remove", "tick"));
}

TEST(GraphicsItemTest, AttachedItemIsTickedByTheContext) {
  Journal journal;
  GraphicsContextImpl context;
  TestCallback callback(&journal);
  GraphicsItem item(&context);
  EXPECT_EQ(item.context(), &context);
  context.TickSource();
  EXPECT_THAT(journal, IsEmpty());
  item.Attach(&callback);
  context.TickSource();
  EXPECT_THAT(journal, ElementsAre("tick"));
  item.Detach();
  context.TickSource();
  EXPECT_THAT(journal, ElementsAre("tick"));
}

TEST(GraphicsItemTest, DoesWithoutAContext) {
  Journal journal;
  TestCallback callback(&journal);
  GraphicsItem item(nullptr);
  item.Attach(&callback);
  item.Tick();
  EXPECT_THAT(journal, ElementsAre("tick"));
  item.Detach();
  item.Tick();
  EXPECT_THAT(journal, ElementsAre("tick"));
}

TEST(GraphicsItemTest, MayBeDestroyedInItsTick) {
  class EndingCallback : public GraphicsItem::TickCallback {
   public:
    void OnTick() override {
      item->Detach();
      item.reset();
    }
    std::unique_ptr<GraphicsItem> item;
  };
  GraphicsContextImpl context;
  EndingCallback callback;
  callback.item = std::make_unique<GraphicsItem>(&context);
  callback.item->Attach(&callback);
  context.TickSource();
  EXPECT_EQ(callback.item, nullptr);
  context.TickSource();
}

TEST(GraphicsItemTest, DetachWaitsForATickInProgress) {
  class BusyCallback : public GraphicsItem::TickCallback {
   public:
    BusyCallback(GraphicsItem* item, Journal* journal) : item_(item), journal_(journal) {}
    void OnTick() override {
      Event about_to(false);
      detacher = std::thread([&about_to, this] {
        about_to.Signal();
        item_->Detach();
        journal_->push_back("detached");
      });
      about_to.Wait();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      journal_->push_back("ticked");
    }
    std::thread detacher;

   private:
    GraphicsItem* item_;
    Journal* journal_;
  };
  Journal journal;
  GraphicsItem item(nullptr);
  BusyCallback callback(&item, &journal);
  item.Attach(&callback);
  item.Tick();
  callback.detacher.join();
  EXPECT_THAT(journal, ElementsAre("ticked", "detached"));
}

}  // namespace
