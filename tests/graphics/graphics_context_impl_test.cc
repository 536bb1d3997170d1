#include "graphics/graphics_context_impl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/event.h"
#include "graphics/color_matrix.h"
#include "graphics/frame_times.h"
#include "graphics/graphics_filter_impl.h"
#include "graphics/graphics_item.h"
#include "graphics/graphics_output.h"
#include "graphics/graphics_scene_impl.h"
#include "graphics/graphics_shader.h"
#include "graphics/graphics_view.h"
#include "graphics/internal_types.h"
#include "tests/support/fake_os_time.h"
#include "tests/support/log_capture.h"
#include "tests/support/waiter.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// What the walks reached, oldest first.
using Journal = std::vector<std::string>;

// What each of the registered has in common: it notes that a walk has reached it, and does what the test wants there.
class Visited {
 public:
  Visited(Journal* journal, std::string name) : journal_(journal), name_(std::move(name)) {}
  std::function<void()> then;

 protected:
  void Visit(const std::string& details = "") {
    journal_->push_back(name_ + details);
    if (then) then();
  }

 private:
  Journal* journal_;
  std::string name_;
};

class TestItem : public GraphicsItem, public GraphicsItem::TickCallback, public Visited {
 public:
  // On a null context, so that only the test registers it.
  TestItem(Journal* journal, std::string name) : GraphicsItem(nullptr), Visited(journal, std::move(name)) {
    Attach(this);
  }
  void OnTick() override { Visit(); }
};

class TestFilter : public GraphicsFilterImpl, public GraphicsFilter::DrawCallback, public Visited {
 public:
  TestFilter(Journal* journal, std::string name) : GraphicsFilterImpl(1, 1), Visited(journal, std::move(name)) {
    Attach(this);
  }
  void Draw() override { Visit(); }
};

class TestScene : public GraphicsSceneImpl, public Visited {
 public:
  TestScene(Journal* journal, std::string name) : GraphicsSceneImpl(1, 1), Visited(journal, std::move(name)) {
    AddRef();
  }
  void Draw() override { Visit(); }
};

class TestView : public GraphicsView, public Visited {
 public:
  using Visited::Visited;
  void Attach(DrawCallback*) override {}
  void Detach() override {}
  bool BindRenderTarget() override { return false; }
  void UnbindRenderTarget() override {}
  unsigned int width() override { return 0; }
  unsigned int height() override { return 0; }
  void Resize(unsigned int, unsigned int) override {}
  void SetBackgroundColor(float, float, float, float) override {}
  void Draw() override { Visit(); }
  void SetPresentationTime(long long) override {}
  GraphicsTexture* frame_buffer_texture() override { return nullptr; }
};

class TestOutput : public GraphicsOutput, public Visited {
 public:
  using Visited::Visited;
  bool Init() override { return true; }
  void Output(unsigned long long timestamp, int count) override {
    Visit(" " + std::to_string(timestamp) + " " + std::to_string(count));
  }
  void Attach(OutputCallback*) override {}
  void Detach() override {}
};

// Notes its end.
class TestShader : public GraphicsShader {
 public:
  TestShader(Journal* journal, std::string name) : journal_(journal), name_(std::move(name)) {}
  ~TestShader() override { journal_->push_back(name_); }
  bool Bind() override { return true; }

 private:
  Journal* journal_;
  std::string name_;
};

class GraphicsContextImplTest : public ::testing::Test {
 protected:
  LogCapture log_;
  Journal journal_;
  GraphicsContextImpl context_;
};

// Registries. Each has its own pair of functions, so each is tested.

TEST_F(GraphicsContextImplTest, TicksItemsInOrderOfRegistration) {
  TestItem a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  context_.AddItem(&b);
  context_.AddItem(&a);
  context_.AddItem(&c);
  context_.AddItem(&b);  // Ignored.
  context_.AddItem(nullptr);
  context_.TickSource();
  EXPECT_THAT(journal_, ElementsAre("b", "a", "c"));
  journal_.clear();
  context_.RemoveItem(&a);
  context_.RemoveItem(&a);  // Ignored.
  context_.RemoveItem(nullptr);
  context_.TickSource();
  EXPECT_THAT(journal_, ElementsAre("b", "c"));
}

TEST_F(GraphicsContextImplTest, DrawsFiltersInOrderOfRegistration) {
  TestFilter a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  context_.AddFilter(&b);
  context_.AddFilter(&a);
  context_.AddFilter(&c);
  context_.AddFilter(&b);
  context_.AddFilter(nullptr);
  context_.HandleFilters();
  EXPECT_THAT(journal_, ElementsAre("b", "a", "c"));
  journal_.clear();
  context_.RemoveFilter(&a);
  context_.RemoveFilter(&a);
  context_.RemoveFilter(nullptr);
  context_.HandleFilters();
  EXPECT_THAT(journal_, ElementsAre("b", "c"));
}

TEST_F(GraphicsContextImplTest, DrawsASceneAddedTwiceOnce) {
  TestScene a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  context_.AddScene(&b);
  context_.AddScene(&b);
  context_.AddScene(&a);
  context_.AddScene(&c);
  context_.AddScene(nullptr);
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("b", "a", "c"));
  journal_.clear();
  context_.RemoveScene(&a);
  context_.RemoveScene(&a);
  context_.RemoveScene(nullptr);
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("b", "c"));
}

TEST_F(GraphicsContextImplTest, SceneWithoutAUserIsNotDrawn) {
  TestScene used(&journal_, "used"), unused(&journal_, "unused");
  unused.ReleaseRef();
  context_.AddScene(&unused);
  context_.AddScene(&used);
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("used"));
}

TEST_F(GraphicsContextImplTest, ASceneThatIsShownInAnotherIsDrawnBeforeIt) {
  TestScene a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  for (TestScene* scene : {&a, &b, &c}) context_.AddScene(scene);
  a.then = [&] {
    EXPECT_EQ(context_.drawn_scene(), &a);
    context_.NoteShown(&c);
  };
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("a", "b", "c"));
  EXPECT_EQ(context_.drawn_scene(), nullptr);
  context_.NoteShown(&b);  // Nothing is being drawn.
  journal_.clear();
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("c", "a", "b"));
  a.then = nullptr;
  context_.DrawSceneOutput();
  journal_.clear();
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("a", "b", "c"));
  EXPECT_TRUE(context_.shown_scenes().empty());
}

TEST_F(GraphicsContextImplTest, RemovingTheMiddleViewKeepsTheOrderOfTheOthers) {
  TestView a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  context_.AddView(&c);
  context_.AddView(&b);
  context_.AddView(&a);
  context_.AddView(&c);
  context_.AddView(nullptr);
  context_.DrawViews();
  EXPECT_THAT(journal_, ElementsAre("c", "b", "a"));
  journal_.clear();
  context_.RemoveView(&b);
  context_.RemoveView(&b);
  context_.RemoveView(nullptr);
  context_.DrawViews();
  EXPECT_THAT(journal_, ElementsAre("c", "a"));
}

TEST_F(GraphicsContextImplTest, FeedsOutputsTheTimeAndTheCount) {
  TestOutput a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  context_.AddOutput(&b);
  context_.AddOutput(&a);
  context_.AddOutput(&c);
  context_.AddOutput(&b);
  context_.AddOutput(nullptr);
  context_.DoOutput(18446744073709551615ull, 3);
  EXPECT_THAT(journal_,
              ElementsAre("b 18446744073709551615 3", "a 18446744073709551615 3", "c 18446744073709551615 3"));
  journal_.clear();
  context_.RemoveOutput(&a);
  context_.RemoveOutput(&a);
  context_.RemoveOutput(nullptr);
  context_.DoOutput(5, 1);
  EXPECT_THAT(journal_, ElementsAre("b 5 1", "c 5 1"));
}

TEST_F(GraphicsContextImplTest, RegistriesAreApart) {
  TestItem item(&journal_, "item");
  TestView view(&journal_, "view");
  context_.AddItem(&item);
  context_.AddView(&view);
  context_.HandleFilters();
  context_.DrawSceneOutput();
  context_.DoOutput(0, 0);
  EXPECT_THAT(journal_, IsEmpty());
  context_.TickSource();
  context_.DrawViews();
  EXPECT_THAT(journal_, ElementsAre("item", "view"));
}

TEST_F(GraphicsContextImplTest, AddingAndRemovingAreSilent) {
  TestView view(&journal_, "view");
  log_.Clear();
  context_.RemoveView(&view);
  context_.AddView(&view);
  context_.AddView(&view);
  context_.AddView(nullptr);
  context_.RemoveView(&view);
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

// Changes during a walk. Each has its own pair of functions here too.

TEST_F(GraphicsContextImplTest, AnItemThatLeavesInItsTickTakesNoTickFromTheOthers) {
  TestItem a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  for (TestItem* item : {&a, &b, &c}) context_.AddItem(item);
  a.then = [&] { context_.RemoveItem(&a); };
  context_.TickSource();
  EXPECT_THAT(journal_, ElementsAre("a", "b", "c"));
}

TEST_F(GraphicsContextImplTest, AFilterThatLeavesInItsDrawTakesNoDrawFromTheOthers) {
  TestFilter a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  for (TestFilter* filter : {&a, &b, &c}) context_.AddFilter(filter);
  a.then = [&] { context_.RemoveFilter(&a); };
  context_.HandleFilters();
  EXPECT_THAT(journal_, ElementsAre("a", "b", "c"));
}

TEST_F(GraphicsContextImplTest, ASceneThatLeavesInItsDrawTakesNoDrawFromTheOthers) {
  TestScene a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  for (TestScene* scene : {&a, &b, &c}) context_.AddScene(scene);
  a.then = [&] { context_.RemoveScene(&a); };
  context_.DrawSceneOutput();
  EXPECT_THAT(journal_, ElementsAre("a", "b", "c"));
}

TEST_F(GraphicsContextImplTest, AViewThatLeavesInItsDrawTakesNoDrawFromTheOthers) {
  TestView a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  for (TestView* view : {&a, &b, &c}) context_.AddView(view);
  a.then = [&] { context_.RemoveView(&a); };
  context_.DrawViews();
  EXPECT_THAT(journal_, ElementsAre("a", "b", "c"));
}

TEST_F(GraphicsContextImplTest, AnOutputThatLeavesTakesNothingFromTheOthers) {
  TestOutput a(&journal_, "a"), b(&journal_, "b"), c(&journal_, "c");
  for (TestOutput* output : {&a, &b, &c}) context_.AddOutput(output);
  a.then = [&] { context_.RemoveOutput(&a); };
  context_.DoOutput(5, 1);
  EXPECT_THAT(journal_, ElementsAre("a 5 1", "b 5 1", "c 5 1"));
}

TEST_F(GraphicsContextImplTest, WhoLeavesAndComesBackIsReachedOnceAWalk) {
  TestItem item(&journal_, "item"), last_item(&journal_, "last item");
  TestFilter filter(&journal_, "filter"), last_filter(&journal_, "last filter");
  TestScene scene(&journal_, "scene"), last_scene(&journal_, "last scene");
  TestView view(&journal_, "view"), last_view(&journal_, "last view");
  TestOutput output(&journal_, "output"), last_output(&journal_, "last output");
  context_.AddItem(&item);
  context_.AddItem(&last_item);
  context_.AddFilter(&filter);
  context_.AddFilter(&last_filter);
  context_.AddScene(&scene);
  context_.AddScene(&last_scene);
  context_.AddView(&view);
  context_.AddView(&last_view);
  context_.AddOutput(&output);
  context_.AddOutput(&last_output);
  item.then = [&] {
    context_.RemoveItem(&item);
    context_.AddItem(&item);
  };
  filter.then = [&] {
    context_.RemoveFilter(&filter);
    context_.AddFilter(&filter);
  };
  scene.then = [&] {
    context_.RemoveScene(&scene);
    context_.AddScene(&scene);
  };
  view.then = [&] {
    context_.RemoveView(&view);
    context_.AddView(&view);
  };
  output.then = [&] {
    context_.RemoveOutput(&output);
    context_.AddOutput(&output);
  };
  context_.TickSource();
  context_.HandleFilters();
  context_.DrawSceneOutput();
  context_.DrawViews();
  context_.DoOutput(5, 1);
  EXPECT_THAT(journal_, ElementsAre("item", "last item", "filter", "last filter", "scene", "last scene", "view",
                                    "last view", "output 5 1", "last output 5 1"));
}

// The lock.

TEST_F(GraphicsContextImplTest, WalksUnderALockThatIsHeldAlready) {
  TestView view(&journal_, "view");
  MutexLocker<GraphicsContextImpl> lock(context_);
  context_.AddView(&view);
  context_.DrawViews();
  EXPECT_THAT(journal_, ElementsAre("view"));
}

TEST_F(GraphicsContextImplTest, RemovalWaitsForTheWalk) {
  // A scene whose drawing lets another thread remove it meanwhile.
  class BusyScene : public GraphicsSceneImpl {
   public:
    BusyScene(GraphicsContextImpl* context, Journal* journal)
        : GraphicsSceneImpl(1, 1), context_(context), journal_(journal) {
      AddRef();
    }
    void Draw() override {
      Event about_to(false);
      remover = std::thread([&about_to, this] {
        about_to.Signal();
        context_->RemoveScene(this);
        journal_->push_back("removed");
      });
      about_to.Wait();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      journal_->push_back("drawn");
    }
    std::thread remover;

   private:
    GraphicsContextImpl* context_;
    Journal* journal_;
  };
  BusyScene scene(&context_, &journal_);
  context_.AddScene(&scene);
  context_.DrawSceneOutput();
  scene.remover.join();
  EXPECT_THAT(journal_, ElementsAre("drawn", "removed"));
}

TEST_F(GraphicsContextImplTest, AddWaitsForTheLock) {
  TestView view(&journal_, "view");
  context_.Lock();
  Event about_to(false);
  std::thread adder([&] {
    about_to.Signal();
    context_.AddView(&view);
    journal_.push_back("added");
  });
  about_to.Wait();
  for (int i = 0; i < 100; ++i) std::this_thread::yield();
  journal_.push_back("unlocked");
  context_.Unlock();
  adder.join();
  EXPECT_THAT(journal_, ElementsAre("unlocked", "added"));
}

TEST_F(GraphicsContextImplTest, WaitForTheLockIsAPartOfTheFrameThatWaits) {
  fake_clock::Reset();
  FrameTimes times;
  times.Begin(fake_clock::Now());
  context_.Lock();
  {
    const test::Waiter waiter([&] {
      const MeasuredFrames measured(&times);
      MutexLocker<GraphicsContextImpl> lock(context_);
    });
    fake_clock::Advance(40);
    context_.Unlock();
  }
  EXPECT_EQ(times.End(1).context_lock_wait_ns, 40u);
}

TEST_F(GraphicsContextImplTest, LockThatNobodyHoldsIsNotWaitedFor) {
  FrameTimes times;
  times.Begin(0);
  const MeasuredFrames measured(&times);
  MutexLocker<GraphicsContextImpl> lock(context_);
  MutexLocker<GraphicsContextImpl> again(context_);
  EXPECT_EQ(times.End(1).context_lock_wait_ns, kGsNotMeasured);  // The clock has not even been read.
}

// Programs.

TEST_F(GraphicsContextImplTest, TakenShaderNameKeepsItsProgramAndDestroysTheNewcomer) {
  auto* a = new TestShader(&journal_, "a");
  log_.Clear();
  context_.AddShader("x", a);
  context_.AddShader("x", new TestShader(&journal_, "b"));
  EXPECT_THAT(journal_, ElementsAre("b"));
  EXPECT_EQ(context_.GetShader("x"), a);
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(GraphicsContextImplTest, ShadersAreFoundByTheirExactName) {
  auto* shader = new TestShader(&journal_, "a");
  context_.AddShader("Name", shader);
  EXPECT_EQ(context_.GetShader("Name"), shader);
  EXPECT_EQ(context_.GetShader("name"), nullptr);
  EXPECT_EQ(context_.GetShader("Name "), nullptr);
  EXPECT_EQ(context_.GetShader(""), nullptr);
}

TEST_F(GraphicsContextImplTest, NullShaderIsIgnored) {
  context_.AddShader("x", nullptr);
  EXPECT_EQ(context_.GetShader("x"), nullptr);
  auto* shader = new TestShader(&journal_, "a");
  context_.AddShader("x", shader);
  EXPECT_EQ(context_.GetShader("x"), shader);
  context_.AddShader("x", nullptr);
  EXPECT_EQ(context_.GetShader("x"), shader);
}

TEST_F(GraphicsContextImplTest, ReleaseShaderDestroysEveryProgram) {
  context_.AddShader("x", new TestShader(&journal_, "a"));
  context_.AddShader("y", new TestShader(&journal_, "b"));
  context_.ReleaseShader();
  EXPECT_THAT(journal_, UnorderedElementsAre("a", "b"));
  EXPECT_EQ(context_.GetShader("x"), nullptr);
  // The name is free again.
  auto* again = new TestShader(&journal_, "c");
  context_.AddShader("x", again);
  EXPECT_EQ(context_.GetShader("x"), again);
}

TEST_F(GraphicsContextImplTest, DestructionDestroysProgramsAndLeavesTheRegisteredAlone) {
  TestView view(&journal_, "view");
  {
    GraphicsContextImpl context;
    context.AddShader("x", new TestShader(&journal_, "shader"));
    context.AddView(&view);
  }
  EXPECT_THAT(journal_, ElementsAre("shader"));
  view.Draw();
  EXPECT_THAT(journal_, ElementsAre("shader", "view"));
}

// What the backend overrides.

TEST_F(GraphicsContextImplTest, DrawingOperationsWarn) {
  log_.Clear();
  EXPECT_FALSE(context_.BindShader("x"));
  context_.UnbindShader();
  context_.SetViewPort(0, 0, 1, 1);
  context_.DrawRect(internal_transform(internal_vec2(1.0f, 1.0f)), internal_vec2(1.0f, 1.0f));
  context_.DrawVertexArray(nullptr, 0, nullptr, 0, internal_transform(internal_vec2(1.0f, 1.0f)),
                           internal_vec2(1.0f, 1.0f));
  context_.BuildShader();
  using Line = LogCapture::Line;
  constexpr auto kWarn = Logger::Level::Warn;
  EXPECT_THAT(
      log_.Lines(),
      ElementsAre(Line{kWarn, "BindShader is unimplemented"}, Line{kWarn, "UnbindShader is unimplemented"},
                  Line{kWarn, "SetViewPort is unimplemented"}, Line{kWarn, "DrawRect is unimplemented"},
                  Line{kWarn, "DrawVertexArray is unimplemented"}, Line{kWarn, "BuildShader is unimplemented"}));
}

TEST_F(GraphicsContextImplTest, WinrtOperationsDoNothing) {
  log_.Clear();
  context_.InitWinrt();
  context_.UninitWinrt();
  EXPECT_THAT(log_.Lines(), IsEmpty());
}

TEST_F(GraphicsContextImplTest, HasTheMatricesOfBothRanges) {
  float full[16];
  float limited[16];
  InitializeFullRangeMatrix(full);
  InitializeLimitedRangeMatrix(limited);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(context_.matrix_full()[i], full[i]) << i;
    EXPECT_EQ(context_.matrix_limit()[i], limited[i]) << i;
  }
}

TEST_F(GraphicsContextImplTest, ConstructionLogsTheMatrixOfTheFullRangeFirst) {
  log_.Clear();
  GraphicsContextImpl context;
  const std::vector<LogCapture::Line> lines = log_.Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0].level, Logger::Level::Debug);
  EXPECT_EQ(lines[0].text.substr(0, 22), "\n 1.000000,  0.000000,");
  EXPECT_EQ(lines[1].level, Logger::Level::Debug);
  EXPECT_EQ(lines[1].text.substr(0, 22), "\n 1.164384,  0.000000,");
}

}  // namespace
