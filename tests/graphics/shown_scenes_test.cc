// The order of scenes that are shown in scenes.
#include "graphics/shown_scenes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "graphics/context_lock.h"
#include "graphics/graphics_context_impl.h"
#include "graphics/graphics_scene_impl.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class ShownScenesTest : public ::testing::Test {
 protected:
  static constexpr int kScenes = 7;

  ShownScenesTest() {
    for (int i = 0; i < kScenes; ++i) scenes_.push_back(std::make_unique<GraphicsSceneImpl>(1, 1));
  }

  const GraphicsScene* scene(int index) const { return scenes_[static_cast<std::size_t>(index)].get(); }
  void Note(int shown, int in) { shown_.Note(scene(shown), scene(in)); }

  // The numbers of the first `count` scenes, which come in their order, as they are arranged.
  std::vector<int> Arranged(int count) {
    std::vector<GraphicsScene*> list;
    for (int i = 0; i < count; ++i) list.push_back(scenes_[static_cast<std::size_t>(i)].get());
    shown_.Arrange(list.data(), list.size());
    std::vector<int> numbers;
    for (const GraphicsScene* entry : list) {
      const auto found =
          std::find_if(scenes_.begin(), scenes_.end(), [=](const auto& one) { return one.get() == entry; });
      numbers.push_back(static_cast<int>(found - scenes_.begin()));
    }
    return numbers;
  }

  std::vector<std::unique_ptr<GraphicsSceneImpl>> scenes_;
  ShownScenes shown_;
};

TEST_F(ShownScenesTest, LeavesScenesAsTheyComeWhereNoneIsShown) {
  EXPECT_TRUE(shown_.empty());
  EXPECT_THAT(Arranged(3), ElementsAre(0, 1, 2));
  EXPECT_THAT(Arranged(0), IsEmpty());
}

TEST_F(ShownScenesTest, PutsASceneBehindThoseShownInIt) {
  Note(2, 0);
  EXPECT_FALSE(shown_.empty());
  EXPECT_THAT(Arranged(4), ElementsAre(2, 0, 1, 3));
}

TEST_F(ShownScenesTest, FollowsAChainToItsEnd) {
  Note(1, 0);
  Note(2, 1);
  Note(3, 2);
  EXPECT_THAT(Arranged(5), ElementsAre(3, 2, 1, 0, 4));
}

TEST_F(ShownScenesTest, OneShownInSeveralComesBeforeTheFirst) {
  Note(3, 1);
  Note(3, 2);
  Note(0, 2);
  EXPECT_THAT(Arranged(4), ElementsAre(0, 3, 1, 2));
}

TEST_F(ShownScenesTest, OfARingTheFirstComesLast) {
  Note(1, 0);
  Note(0, 1);
  EXPECT_THAT(Arranged(3), ElementsAre(1, 0, 2));
  Note(2, 1);
  Note(0, 2);
  Note(1, 0);
  EXPECT_THAT(Arranged(4), ElementsAre(2, 1, 0, 3));
}

TEST_F(ShownScenesTest, OneInItselfStaysWhereItIs) {
  Note(1, 1);
  EXPECT_TRUE(shown_.InItself(scene(1)));
  EXPECT_FALSE(shown_.InItself(scene(0)));
  EXPECT_THAT(Arranged(3), ElementsAre(0, 1, 2));
}

TEST_F(ShownScenesTest, IgnoresScenesThatAreNotDrawn) {
  Note(5, 0);
  Note(1, 6);
  EXPECT_THAT(Arranged(3), ElementsAre(0, 1, 2));
}

TEST_F(ShownScenesTest, WhatIsNotNotedAgainGoes) {
  Note(1, 0);
  EXPECT_THAT(Arranged(2), ElementsAre(1, 0));
  Note(1, 0);  // In the midst of the drawing.
  Note(1, 0);  // In the next frame's tick.
  EXPECT_THAT(Arranged(2), ElementsAre(1, 0));
  EXPECT_THAT(Arranged(2), ElementsAre(0, 1));
  EXPECT_TRUE(shown_.empty());
}

TEST_F(ShownScenesTest, ASceneThatIsGoneLeavesNothing) {
  Note(1, 0);
  Note(0, 2);
  Note(3, 4);
  shown_.Forget(scene(0));
  EXPECT_THAT(Arranged(5), ElementsAre(0, 1, 2, 4 - 1, 4));
  Note(3, 4);
  shown_.Forget(scene(3));
  EXPECT_TRUE(shown_.empty());
}

// Whatever is shown in what: the order is that of a walk in depth, from each scene in turn.
TEST_F(ShownScenesTest, IsTheOrderOfAWalkInDepth) {
  std::mt19937 random(7);
  for (int round = 0; round < 500; ++round) {
    std::set<std::pair<int, int>> notes;
    const unsigned int wanted = random() % 12;
    while (notes.size() < wanted) {
      notes.emplace(static_cast<int>(random() % kScenes), static_cast<int>(random() % kScenes));
    }
    for (const auto& [shown, in] : notes) Note(shown, in);
    std::vector<int> expected;
    std::vector<bool> seen(kScenes, false);
    // The scenes that nobody has reached, in the order in which they stand there: what is placed first moves ahead.
    std::function<void(int)> visit = [&](int in) {
      seen[static_cast<std::size_t>(in)] = true;
      for (int shown = 0; shown < kScenes; ++shown) {
        if (!seen[static_cast<std::size_t>(shown)] && notes.count({shown, in}) > 0) visit(shown);
      }
      expected.push_back(in);
    };
    for (int i = 0; i < kScenes; ++i) {
      if (!seen[static_cast<std::size_t>(i)]) visit(i);
    }
    EXPECT_EQ(Arranged(kScenes), expected) << "round " << round;
  }
}

TEST(NoteShownTest, FindsTheSceneOfItsOwner) {
  GraphicsContextImpl context;
  const ContextLock lock(&context);
  GraphicsSceneImpl shown(1, 1);
  GraphicsSceneImpl in(1, 1);
  const int owner = 0;
  SetSceneOwner(&in, &owner);
  SetSceneOwner(nullptr, &owner);
  NoteShown(&context, &shown, &owner);
  EXPECT_TRUE(context.shown_scenes().empty()) << "the scene is not in the registry";
  context.AddScene(&in);
  NoteShown(&context, &shown, nullptr);
  NoteShown(&context, nullptr, &owner);
  NoteShown(nullptr, &shown, &owner);
  EXPECT_TRUE(context.shown_scenes().empty());
  NoteShown(&context, &shown, &owner);
  EXPECT_FALSE(context.shown_scenes().empty());
  context.RemoveScene(&in);
  EXPECT_TRUE(context.shown_scenes().empty());
}

TEST(NoteShownTest, NotesNothingForTheScenesOfOthers) {
  GraphicsContextImpl context;
  const ContextLock lock(&context);
  GraphicsSceneImpl other(1, 1);
  GraphicsSceneImpl shown(1, 1);
  GraphicsSceneImpl in(1, 1);
  const int owner = 0, another = 0;
  SetSceneOwner(&in, &owner);
  SetSceneOwner(&other, &another);
  for (GraphicsScene* const scene : {&other, &shown, &in}) context.AddScene(scene);
  NoteShown(&context, &shown, &owner);
  ShownScenes noted = context.shown_scenes();
  GraphicsScene* scenes[] = {&other, &in, &shown};
  noted.Arrange(scenes, 3);
  EXPECT_EQ(scenes[0], &other) << "nothing is shown in it";
  EXPECT_EQ(scenes[1], &shown);
  EXPECT_EQ(scenes[2], &in);
}

TEST(NoteShownTest, NotesNothingWithoutTheLock) {
  GraphicsContextImpl context;
  GraphicsSceneImpl scene(1, 1);
  const int owner = 0;
  SetSceneOwner(&scene, &owner);
  context.AddScene(&scene);
  NoteShown(&context, &scene, &owner);
  EXPECT_TRUE(context.shown_scenes().empty());
}

}  // namespace
