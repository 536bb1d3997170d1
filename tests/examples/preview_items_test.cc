// The items of quarn-preview's scene: they are as the editor has its layers, and no frame is without one of them while
// it is exchanged for another. On frames that the test drives.
#include <gtest/gtest.h>

#include <atomic>
#include <cctype>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <quarn/gs_output.h>

#include "editing.h"
#include "preview/scene_items.h"
#include "studio/device.h"

namespace preview {
namespace {

namespace fs = std::filesystem;
using studio::Layer;
using studio::LayerKind;

constexpr studio::Size kCanvas{64, 64};
constexpr unsigned long long kPeriodNs = 40000000;

// A pixel of the canvas, as "rgb" with a letter in upper case for a channel that is bright.
std::string ColorAt(const GsFrame& frame, unsigned int x, unsigned int y) {
  const unsigned char* const pixel = frame.data[0] + y * frame.linesize[0] + x * 4;
  std::string color = "rgb";
  for (std::size_t i = 0; i < 3; ++i) {
    if (pixel[i] > 200) color[i] = static_cast<char>(std::toupper(color[i]));
  }
  return color;
}

// Sees every frame.
class Eye : public GsOutputRaw {
 public:
  using See = std::function<void(const GsFrame&)>;

  Eye(GsScene* scene, GsDevice* device, See see)
      : GsOutputRaw(scene, kCanvas.width, kCanvas.height, kGsFormatRGBA, device), see_(std::move(see)) {}
  ~Eye() override { Stop(); }
  void OnFrame(const GsFrame& frame) override { see_(frame); }

 private:
  const See see_;
};

// Is there in every frame, whether an output receives it or not.
class Witness : public GsItem {
 public:
  Witness(GsDevice* device, std::function<void()> look) : GsItem(gs_vec2(1, 1), device), look_(std::move(look)) {
    SetZ(1000);
  }
  void Draw() override {
    look_();
    const std::lock_guard lock(frames_mutex_);
    ++frames_;
    another_.notify_all();
  }
  void WaitForFrames(int count) {
    std::unique_lock lock(frames_mutex_);
    const int last = frames_ + count;
    another_.wait(lock, [&] { return frames_ >= last; });
  }

 private:
  const std::function<void()> look_;
  std::mutex frames_mutex_;
  std::condition_variable another_;
  int frames_ = 0;
};

class PreviewItemsTest : public testing::Test {
 protected:
  PreviewItemsTest() : device_({25, 1}, false) {
    std::string folder = (fs::temp_directory_path() / "quarn-items-XXXXXX").string();
    if (!mkdtemp(folder.data())) std::abort();
    folder_ = folder;
    std::ofstream picture(folder_ / "red.ppm", std::ios::binary);
    picture << "P6 8 8 255\n";
    for (int i = 0; i < 64; ++i) picture << "\xff" << '\0' << '\0';
    description_.canvas = kCanvas;
  }
  ~PreviewItemsTest() override { fs::remove_all(folder_); }

  Layer Red(int side) const {
    Layer layer = MakeLayer(0, 0, side, side);
    layer.kind = LayerKind::kPicture;
    layer.file = (folder_ / "red.ppm").string();
    return layer;
  }
  static Layer Plain(studio::Color color, float x, int side) {
    Layer layer = MakeLayer(x, 0, side, side);
    layer.color = color;
    return layer;
  }
  static Editor EditorOf(const std::vector<Layer>& layers) {
    std::vector<Entry> entries;
    for (const Layer& layer : layers) entries.push_back(Entry{static_cast<int>(entries.size()) + 1, layer, {8, 8}});
    return Editor(entries, kCanvas);
  }

  static std::vector<const GsItem*> ItemsOf(GsScene* scene) {
    std::vector<const GsItem*> items;
    scene->EnumItems(
        [](GsItem* item, void* user) {
          static_cast<std::vector<const GsItem*>*>(user)->push_back(item);
          return true;
        },
        &items);
    return items;
  }

  // Makes one frame and its tasks, and answers the colour of a pixel of it.
  std::string FrameColor(SceneItems* items, unsigned int x, unsigned int y) {
    std::string color;
    Eye eye(items->scene(), device_.get(), [&](const GsFrame& frame) { color = ColorAt(frame, x, y); });
    EXPECT_TRUE(device_.get()->InitThreadContext() && eye.Start());
    device_.get()->RunFrame(frames_++ * kPeriodNs);
    EXPECT_TRUE(eye.Flush(100000));
    eye.Stop();
    device_.get()->UninitThreadContext();
    return color;
  }

  fs::path folder_;
  studio::Device device_;
  studio::Description description_;
  unsigned long long frames_ = 0;
};

// The picture lies on blue, and under a green stripe on its right.
TEST_F(PreviewItemsTest, APictureThatIsResizedIsExchangedBetweenTwoFrames) {
  Editor editor = EditorOf({Plain({0, 0, 1, 1}, 0, 64), Red(30), Plain({0, 1, 0, 1}, 10, 8)});
  SceneItems items(description_, device_.get());
  items.Show(editor);
  const auto before = ItemsOf(items.scene());
  ASSERT_EQ(before.size(), 3u);
  EXPECT_EQ(FrameColor(&items, 26, 32), "Rgb");

  editor.Select(2, false);
  editor.SetSize({36, 36});
  items.Show(editor);
  EXPECT_EQ(ItemsOf(items.scene()), before);  // A frame that comes now has all.
  EXPECT_EQ(FrameColor(&items, 26, 32), "Rgb");
  const auto after = ItemsOf(items.scene());  // The task has run.
  ASSERT_EQ(after.size(), 3u);
  EXPECT_EQ(after[0], before[0]);
  EXPECT_NE(after[1], before[1]);  // It was opened anew, in its place.
  EXPECT_EQ(after[2], before[2]);
  EXPECT_EQ(FrameColor(&items, 26, 32), "Rgb");
  EXPECT_EQ(FrameColor(&items, 42, 32), "rGb");
  EXPECT_EQ(FrameColor(&items, 48, 32), "Rgb");  // Only the larger one reaches there.
}

TEST_F(PreviewItemsTest, NoFrameLacksALayerWhileAnotherThreadMakesThem) {
  Editor editor = EditorOf({Plain({0, 0, 1, 1}, 0, 64), Red(30), Plain({0, 1, 0, 1}, 10, 8)});
  SceneItems items(description_, device_.get());
  items.Show(editor);
  std::mutex mutex;
  std::vector<std::string> wrong;
  const auto tell = [&](const std::string& what) {
    const std::lock_guard lock(mutex);
    wrong.push_back(what);
  };
  Eye eye(items.scene(), device_.get(), [&](const GsFrame& frame) {
    const std::string colors = ColorAt(frame, 26, 32) + " " + ColorAt(frame, 42, 32) + " " + ColorAt(frame, 2, 32);
    if (colors != "Rgb rGb rgB") tell(colors);
  });
  ASSERT_TRUE(eye.Start());
  const auto witness = MakeRefCounted<Witness>(device_.get(), [&] {
    const std::size_t count = ItemsOf(items.scene()).size();
    if (count != 4) tell(std::to_string(count) + " items");
  });
  items.scene()->AddItem(witness);
  std::atomic<bool> done{false};
  std::thread frames([&] {
    device_.get()->InitThreadContext();
    while (!done) device_.get()->RunFrame(frames_++ * kPeriodNs);
    device_.get()->UninitThreadContext();
  });
  editor.Select(2, false);
  for (int i = 0; i < 20; ++i) {
    editor.SetSize({30 + i % 7, 30 + i % 5});
    items.Show(editor);
    witness->WaitForFrames(2);
  }
  done = true;
  frames.join();
  eye.Stop();
  items.scene()->RemoveItem(witness);

  EXPECT_EQ(wrong, std::vector<std::string>());
}

TEST_F(PreviewItemsTest, TheSceneFollowsTheEditor) {
  Editor editor = EditorOf({Plain({0, 0, 1, 1}, 0, 64), Plain({0, 1, 0, 1}, 0, 32)});
  SceneItems items(description_, device_.get());
  items.Show(editor);  // They need not be made before.
  EXPECT_EQ(FrameColor(&items, 32, 32), "rGb");
  const auto shown = [&] {
    items.Show(editor);
    FrameColor(&items, 0, 0);  // What changes comes with the next frame.
    return FrameColor(&items, 32, 32);
  };
  editor.Select(2, false);
  editor.Lower(false);
  EXPECT_EQ(shown(), "rgB");
  editor.Undo();
  EXPECT_EQ(shown(), "rGb");
  editor.Delete();
  EXPECT_EQ(shown(), "rgB");
  EXPECT_EQ(ItemsOf(items.scene()).size(), 1u);
  editor.Undo();
  EXPECT_EQ(shown(), "rGb");
  editor.SetOpacity(0);
  EXPECT_EQ(shown(), "rgB");
  editor.SetOpacity(1);
  EXPECT_EQ(shown(), "rGb");
  editor.ToggleVisible();
  EXPECT_EQ(shown(), "rgB");
}

TEST_F(PreviewItemsTest, CopiesAreOpenedWhenTheyAreShown) {
  Editor editor = EditorOf({Red(20)});
  SceneItems items(description_, device_.get());
  items.Show(editor);
  EXPECT_EQ(FrameColor(&items, 50, 50), "rgb");
  editor.Select(1, false);
  editor.Duplicate();  // By 20 pixels.
  items.Show(editor);
  FrameColor(&items, 0, 0);
  EXPECT_EQ(FrameColor(&items, 50, 50), "Rgb");
  EXPECT_EQ(items.TakeProblem(), "");

  fs::remove(folder_ / "red.ppm");
  editor.Duplicate();
  items.Show(editor);
  items.Show(editor);
  EXPECT_NE(items.TakeProblem().find("red.ppm"), std::string::npos);
  EXPECT_EQ(items.TakeProblem(), "");
  FrameColor(&items, 0, 0);
  EXPECT_EQ(ItemsOf(items.scene()).size(), 2u);
  // What is open stays open, also in another size.
  editor.Select(1, false);
  editor.SetSize({60, 60});
  items.Show(editor);
  FrameColor(&items, 0, 0);
  EXPECT_EQ(FrameColor(&items, 10, 10), "Rgb");
}

// What is opened anew after another time was gone to still fades out towards the film's end.
TEST_F(PreviewItemsTest, TheFilmsEndStaysWhereItIs) {
  description_.duration_s = 4;
  Layer layer = Red(30);
  layer.fade_out_s = 4;
  Editor editor = EditorOf({layer});
  SceneItems items(description_, device_.get());
  items.Show(editor);
  EXPECT_EQ(FrameColor(&items, 32, 32), "Rgb");
  items.Seek(3900000000);
  editor.Select(1, false);
  editor.SetSize({36, 36});
  items.Show(editor);
  FrameColor(&items, 0, 0);
  EXPECT_EQ(FrameColor(&items, 32, 32), "rgb");
}

TEST_F(PreviewItemsTest, AnExchangeThatIsUnderWayEndsWithTheScene) {
  Editor editor = EditorOf({Red(20)});
  {
    SceneItems items(description_, device_.get());
    items.Show(editor);
    editor.Select(1, false);
    editor.SetSize({40, 40});
    items.Show(editor);
  }
  ASSERT_TRUE(device_.get()->InitThreadContext());
  device_.get()->RunFrame(0);  // The task finds nothing to do.
  device_.get()->UninitThreadContext();
}

}  // namespace
}  // namespace preview
