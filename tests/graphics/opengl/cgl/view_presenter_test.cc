// The presenting half of a view, with a context that draws and a window system that does as the test says.
#include "graphics/opengl/cgl/view_presenter.h"

#include <gmock/gmock.h>

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

namespace {

using ::testing::ElementsAre;
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
  void Unlock() override { real_->Unlock(); }
  bool MakeCurrent(Current* previous) override { return real_->MakeCurrent(previous); }
  bool IsCurrent() const override { return real_->IsCurrent(); }
  bool HasWindowSystem() const override { return script_->exists; }
  Place AttachWindow(void*, unsigned int width, unsigned int height) override {
    script_->Note("attach " + std::to_string(width) + "x" + std::to_string(height));
    if (script_->lacks_memory) throw std::bad_alloc();
    return script_->place;
  }
  void DetachWindow() override { script_->Note("detach"); }
  bool CanPresent() override { return script_->can_present; }
  void ResizeWindow(unsigned int width, unsigned int height) override {
    script_->Note("resize " + std::to_string(width) + "x" + std::to_string(height));
  }
  void WindowSize(unsigned int*, unsigned int*) override {}
  void SetWindowBackground(float, float, float) override {}
  void SetSwapInterval(int) override {}
  void Present() override { script_->Note("present"); }

 private:
  const std::unique_ptr<NativeContext> real_;
  WindowSystemScript* const script_;
};

class ViewPresenterTest : public GlTest {
 protected:
  ViewPresenter* Create() {
    return ViewPresenter::Create(
        std::make_unique<ScriptedContext>(GraphicsContextCGL::CreateContext(context()->native()), &script_));
  }
  // Waits until all that was handed over is done: whoever hands over waits only so long.
  static void Settle() {
    while (!WindowThread::Get().HandOver([] {})) {
    }
  }
  // Its end may be the last thing that is handed over.
  static void End(ViewPresenter* presenter) {
    presenter->HandOverEnd();
    Settle();
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
  EXPECT_THAT(script_.threads(), ::testing::Each(window_thread));
}

TEST_F(ViewPresenterTest, DoesItAtOnceWithoutAWindowSystem) {
  script_.exists = false;
  script_.place = Place::kNever;
  script_.can_present = false;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  EXPECT_FALSE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window());
  EXPECT_FALSE(presenter->lags());
  presenter->HandOverEnd();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "detach", "end"));
  EXPECT_THAT(script_.threads(), ::testing::Each(std::this_thread::get_id()));
}

TEST_F(ViewPresenterTest, LooksForAWindowThatMayComeUntilItHas) {
  script_.place = Place::kNotYet;
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_TRUE(presenter->may_find_window());
  script_.place = Place::kMade;
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  EXPECT_TRUE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window());
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("attach 8x6", "attach 8x6"));
  presenter->HandOverWindow(nullptr, {8, 6});
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
  presenter->HandOverWindow(nullptr, {8, 6});
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

TEST_F(ViewPresenterTest, PresentsNothingOnceTheWindowHasGone) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  ASSERT_TRUE(presenter->can_present());
  script_.TakeCalls();
  script_.can_present = false;
  presenter->HandOverPicture({});
  Settle();
  EXPECT_FALSE(presenter->can_present());
  EXPECT_FALSE(presenter->may_find_window()) << "a window that has gone does not come again";
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  End(presenter);
}

// The view has replaced the image that the picture is in.
TEST_F(ViewPresenterTest, PresentsNoImageThatIsGone) {
  ViewPresenter* const presenter = Create();
  presenter->HandOverWindow(nullptr, {8, 6});
  Settle();
  script_.TakeCalls();
  ViewPresenter::Picture picture;
  picture.texture = 0xffff;
  picture.image = picture.size = {8, 6};
  presenter->HandOverPicture(picture);
  Settle();
  EXPECT_TRUE(presenter->can_present());
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  End(presenter);
}

TEST_F(ViewPresenterTest, DoesNothingButEndOnceTheViewIsGone) {
  ViewPresenter* const presenter = Create();
  std::promise<void> stalled;
  std::promise<void> go_on;
  std::thread other([&] {
    WindowThread::Get().HandOver([&] {
      stalled.set_value();
      go_on.get_future().wait();
    });
  });
  stalled.get_future().wait();
  presenter->HandOverSize({4, 3});
  EXPECT_TRUE(presenter->lags());
  presenter->HandOverEnd();
  EXPECT_THAT(script_.TakeCalls(), IsEmpty());
  go_on.set_value();
  other.join();
  Settle();
  EXPECT_THAT(script_.TakeCalls(), ElementsAre("detach", "end"));
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
