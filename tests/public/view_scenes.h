// What tests of views have in common, whatever the window system: scenes, views of them, what these should show, and
// devices to draw them.
#ifndef QUARN_TESTS_PUBLIC_VIEW_SCENES_H_
#define QUARN_TESTS_PUBLIC_VIEW_SCENES_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "tests/public/host.h"
#include "tests/support/cpu_reference.h"
#include "tests/support/image_compare.h"

namespace host {

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

// A picture and where its upper left corner lies.
struct Placed {
  test::Picture picture;
  int x;
  int y;
};

// What a window of that size shows: its own colour, and these pictures over it, as far as they lie inside.
test::Picture WindowWith(int width, int height, const std::vector<Placed>& pictures);

// The default device, whose frames the test drives. Every case ends without complaints in the log but those that it has
// taken.
class DrivenViewTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  // One frame as the render loop makes it.
  void Frame();
  void Frames(int count);
  // Frames until the log complains of what the window system tells in its own time, and some more.
  void FramesUntilComplaint();
  // How many warnings and errors came since the last call, each with its text in *text.
  static int TakeComplaints(std::string* text);
  // The same, when all that the view has drawn is presented or skipped: what there is to say of it has been said.
  static int TakeComplaints(const GsView& view, std::string* text);

  GsDevice* device = nullptr;

 private:
  std::uint64_t timestamp_ = 0;
};

// Views drawn by the device's own thread at 100 frames a second.
class ThreadedViewTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  GsDevice* device = nullptr;
};

}  // namespace host

#endif  // QUARN_TESTS_PUBLIC_VIEW_SCENES_H_
