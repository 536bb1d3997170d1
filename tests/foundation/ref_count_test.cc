#include <quarn/ref_count.h>

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

namespace {

// A host's class that leaves the counting open.
class Thing : public RefCountInterface {
 public:
  explicit Thing(int* destroyed) : destroyed_(destroyed) {}
  ~Thing() override { ++*destroyed_; }

 private:
  int* destroyed_;
};

// Counts in the open.
class Tally : public RefCountInterface {
 public:
  void AddRef() override { ++added; }
  void Release() override { ++released; }

  int added = 0;
  int released = 0;
};

class DerivedTally : public Tally {};

TEST(ScopedRefptrTest, TakesAndDropsOneReference) {
  Tally tally;
  {
    const scoped_refptr<Tally> holder(&tally);
    EXPECT_EQ(holder.get(), &tally);
    EXPECT_EQ(tally.added, 1);
    EXPECT_EQ(tally.released, 0);
  }
  EXPECT_EQ(tally.added, 1);
  EXPECT_EQ(tally.released, 1);
}

TEST(ScopedRefptrTest, EmptyHolderCountsNothing) {
  const scoped_refptr<Tally> none;
  const scoped_refptr<Tally> null(nullptr);
  const scoped_refptr<Tally> from_pointer(static_cast<Tally*>(nullptr));
  const scoped_refptr<Tally> copy(none);
  EXPECT_EQ(none.get(), nullptr);
  EXPECT_EQ(null.get(), nullptr);
  EXPECT_EQ(from_pointer.get(), nullptr);
  EXPECT_EQ(copy.get(), nullptr);
}

TEST(ScopedRefptrTest, CopyTakesAReferenceOfItsOwn) {
  Tally tally;
  {
    const scoped_refptr<Tally> first(&tally);
    const scoped_refptr<Tally> second(first);
    EXPECT_EQ(tally.added, 2);
  }
  EXPECT_EQ(tally.released, 2);
}

TEST(ScopedRefptrTest, MoveTransfersWithoutCounting) {
  Tally tally;
  {
    scoped_refptr<Tally> first(&tally);
    const scoped_refptr<Tally> second(std::move(first));
    EXPECT_EQ(second.get(), &tally);
    EXPECT_EQ(tally.added, 1);
    EXPECT_EQ(tally.released, 0);
  }
  EXPECT_EQ(tally.released, 1);
}

TEST(ScopedRefptrTest, AssignmentDropsWhatWasHeld) {
  Tally old_tally;
  Tally new_tally;
  scoped_refptr<Tally> holder(&old_tally);
  holder = &new_tally;
  EXPECT_EQ(old_tally.released, 1);
  EXPECT_EQ(new_tally.added - new_tally.released, 1);
  const scoped_refptr<Tally>& same = holder;
  holder = same;
  EXPECT_EQ(holder.get(), &new_tally);
  EXPECT_EQ(new_tally.added - new_tally.released, 1);
  holder = nullptr;
  EXPECT_EQ(new_tally.added, new_tally.released);
}

TEST(ScopedRefptrTest, HoldsADerivedObjectByItsBase) {
  DerivedTally tally;
  {
    scoped_refptr<DerivedTally> derived(&tally);
    const scoped_refptr<Tally> copied(derived);
    EXPECT_EQ(tally.added, 2);
    const scoped_refptr<Tally> moved(std::move(derived));
    EXPECT_EQ(tally.added, 2);
    EXPECT_EQ(moved.get(), &tally);
    EXPECT_EQ(moved->added, 2);
  }
  EXPECT_EQ(tally.released, 2);
}

TEST(ScopedRefptrTest, AdoptAndReleaseDoNotCount) {
  Tally tally;
  scoped_refptr<Tally> holder = scoped_refptr<Tally>::Adopt(&tally);
  EXPECT_EQ(holder.get(), &tally);
  EXPECT_EQ(holder.release(), &tally);
  EXPECT_EQ(holder.get(), nullptr);
  EXPECT_EQ(tally.added, 0);
  EXPECT_EQ(tally.released, 0);
}

TEST(RefCountedTest, DeletesItselfWithTheLastReference) {
  int destroyed = 0;
  {
    scoped_refptr<Thing> outer;
    {
      const scoped_refptr<Thing> inner = MakeRef<RefCounted<Thing>>(&destroyed);
      outer = inner;
    }
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, IsMadeWithTheArgumentsOfItsBase) {
  int destroyed = 0;
  {
    const scoped_refptr<Thing> made = MakeRefCounted<Thing>(&destroyed);
    EXPECT_NE(dynamic_cast<RefCounted<Thing>*>(made.get()), nullptr);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(RefCountedTest, CountsFromSeveralThreads) {
  int destroyed = 0;
  {
    const scoped_refptr<Thing> thing = MakeRef<RefCounted<Thing>>(&destroyed);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([own = thing] {
        for (int n = 0; n < 1000; ++n) scoped_refptr<Thing> copy(own);
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
