// What the tests of views have in common: an X server of their own, a host's windows, and what these should show.
#ifndef QUARN_TESTS_X11_VIEW_HOST_H_
#define QUARN_TESTS_X11_VIEW_HOST_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include <quarn/quarn.h>

#include "tests/public/host.h"
#include "tests/support/cpu_reference.h"
#include "tests/support/host_loop.h"
#include "tests/support/x_server.h"
#include "tests/support/x_window.h"

namespace host {

// The server that DISPLAY names. A process renders on one for as long as it lives, so there is one for all tests.
test::XServer& TheXServer();

// Scaled pictures are sampled to within 2 of 255.
constexpr test::Tolerance kViewTolerance = {2, 0.0};

// A view's own colour behind and beside the scene.
constexpr test::Color kBackdrop = {0.2f, 0.4f, 0.6f, 1.0f};

// Fits a scene into a view as GsViewImpl does.
struct Fit {
  Fit(int scene_width, int scene_height, int width, int height);
  float scale;
  float width;  // Of the scene in the view, whole pixels.
  float height;
};

// What a view of that size shows of a scene with this picture.
test::Canvas ViewOf(const test::Picture& scene, int width, int height, const test::Color& background = kBackdrop);

// An item with a texture of its own, for scenes that live longer than what made them.
class PatternItem : public Item {
 public:
  PatternItem(const test::Picture& picture, GsDevice* device);

 private:
  const std::unique_ptr<GsTexture> own_texture_;
};

// A scene filled by one item with a pattern.
class PatternScene {
 public:
  PatternScene(int width, int height, GsDevice* device);
  GsScene* scene() const { return scene_.get(); }
  Item* item() const { return item_.get(); }
  const test::Picture& picture() const { return picture_; }

 private:
  const test::Picture picture_;
  const scoped_refptr<Scene> scene_;
  const scoped_refptr<Item> item_;
};

// A view that is taken off before it goes away, as a host's own is.
class View : public GsViewImpl {
 public:
  View(void* window, int width, int height, GsScene* scene = nullptr);
  ~View() override { Detach(); }
};

// The default device, whose frames the test drives. Every case ends without complaints in the log but those that it has
// taken.
class ViewTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // One frame as the render loop makes it.
  void Frame();
  void Frames(int count);
  // Draws frames until the window shows the picture.
  ::testing::AssertionResult Shows(const test::XWindow& window, const test::Picture& expected,
                                   const test::Tolerance& tolerance = kViewTolerance);
  ::testing::AssertionResult Shows(const test::XWindow& window, const test::Canvas& expected) {
    return Shows(window, expected.picture());
  }
  // How many warnings and errors came since the last call, each with its text in *text.
  static int TakeComplaints(std::string* text);
  // The same, when all that the view has drawn is presented or skipped: what there is to say of it has been said.
  static int TakeComplaints(const GsView& view, std::string* text);

  test::XConnection x11;
  GsDevice* device = nullptr;

 private:
  std::uint64_t timestamp_ = 0;
};

// Views in windows, drawn by the device's own thread at 100 frames a second.
class LiveViewTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  test::XConnection x11;
  GsDevice* device = nullptr;
};

}  // namespace host

#endif  // QUARN_TESTS_X11_VIEW_HOST_H_
