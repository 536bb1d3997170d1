// The presenting half of a view, with a context that draws and a window system that does as the test says.
#include "graphics/opengl/cgl/view_presenter.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "graphics/opengl/cgl/window_thread.h"
#include "tests/support/gl_fixture.h"
#include "tests/support/gl_watch.h"
#include "tests/support/stalled_window_thread.h"

namespace {

using test::StalledWindowThread;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using Place = NativeContext::Place;

// What the window system answers, and what it was asked. Outlives the context.
class WindowSystemScript {
 public:
  void Note(const std::string& call) {
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back(call);
    threads_.push_back(std::this_thread::get_id());
  }
  std::vector<std::string> TakeCalls() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(calls_, {});
  }
  std::vector<std::thread::id> threads() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return threads_;
  }

  // Set while nothing is handed over.
  bool exists = true;
  Place place = Place::kMade;
  bool can_present = true;
  bool takes_pictures = true;
  bool ready = true;  // Whether a picture is wanted.
  std::function<void()> on_ready;
  std::function<void()> on_present;
  bool lacks_memory = false;  // To take a place.

 private:
  std::mutex mutex_;
  std::vector<std::string> calls_;
  std::vector<std::thread::id> threads_;
};

class ScriptedContext : public NativeContext {
 public:
  ScriptedContext(std::unique_ptr<NativeContext> real, WindowSystemScript* script)
      : real_(std::move(real)), script_(script) {}
  ~ScriptedContext() override { script_->Note("end"); }

  void Lock() override { real_->Lock(); }
  bool TryLock() override { return real_->TryLock(); }
  void Unlock() override { real_->Unlock(); }
  bool MakeCurrent(Current* previous) override { return real_->MakeCurrent(previous); }
  bool IsCurrent() const override { return real_->IsCurrent(); }
  bool HasWindowSystem() const override { return script_->exists; }
  Place AttachWindow(void* window, unsigned int width, unsigned int height) override {
    script_->Note("attach " + std::to_string(width) + "x" + std::to_string(height) +
                  (window ? " in " + std::to_string(reinterpret_cast<std::uintptr_t>(window)) : ""));
    if (script_->lacks_memory) throw std::bad_alloc();
    return script_->place;
  }
  void DetachWindow() override { script_->Note("detach"); }
  bool CanPresent() override { return script_->can_present; }
  bool ReadyToPresent() override { return script_->ready; }
  void SetOnReady(std::function<void()> on_ready) override { script_->on_ready = std::move(on_ready); }
  void SetOnScale(std::function<void(float)>) override {}
  void ResizeWindow(unsigned int width, unsigned int height) override {
    script_->Note("resize " + std::to_string(width) + "x" + std::to_string(height));
  }
  void MoveWindow(int x, int y) override { script_->Note("move " + std::to_string(x) + "," + std::to_string(y)); }
  void WindowSize(unsigned int*, unsigned int*) override {}
  void SetWindowBackground(float, float, float) override {}
  void SetSwapInterval(int) override {}
  bool Present() override {
    script_->Note("present");
    if (script_->on_present) script_->on_present();
    return script_->takes_pictures;
  }

 private:
  const std::unique_ptr<NativeContext> real_;
  WindowSystemScript* const script_;
};

class ViewPresenterTest : public GlTest {
 protected:
  const test::WrongOnPurpose wrong_;  // Pictures are presented without a surface, which is nothing to draw into.

  ViewPresenter* Create() {
    return ViewPresenter::Create(
        std::make_unique<ScriptedContext>(GraphicsContextCGL::CreateContext(context()->native()), &script_));
  }
  // Waits until all that was handed over is done: whoever hands over waits only so long.
  static void Settle() {
    while (!WindowThread::Get().HandOver([] {})) {
    }
  }
  // The window system wants a picture, from now on.
  void BecomeReady() {
    WindowThread::Get().HandOver([this] {
      script_.ready = true;
      script_.on_ready();
    });
    Settle();
  }
  // GL has no window to copy a picture to, only the script has.
  void TakeLogOfCopies() { EXPECT_THAT(TakeLog(), Each(HasSubstr("W: INVALID_FRAMEBUFFER_OPERATION | "))); }
  // Hands over a picture of 8 x 6 pixels.
  void HandOverPicture(ViewPresenter* presenter) {
    const test::CurrentContext current(context());
    ViewImages& images = presenter->images();
    ASSERT_TRUE(!images.empty() || images.Make(context(), {8, 6}));
    ASSERT_NE(images.Begin(), nullptr);
    images.Fence();
    glFlush();
    EXPECT_TRUE(images.Finish({8, 6}, {0, 0, 0, 1}));
    images.End();
    presenter->HandOverPicture();
  }
  void CloseImages(ViewPresenter* presenter) {
    const test::CurrentContext current(context());
    presenter->images().Close(true);
  }
  // Its end may be the last thing that is handed over.
  void End(ViewPresenter* presenter) {
    CloseImages(presenter);
    presenter->HandOverEnd();
    Settle();
    TakeLogOfCopies();
  }
  // Pictures drawn, presented and skipped.
  static std::vector<std::uint32_t> Counts(const ViewPresenter* presenter) {
    const ViewCounts counts = presenter->images().counts();
    return {counts.drawn, counts.presented, counts.skipped};
  }

  WindowSystemScript script_;
};

TEST_F(ViewPresenterTest, DoesOnTheWindowThreadWhatIsHandedOver) {
  std::thread::id window_thread;
  WindowThread::Get().HandOver([&] { window_thread = std::this_thread::get_id(); });
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  presenter->HandOverSize({4, 3});
  Settle();
  End(presenter);
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "resize 4x3", "detach", "end"));
  EXPECT_THAT(script_.threads(), Each(window_thread));
}

TEST_F(ViewPresenterTest, DoesItAtOnceWithoutAWindowSystem) {
  script_.exists = false;
  script_.place = Place::kNever;
  script_.can_present = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  EXPECT_FALSE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window());
  presenter->HandOverEnd();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "detach", "end"));
  EXPECT_THAT(script_.threads(), Each(std::this_thread::get_id()));
}

TEST_F(ViewPresenterTest, LooksForAWindowThatMayComeUntilItHas) {
  script_.place = Place::kNotYet;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_TRUE(presenter->may_find_window());
  script_.place = Place::kMade;
  presenter->HandOverSearch({8, 6});
  Settle();
  EXPECT_TRUE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window());
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "attach 8x6"));
  presenter->HandOverSearch({8, 6});
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty()) << "a place is made once";
  End(presenter);
}

TEST_F(ViewPresenterTest, DoesNotLookAgainWhereThereNeverIsAWindow) {
  script_.place = Place::kNever;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window());
  presenter->HandOverSearch({8, 6});
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6"));
  End(presenter);
}

TEST_F(ViewPresenterTest, SizeOfNothingLeavesThePlaceItsSize) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverSize({0, 0});
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  End(presenter);
}

TEST_F(ViewPresenterTest, PresentsThePictureThatWasHandedOver) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  HandOverPicture(presenter);
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "present"));
  EXPECT_THAT(Counts(presenter), ElementsAre(1, 1, 0));
  End(presenter);
}

TEST_F(ViewPresenterTest, PresentsNothingOnceTheWindowHasGone) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  ASSERT_TRUE(presenter->can_present());
  script_.TakeCalls();
  script_.can_present = false;
  HandOverPicture(presenter);
  Settle();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window()) << "a window that has gone does not come again";
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  EXPECT_THAT(Counts(presenter), ElementsAre(1, 0, 1));
  End(presenter);
}

TEST_F(ViewPresenterTest, PictureThatTheWindowSystemDoesNotTakeIsSkipped) {
  script_.takes_pictures = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  HandOverPicture(presenter);
  Settle();
  EXPECT_THAT(Counts(presenter), ElementsAre(1, 0, 1));
  End(presenter);
}

// As long as the window thread is kept, nobody waits, and of all that was asked for the newest is done.
TEST_F(ViewPresenterTest, NewestOfEachIsDoneWhenTheWindowThreadComesToIt) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  script_.TakeCalls();
  {
    const StalledWindowThread stalled;
    for (int i = 0; i < 10; ++i) HandOverPicture(presenter);
    presenter->HandOverSize({4, 3});
    presenter->HandOverSize({5, 3});
    EXPECT_THAT(script_.TakeCalls(), IsEmpty());
    EXPECT_THAT(Counts(presenter), ElementsAre(10, 0, 9));
  }
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("present", "resize 5x3")) << "the picture is of the size before";
  EXPECT_THAT(Counts(presenter), ElementsAre(10, 1, 9));
  {
    const StalledWindowThread stalled;
    HandOverPicture(presenter);
    presenter->HandOverSize({8, 6});
    HandOverPicture(presenter);
  }
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("resize 8x6", "present")) << "the picture is of the new size";
  EXPECT_THAT(Counts(presenter), ElementsAre(12, 2, 10));
  End(presenter);
}

void* Window(std::uintptr_t id) { return reinterpret_cast<void*>(id); }

TEST_F(ViewPresenterTest, MovesThePlaceBeforeItIsMadeAndAfter) {
  ViewPresenter* const presenter = Create();
  {
    const StalledWindowThread stalled;
    presenter->HandOverWindow(nullptr, {8, 6});
    presenter->HandOverPosition(1, 2);
    presenter->HandOverPosition(-3, 4);
    EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  }
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("move -3,4", "attach 8x6"));
  presenter->HandOverPosition(5, 6);
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("move 5,6"));
  End(presenter);
}

TEST_F(ViewPresenterTest, LeavesAWindowForAnotherOfTheSizeLastAskedFor) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(Window(1), {8, 6});
  Settle();
  presenter->HandOverSize({4, 3});
  presenter->HandOverSize({0, 0});
  presenter->HandOverOtherWindow(Window(2));
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ::testing::IsSupersetOf({"attach 8x6 in 1", "detach", "attach 4x3 in 2"}));
  HandOverPicture(presenter);
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("present"));
  EXPECT_THAT(Counts(presenter), ElementsAre(1, 1, 0));
  End(presenter);
}

TEST_F(ViewPresenterTest, OfManyWindowsTheLastIsTaken) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(Window(1), {8, 6});
  Settle();
  script_.TakeCalls();
  {
    const StalledWindowThread stalled;
    for (std::uintptr_t id = 2; id <= 100; ++id) presenter->HandOverOtherWindow(Window(id));
  }
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("detach", "attach 8x6 in 100"));
  End(presenter);
}

// But one that shows nothing any more is taken anew: it may be another of the same name.
TEST_F(ViewPresenterTest, KeepsTheWindowThatItHas) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(Window(1), {8, 6});
  Settle();
  script_.TakeCalls();
  presenter->HandOverOtherWindow(Window(1));
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  EXPECT_TRUE(presenter->can_present());
  script_.can_present = false;
  presenter->HandOverOtherWindow(Window(1));
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("detach", "attach 8x6 in 1"));
  End(presenter);
}

TEST_F(ViewPresenterTest, LooksForTheOtherWindowToo) {
  script_.place = Place::kNever;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(Window(1), {8, 6});
  Settle();
  script_.place = Place::kNotYet;
  presenter->HandOverOtherWindow(Window(2));
  Settle();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_TRUE(presenter->may_find_window());
  script_.place = Place::kMade;
  presenter->HandOverSearch({8, 6});
  Settle();
  EXPECT_TRUE(presenter->can_present());
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6 in 1", "detach", "attach 8x6 in 2", "attach 8x6 in 2"));
  End(presenter);
}

TEST_F(ViewPresenterTest, AsksNothingOfAWindowSystemThatIsMissing) {
  script_.exists = false;
  script_.place = Place::kNever;
  script_.can_present = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(Window(1), {8, 6});
  presenter->HandOverPosition(1, 2);
  presenter->HandOverOtherWindow(Window(2));
  presenter->HandOverEnd();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6 in 1", "detach", "end"));
}

// The window thread has other views to serve.
TEST_F(ViewPresenterTest, KeepsTheNewestPictureUntilTheWindowSystemWantsOne) {
  script_.ready = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  for (int i = 0; i < 3; ++i) {
    HandOverPicture(presenter);
    Settle();
  }
  EXPECT_THAT(Counts(presenter), ElementsAre(3, 0, 2));
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6"));
  EXPECT_TRUE(presenter->can_present()) << "it only waits";
  BecomeReady();
  EXPECT_THAT(Counts(presenter), ElementsAre(3, 1, 2));
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("present"));
  WindowThread::Get().HandOver([&] { script_.on_ready(); });
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty()) << "nothing waits any more";
  End(presenter);
}

TEST_F(ViewPresenterTest, OnlyTheLastSizeComesAfterAPictureThatWaits) {
  script_.ready = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  HandOverPicture(presenter);
  Settle();
  script_.TakeCalls();
  presenter->HandOverSize({4, 3});
  Settle();
  presenter->HandOverSize({5, 4});
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty()) << "the picture is of the size before";
  BecomeReady();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("present", "resize 5x4"));
  End(presenter);
}

TEST_F(ViewPresenterTest, ASizeComesBeforeThePictureThatIsDrawnAfterIt) {
  script_.ready = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  HandOverPicture(presenter);
  presenter->HandOverSize({4, 3});
  Settle();
  script_.TakeCalls();
  HandOverPicture(presenter);
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("resize 4x3"));
  BecomeReady();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("present"));
  End(presenter);
}

TEST_F(ViewPresenterTest, WaitsForNobodyWhoHasTheViewsContext) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  script_.TakeCalls();
  presenter->context()->Lock();
  HandOverPicture(presenter);
  presenter->HandOverSize({4, 3});
  presenter->HandOverPosition(1, 2);
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  presenter->context()->Unlock();
  presenter->GoOn();
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("move 1,2", "present", "resize 4x3"));
  presenter->GoOn();
  Settle();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  End(presenter);
}

TEST_F(ViewPresenterTest, DoesNothingButEndOnceTheViewIsGone) {
  ViewPresenter* const presenter = Create();
  {
    const StalledWindowThread stalled;
    presenter->HandOverSize({4, 3});
    HandOverPicture(presenter);
    CloseImages(presenter);
    presenter->HandOverEnd();
    EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  }
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("detach", "end"));
}

// The window system keeps a picture waiting for longer than the host waits for its view's end.
TEST_F(ViewPresenterTest, LeavesTheWindowAloneOnceTheViewIsGone) {
  std::promise<void> presents, ended;
  script_.on_present = [&] {
    presents.set_value();
    ended.get_future().wait();
  };
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  {
    const StalledWindowThread stalled;
    HandOverPicture(presenter);
    presenter->HandOverSize({4, 3});
  }
  presents.get_future().wait();
  CloseImages(presenter);
  presenter->HandOverEnd();
  ended.set_value();
  Settle();
  TakeLogOfCopies();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "present", "detach", "end"));
}

// Whoever draws the view takes the lock of its context in each frame.
TEST_F(ViewPresenterTest, LeavesTheContextFreeWhenMemoryIsMissing) {
  script_.lacks_memory = true;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  presenter->context()->Lock();
  presenter->context()->Unlock();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_THAT(TakeLog(), ElementsAre("E: Work for a view comes to nothing: no memory"));
  End(presenter);
}

}  // namespace
