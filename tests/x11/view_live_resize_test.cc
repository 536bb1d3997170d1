// What is on the screen while a window and its view change their size: the picture at the upper left, of one frame as a
// whole, the view's background where it does not reach, and nothing else.
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/x11/view_host.h"

namespace {

using host::PatternScene;
using host::View;
using host::ViewOf;
using test::Flat;
using test::HostLoop;
using test::Picture;
using test::XWindow;

constexpr std::uint32_t kBackdrop = 0x336699;  // The same colour as host::kBackdrop.

// The picture at the upper left of a window that is larger or smaller.
Picture InACorner(const Picture& picture, int width, int height, std::uint32_t beside) {
  Picture whole = Flat(width, height, beside);
  for (int y = 0; y < std::min(height, picture.height); ++y) {
    std::copy_n(picture.at(0, y), 4 * std::min(width, picture.width), whole.at(0, y));
  }
  return whole;
}

class ViewLiveResizeTest : public host::ViewTest {};

// The image and the child window keep the old size until the main queue has run. The picture of the new size is there,
// where the window has its upper left corner.
TEST_F(ViewLiveResizeTest, SmallerPictureLiesAtTheUpperLeftAtOnce) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 200, 160);
  View view(window.handle(), 200, 160, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 160)));
  view.Resize(120, 100);
  const Picture smaller = ViewOf(scene.picture(), 120, 100).picture();
  EXPECT_TRUE(Shows(window, InACorner(smaller, 200, 160, kBackdrop)));
  window.Resize(120, 100);
  EXPECT_TRUE(Shows(window, smaller));
  EXPECT_EQ(queue.Run(), 1u);
  EXPECT_TRUE(Shows(window, smaller));
}

TEST_F(ViewLiveResizeTest, WiderAndLowerPictureLiesAtTheUpperLeftAtOnce) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 120, 160, {0, 0, 0x123456});
  View view(window.handle(), 120, 160, scene.scene());
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 120, 160)));
  window.Resize(200, 100);
  view.Resize(200, 100);
  const Picture after = ViewOf(scene.picture(), 200, 100).picture();
  // What the image has no room for is missing.
  const Picture during = InACorner(InACorner(after, 120, 100, 0), 200, 100, 0x123456);
  EXPECT_TRUE(Shows(window, during));
  EXPECT_EQ(queue.Run(), 1u);
  EXPECT_TRUE(Shows(window, after));
}

// The window has grown, the next picture is not drawn yet.
TEST_F(ViewLiveResizeTest, BackgroundFillsWhatIsNewUntilTheNextPicture) {
  HostLoop queue;
  const PatternScene scene(64, 48, device);
  XWindow window(x11, 200, 160, {0, 0, 0x123456});
  View view(window.handle(), 120, 100, scene.scene());
  EXPECT_TRUE(Shows(window, InACorner(ViewOf(scene.picture(), 120, 100).picture(), 200, 160, 0x123456)));
  view.Resize(120, 101);
  // Until the main queue has run, the image has the lower part of the higher picture.
  const Picture higher = ViewOf(scene.picture(), 120, 101).picture();
  const Picture before = Picture(higher.at(0, 1), 120 * 4, 120, 100, 4);
  EXPECT_TRUE(Shows(window, InACorner(before, 200, 160, 0x123456)));
  view.Resize(200, 160);
  EXPECT_EQ(queue.Run(), 1u);
  EXPECT_TRUE(window.ComesToShow(InACorner(before, 200, 160, kBackdrop), host::kViewTolerance));
  EXPECT_TRUE(Shows(window, ViewOf(scene.picture(), 200, 160)));
}

// The host's own window comes through until there is a picture.
TEST_F(ViewLiveResizeTest, ViewThatWasNeverDrawnShowsNothing) {
  XWindow window(x11, 120, 90, {0, 0, 0xabcdef});
  GsViewImpl view({window.handle()}, 120, 90, nullptr);
  view.SetBackgroundColor(1, 0, 0, 1);
  EXPECT_TRUE(window.ComesToHold(1));
  Frames(3);
  EXPECT_TRUE(window.ComesToShow(Flat(120, 90, 0xabcdef), {}));
}

// Fills the view with one colour, another one each frame.
class FlickeringView : public GsView {
 public:
  static constexpr int kColors = 32;
  static constexpr unsigned char kRed = 200;  // The red part of every colour.

  FlickeringView(const XWindow& window, unsigned int width, unsigned int height, GsDevice* device)
      : GsView({window.handle()}, width, height, device) {
    for (int i = 0; i < kColors; ++i) {
      const auto green = static_cast<unsigned char>(7 * i), blue = static_cast<unsigned char>(255 - 7 * i);
      colors_.push_back(host::MakeColor(kRed, green, blue, 255, device));
    }
    SetBackgroundColor(host::kBackdrop.r, host::kBackdrop.g, host::kBackdrop.b, 1);
    Attch();
  }
  ~FlickeringView() override { Detach(); }

  void Draw() override {
    const gs_vec2 size(static_cast<float>(width()), static_cast<float>(height()));
    GsContextDefault::SetViewport(0, 0, static_cast<int>(size.x), static_cast<int>(size.y));
    if (!GsContextDefault::BindShader("rgba")) return;
    {
      const GsTextureBinder binder(colors_[next_++ % kColors].get());
      GsContextDefault::DrawRect(gs_transform(gs_vec2(0, 0), size), size);
    }
    GsContextDefault::UnbindShader();
  }

 private:
  std::vector<std::unique_ptr<GsTexture>> colors_;
  unsigned int next_ = 0;
};

constexpr int kLargest = 360;  // A side of the view.
constexpr std::uint32_t kAround = 0x123456, kHosts = 0x00f000;

// What is wrong with a screenshot; nothing, mostly.
std::string Flaw(const Picture& shot) {
  const auto rgb = [&shot](int x, int y) {
    const unsigned char* const p = shot.at(x, y);
    return static_cast<std::uint32_t>(p[0] << 16 | p[1] << 8 | p[2]);
  };
  if (shot.width != kLargest) return "no screenshot";
  const std::uint32_t color = rgb(0, 0);
  if (shot.at(0, 0)[0] != FlickeringView::kRed) return "no picture at the upper left";
  int width = 0, height = 0;
  while (width < kLargest && rgb(width, 0) == color) ++width;
  while (height < kLargest && rgb(0, height) == color) ++height;
  for (int y = 0; y < kLargest; ++y) {
    for (int x = 0; x < kLargest; ++x) {
      const std::uint32_t pixel = rgb(x, y);
      const bool is_picture = x < width && y < height;
      if (is_picture && pixel != color) return "parts of two pictures";
      if (!is_picture && pixel != kBackdrop && pixel != kHosts && pixel != kAround) return "something beside it";
    }
  }
  return "";
}

class LiveResizeTest : public host::LiveViewTest {
 protected:
  // Changes the size of the window and its view again and again, as a user does who drags a corner to and fro, and
  // looks at the screen all the while. `work` is called after each change.
  void DragAndLook(const std::function<void()>& work) {
    const XWindow around(x11, kLargest, kLargest, {0, 0, kAround});
    test::XWindowOptions options;
    options.parent = around.id();
    options.background = kHosts;
    int width = 200, height = 150;
    XWindow window(x11, width, height, options);
    FlickeringView view(window, 200, 150, device);
    const test::XConnection looker;
    ASSERT_TRUE(test::ComesTrue([&] { return Flaw(looker.ReadScreen(0, 0, kLargest, kLargest)).empty(); }));
    std::atomic<int> shots{0};
    std::atomic<bool> ends{false};
    std::map<std::string, int> flaws;
    std::thread look([&] {
      for (; !ends; ++shots) {
        const std::string flaw = Flaw(looker.ReadScreen(0, 0, kLargest, kLargest));
        if (!flaw.empty()) ++flaws[flaw];
      }
    });
    int dx = 7, dy = -5;
    for (int i = 0; i < 400; ++i) {
      if (width + dx > kLargest || width + dx < 40) dx = -dx;
      if (height + dy > kLargest || height + dy < 40) dy = -dy;
      width += dx;
      height += dy;
      window.Resize(width, height);
      view.Resize(static_cast<unsigned int>(width), static_cast<unsigned int>(height));
      work();
      const int seen = shots;
      if (!test::ComesTrue([&] { return shots > seen; })) break;
    }
    ends = true;
    look.join();
    int bad = 0;
    for (const auto& [flaw, count] : flaws) {
      bad += count;
      ADD_FAILURE() << flaw << ": " << count << " of " << shots << " screenshots";
    }
    RecordProperty("screenshots", shots);
    RecordProperty("bad", bad);
    EXPECT_GE(shots, 400);
  }
};

TEST_F(LiveResizeTest, EveryScreenshotShowsOnePicture) {
  DragAndLook([] {});
}

// The main loop of a host that is busy with the drag.
TEST_F(LiveResizeTest, EveryScreenshotShowsOnePictureWhileTheMainQueueIsLate) {
  HostLoop queue;
  int changes = 0;
  DragAndLook([&] {
    if (++changes % 5 == 0) queue.Run();
  });
}

}  // namespace
