// The counting rules of scoped_refptr, RefCounted and MakeRef.
#include <quarn/ref_count.h>

#include <gtest/gtest.h>

#include <thread>
#include <type_traits>
#include <utility>

namespace {

// Counts what is called, without ever deleting itself.
struct Counter : RefCountInterface {
  void AddRef() override { ++added; }
  void Release() override { ++released; }
  int added = 0;
  int released = 0;
  int value = 7;
};

struct DerivedCounter : Counter {};

static_assert(std::is_convertible_v<scoped_refptr<Counter>, Counter*>, "converts implicitly");

TEST(ScopedRefptrTest, CountsAPointer) {
  Counter object;
  {
    const scoped_refptr<Counter> holder(&object);
    EXPECT_EQ(object.added, 1);
    EXPECT_EQ(object.released, 0);
    Counter* const plain = holder;
    EXPECT_EQ(plain, &object);
    EXPECT_EQ(holder.get(), &object);
    EXPECT_EQ(holder->value, 7);
    EXPECT_EQ((*holder).value, 7);
  }
  EXPECT_EQ(object.added, 1);
  EXPECT_EQ(object.released, 1);
}

TEST(ScopedRefptrTest, HoldsNothing) {
  const scoped_refptr<Counter> empty;
  const scoped_refptr<Counter> null(nullptr);
  const scoped_refptr<Counter> null_pointer(static_cast<Counter*>(nullptr));
  const scoped_refptr<Counter> copy(empty);
  EXPECT_EQ(empty.get(), nullptr);
  EXPECT_EQ(null.get(), nullptr);
  EXPECT_EQ(null_pointer.get(), nullptr);
  EXPECT_EQ(copy.get(), nullptr);
}

TEST(ScopedRefptrTest, CopyTakesAReference) {
  Counter object;
  {
    const scoped_refptr<Counter> holder(&object);
    const scoped_refptr<Counter> copy(holder);
    EXPECT_EQ(object.added, 2);
    EXPECT_EQ(copy.get(), &object);
    EXPECT_EQ(holder.get(), &object);
  }
  EXPECT_EQ(object.released, 2);
}

TEST(ScopedRefptrTest, MoveDoesNotCount) {
  Counter object;
  {
    scoped_refptr<Counter> holder(&object);
    const scoped_refptr<Counter> moved(std::move(holder));
    EXPECT_EQ(object.added, 1);
    EXPECT_EQ(object.released, 0);
    EXPECT_EQ(moved.get(), &object);
    EXPECT_EQ(holder.get(), nullptr);
  }
  EXPECT_EQ(object.added, 1);
  EXPECT_EQ(object.released, 1);
}

TEST(ScopedRefptrTest, ReleaseHandsTheReferenceOut) {
  Counter object;
  {
    scoped_refptr<Counter> holder(&object);
    EXPECT_EQ(holder.release(), &object);
    EXPECT_EQ(holder.get(), nullptr);
    EXPECT_EQ(holder.release(), nullptr);
  }
  EXPECT_EQ(object.added, 1);
  EXPECT_EQ(object.released, 0);
}

TEST(ScopedRefptrTest, AssignmentDropsTheOldReference) {
  Counter first;
  Counter second;
  scoped_refptr<Counter> holder(&first);
  const scoped_refptr<Counter> other(&second);
  holder = other;
  EXPECT_EQ(first.released, 1);
  EXPECT_EQ(second.added, 2);
  scoped_refptr<Counter>& itself = holder;
  holder = itself;
  EXPECT_EQ(holder.get(), &second);
  EXPECT_EQ(second.added - second.released, 2);
  holder = nullptr;
  EXPECT_EQ(second.added - second.released, 1);
}

TEST(ScopedRefptrTest, TakesDerivedTypes) {
  DerivedCounter object;
  scoped_refptr<DerivedCounter> derived(&object);
  const scoped_refptr<Counter> copy(derived);
  EXPECT_EQ(object.added, 2);
  const scoped_refptr<Counter> moved(std::move(derived));
  EXPECT_EQ(object.added, 2);
  EXPECT_EQ(derived.get(), nullptr);
  EXPECT_EQ(moved.get(), &object);
}

TEST(ScopedRefptrTest, AdoptDoesNotCount) {
  Counter object;
  { const auto holder = scoped_refptr<Counter>::Adopt(&object); }
  EXPECT_EQ(object.added, 0);
  EXPECT_EQ(object.released, 1);
}

// Tells of its end.
class Ending : public RefCountInterface {
 public:
  Ending(bool* ended, int value) : ended_(ended), value_(value) {}
  ~Ending() override { *ended_ = true; }
  int value() const { return value_; }

 private:
  bool* ended_;
  int value_;
};

TEST(RefCountedTest, StartsAtOneAndDeletesItselfAtZero) {
  bool ended = false;
  auto* object = new RefCounted<Ending>(&ended, 5);
  EXPECT_EQ(object->value(), 5);
  object->AddRef();
  object->Release();
  EXPECT_FALSE(ended);
  object->Release();
  EXPECT_TRUE(ended);
}

TEST(RefCountedTest, MakeRefHoldsTheOnlyReference) {
  bool ended = false;
  {
    scoped_refptr<Ending> holder = MakeRef<RefCounted<Ending>>(&ended, 6);
    EXPECT_EQ(holder->value(), 6);
    const scoped_refptr<Ending> copy = holder;
    holder = nullptr;
    EXPECT_FALSE(ended);
  }
  EXPECT_TRUE(ended);
}

TEST(RefCountedTest, CountsFromSeveralThreads) {
  bool ended = false;
  scoped_refptr<Ending> holder = MakeRef<RefCounted<Ending>>(&ended, 0);
  const auto copies = [holder] {
    for (int i = 0; i < 1000; ++i) scoped_refptr<Ending> copy(holder);
  };
  std::thread first(copies);
  std::thread second(copies);
  first.join();
  second.join();
  EXPECT_FALSE(ended);
}

}  // namespace
