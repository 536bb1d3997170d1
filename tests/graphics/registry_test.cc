#include "graphics/registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <random>
#include <vector>

namespace {

using ::testing::ElementsAre;

struct Entry {};

class RegistryTest : public ::testing::Test {
 protected:
  // The numbers of the entries that a walk visits; `then` runs in each visit.
  std::vector<int> Walk(const std::function<void(int)>& then = nullptr) {
    std::vector<int> visited;
    registry_.Walk([&](Entry* entry) {
      const int number = static_cast<int>(entry - entries_);
      visited.push_back(number);
      if (then) then(number);
    });
    return visited;
  }
  void Add(int number) { registry_.Add(&entries_[number]); }
  void Remove(int number) { registry_.Remove(&entries_[number]); }

  static constexpr int kEntries = 8;
  Entry entries_[kEntries];
  Registry<Entry> registry_;
};

TEST_F(RegistryTest, KeepsTheOrderAndEachEntryOnce) {
  for (const int number : {3, 1, 2, 1}) Add(number);
  registry_.Add(nullptr);
  EXPECT_THAT(Walk(), ElementsAre(3, 1, 2));
  Remove(1);
  Remove(1);
  registry_.Remove(nullptr);
  EXPECT_THAT(Walk(), ElementsAre(3, 2));
}

TEST_F(RegistryTest, AnEntryThatLeavesInItsVisitTakesNoVisitFromTheOthers) {
  for (const int number : {0, 1, 2}) Add(number);
  EXPECT_THAT(Walk([&](int number) { Remove(number); }), ElementsAre(0, 1, 2));
  EXPECT_TRUE(Walk().empty());
}

TEST_F(RegistryTest, AnEntryThatLeftIsNotVisited) {
  for (const int number : {0, 1, 2}) Add(number);
  EXPECT_THAT(Walk([&](int) { Remove(1); }), ElementsAre(0, 2));
}

TEST_F(RegistryTest, AnEntryThatComesIsVisitedInTheNextWalk) {
  Add(0);
  EXPECT_THAT(Walk([&](int number) { Add(number + 1); }), ElementsAre(0));
  EXPECT_THAT(Walk([&](int number) { Add(number + 1); }), ElementsAre(0, 1));
}

TEST_F(RegistryTest, AnEntryThatLeavesAndComesBackIsVisitedOnce) {
  for (const int number : {0, 1, 2}) Add(number);
  const auto move_to_the_end = [&](int number) {
    Remove(number);
    Add(number);
  };
  EXPECT_THAT(Walk(move_to_the_end), ElementsAre(0, 1, 2));
  // So is one that leaves and comes back before its turn.
  const auto exchange = [&](int number) {
    if (number == 0) move_to_the_end(1);
  };
  EXPECT_THAT(Walk(exchange), ElementsAre(0, 1, 2));
  EXPECT_THAT(Walk(), ElementsAre(0, 2, 1));
}

TEST_F(RegistryTest, AWalkInsideAVisitIsAWalkOfItsOwn) {
  for (const int number : {0, 1, 2}) Add(number);
  std::vector<int> inner;
  const auto walk_again = [&](int number) {
    if (number != 0) return;
    Remove(1);
    Add(3);
    inner = Walk([&](int inside) {
      if (inside == 0) Remove(2);
      if (inside == 3) Add(1);
    });
  };
  EXPECT_THAT(Walk(walk_again), ElementsAre(0, 1));
  EXPECT_THAT(inner, ElementsAre(0, 3));
  EXPECT_THAT(Walk(), ElementsAre(0, 3, 1));
}

// Walks with random changes and walks inside, against the rule itself: what was there at the beginning and is there
// when its turn comes is visited, once, in the order of the beginning; nothing else is.
class RegistryModel {
 public:
  explicit RegistryModel(unsigned int seed) : random_(seed) {}

  void Change() {
    Entry* const entry = &entries_[random_() % kEntries];
    const auto found = std::find(model_.begin(), model_.end(), entry);
    if (random_() % 2) {
      registry_.Add(entry);
      if (found == model_.end()) model_.push_back(entry);
    } else {
      registry_.Remove(entry);
      if (found != model_.end()) model_.erase(found);
    }
  }

  void Walk(int depth) {
    if (testing::Test::HasFailure()) return;
    const std::vector<Entry*> beginning = model_;
    std::size_t next = 0;
    registry_.Walk([&](Entry* entry) {
      while (next < beginning.size() && beginning[next] != entry) {
        EXPECT_FALSE(IsThere(beginning[next])) << "an entry that was there was passed over";
        ++next;
      }
      ASSERT_LT(next, beginning.size()) << "visited twice, out of order, or not there at the beginning";
      EXPECT_TRUE(IsThere(entry)) << "visited after it had left";
      ++next;
      if (testing::Test::HasFailure()) return;  // Else a walk that goes wrong might never end.
      for (unsigned int i = random_() % 4; i > 0; --i) Change();
      if (depth < 3 && random_() % 8 == 0) Walk(depth + 1);
    });
    for (; next < beginning.size(); ++next) {
      EXPECT_FALSE(IsThere(beginning[next])) << "an entry that was there was passed over at the end";
    }
  }

 private:
  static constexpr unsigned int kEntries = 12;

  bool IsThere(Entry* entry) const { return std::find(model_.begin(), model_.end(), entry) != model_.end(); }

  std::mt19937 random_;
  Entry entries_[kEntries];
  std::vector<Entry*> model_;
  Registry<Entry> registry_;
};

TEST_F(RegistryTest, AWalkMayBeArranged) {
  for (const int number : {0, 1, 2, 3}) Add(number);
  std::vector<int> visited;
  const auto visit = [&](Entry* entry) {
    visited.push_back(static_cast<int>(entry - entries_));
    Remove(1);
  };
  registry_.Walk(visit, [](Entry** entries, std::size_t count) { std::reverse(entries, entries + count); });
  EXPECT_THAT(visited, ElementsAre(3, 2, 0));
  EXPECT_THAT(Walk(), ElementsAre(0, 2, 3)) << "that walk only";
}

TEST(RegistryModelTest, WalksFollowTheRuleWhateverIsAddedAndRemoved) {
  for (unsigned int seed = 0; seed < 200; ++seed) {
    RegistryModel model(seed);
    for (int i = 0; i < 20; ++i) {
      model.Change();
      model.Walk(0);
    }
    if (testing::Test::HasFailure()) FAIL() << "with the seed " << seed;
  }
}

}  // namespace
