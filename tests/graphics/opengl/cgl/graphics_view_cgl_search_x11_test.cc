// The engine's view and a window that is not there yet, against a clock that stands still until the test moves it.
#include "graphics/opengl/cgl/graphics_view_cgl.h"

#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "graphics/internal_types.h"
#include "tests/graphics/opengl/cgl/engine_view_test.h"
#include "tests/support/fake_os_time.h"

namespace {

using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Le;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr std::uint64_t kSecondNs = 1'000'000'000;

// Asks for a window and keeps what it asks for to itself until Flush, as toolkits do.
class LateWindow {
 public:
  LateWindow(const test::XConnection& connection, int width, int height)
      : connection_(connection), id_(xcb_generate_id(connection.get())) {
    const std::uint32_t values[] = {0x00f000, 1};
    xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, id_, connection.screen()->root, 0, 0,
                      static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT,
                      values);
    xcb_map_window(connection.get(), id_);
  }
  void Flush() const { connection_.Sync(); }
  void* handle() const { return reinterpret_cast<void*>(static_cast<std::uintptr_t>(id_)); }
  std::string name() const {
    char text[20];
    std::snprintf(text, sizeof(text), "0x%x", id_);
    return text;
  }
  test::XWindow window() const { return test::XWindow(connection_, id_); }

 private:
  const test::XConnection& connection_;
  const xcb_window_t id_;
};

class WindowSearchTest : public EngineViewTest {
 protected:
  WindowSearchTest() {
    fake_clock::Reset();
    host_ = std::make_unique<test::XConnection>(TheXServer().display());
  }

  std::unique_ptr<GraphicsView> MakeView(void* window) {
    std::unique_ptr<GraphicsView> view(device()->CreateView(InternalWindowInfo{window}, 120, 90));
    view->SetBackgroundColor(1, 0, 0, 1);
    return view;
  }
  const test::XConnection& host() const { return *host_; }
  // Whether it comes to show what the view draws, while the clock stands still.
  static bool Shows(const test::XWindow& window, GraphicsView* view) {
    return window.ComesToShow(test::Flat(120, 90, 0xff0000), {}, [view] { Draw(view); });
  }

 private:
  std::unique_ptr<test::XConnection> host_;
};

TEST_F(WindowSearchTest, FindsAWindowThatIsFlushedAfterTheView) {
  const LateWindow late(host(), 120, 90);
  const auto view = MakeView(late.handle());
  EXPECT_THAT(TakeLog(), ElementsAre("W: A view cannot be shown in window " + late.name() +
                                     ": there is no such window, or the connection that made it was not flushed; it "
                                     "is looked for again for a while"));
  late.Flush();
  EXPECT_TRUE(Shows(late.window(), view.get()));
  EXPECT_TRUE(log().Has(Logger::Level::Info, "The window " + late.name() + " of a view is there now"));
}

TEST_F(WindowSearchTest, LooksAgainAfterAWhile) {
  const LateWindow late(host(), 120, 90);
  const auto view = MakeView(late.handle());
  TakeLog();
  for (int i = 0; i < 200; ++i) {
    Draw(view.get());
    fake_clock::Advance(kSecondNs / 60);
  }
  EXPECT_THAT(TakeLog(), IsEmpty());
  late.Flush();
  fake_clock::Advance(kSecondNs);
  EXPECT_TRUE(Shows(late.window(), view.get()));
}

// A frame costs nothing between two looks, and none costs anything in the end.
TEST_F(WindowSearchTest, LooksSeldomAndGivesUp) {
  const LateWindow late(host(), 120, 90);
  const auto view = MakeView(late.handle());
  TakeLog();
  Draw(view.get());
  late.Flush();
  for (int i = 0; i < 3; ++i) Draw(view.get());
  EXPECT_EQ(late.window().ChildCount(), 0);
  fake_clock::Advance(kSecondNs);
  EXPECT_TRUE(Shows(late.window(), view.get()));

  const LateWindow too_late(host(), 120, 90);
  const auto other = MakeView(too_late.handle());
  EXPECT_THAT(TakeLog(), SizeIs(1));
  for (int i = 0; i < 60; ++i) {
    Draw(other.get());
    fake_clock::Advance(kSecondNs);
  }
  too_late.Flush();
  Draw(other.get());
  EXPECT_EQ(too_late.window().ChildCount(), 0);
}

// To the size that it has, too: toolkits say it when a window has come.
TEST_F(WindowSearchTest, LooksAgainAfterAResize) {
  const LateWindow late(host(), 120, 90);
  const auto view = MakeView(late.handle());
  TakeLog();
  for (int i = 0; i < 60; ++i) {
    Draw(view.get());
    fake_clock::Advance(kSecondNs);
  }
  late.Flush();
  Draw(view.get());
  EXPECT_EQ(late.window().ChildCount(), 0);
  view->Resize(120, 90);
  EXPECT_TRUE(Shows(late.window(), view.get()));
}

// It is as new: said once, looked for a while, and put where the view was to be.
TEST_F(WindowSearchTest, LooksForAnotherWindowToo) {
  const test::XWindow first(host(), 120, 90);
  const LateWindow late(host(), 120, 90);
  const auto view = MakeView(first.handle());
  for (int i = 0; i < 60; ++i) {
    Draw(view.get());
    fake_clock::Advance(kSecondNs);
  }
  EXPECT_THAT(TakeLog(), IsEmpty());
  ToPresented(view.get())->Move(20, 10);
  ToPresented(view.get())->SetWindow({late.handle()});
  for (int i = 0; i < 5; ++i) Draw(view.get());
  EXPECT_TRUE(first.ComesToHold(0));
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("window " + late.name() + ": there is no such window, or")));
  fake_clock::Advance(kSecondNs);
  late.Flush();
  test::Picture expected = test::Flat(120, 90, 0x00f000);
  for (int y = 10; y < 90; ++y) {
    for (int x = 20; x < 120; ++x) {
      unsigned char* const pixel = expected.pixels.data() + (y * 120 + x) * 4;
      pixel[0] = 255;
      pixel[1] = 0;
    }
  }
  EXPECT_TRUE(late.window().ComesToShow(expected, {}, [&] { Draw(view.get()); }));
  EXPECT_TRUE(log().Has(Logger::Level::Info, "The window " + late.name() + " of a view is there now"));
}

TEST_F(WindowSearchTest, DoesNotLookForAWindowThatHasGone) {
  auto window = std::make_unique<test::XWindow>(host(), 120, 90);
  const auto view = MakeView(window->handle());
  Draw(view.get());
  window.reset();
  for (int i = 0; i < 10; ++i) {
    Draw(view.get());
    view->Resize(120, 90);
    fake_clock::Advance(kSecondNs);
  }
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone")));
}

TEST_F(WindowSearchTest, LooksForAWindowThatHasGoneWhereItIsNamedAnew) {
  auto window = std::make_unique<test::XWindow>(host(), 120, 90);
  const auto view = MakeView(window->handle());
  Draw(view.get());
  void* const handle = window->handle();
  window.reset();
  ToPresented(view.get())->SetWindow({handle});
  for (int i = 0; i < 5; ++i) Draw(view.get());
  EXPECT_THAT(TakeLog(), ElementsAre(HasSubstr("is gone"), HasSubstr("there is no such window, or")));
}

TEST_F(WindowSearchTest, MayEndWithTheViewThatLooks) {
  const LateWindow late(host(), 120, 90);
  auto view = MakeView(late.handle());
  TakeLog();
  Draw(view.get());
  view.reset();
  late.Flush();
  EXPECT_EQ(late.window().ChildCount(), 0);
}

// The window is there, but the view's context cannot be made current in it.
TEST_F(WindowSearchTest, PresentsNothingUntilTheContextWasCurrentInTheWindow) {
  const test::XWindow window(host(), 120, 90);
  gl_spy::faults().window_current = true;
  const auto view = MakeView(window.handle());
  gl_spy::StartTrace();
  for (int i = 0; i < 5; ++i) Draw(view.get());
  EXPECT_THAT(TakeTrace(), Not(Contains(AnyOf(HasSubstr("blit"), HasSubstr("present")))));
  EXPECT_THAT(TakeLog(), AllOf(SizeIs(Le(2u)), Each(StartsWith("E: Failed to make the context current"))));
  gl_spy::faults().window_current = false;
  fake_clock::Advance(kSecondNs);
  EXPECT_TRUE(Shows(window, view.get()));
}

}  // namespace
