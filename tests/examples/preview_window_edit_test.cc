// What people do in the window of quarn-preview that may go wrong: drags whose end is lost, layers that are pasted,
// scenes that cannot be opened, and steps that belong together.
#include "tests/examples/preview_window.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QTest>
#include <QUrl>
#include <QWheelEvent>

#include <quarn/gs_output.h>

#include "preview/recording.h"

namespace {

using preview::Command;
using preview::NumbersPanel;

// Waits for a frame that is as it should be.
class Eye : public GsOutputRaw {
 public:
  using Judge = std::function<bool(const GsFrame&)>;

  Eye(preview::Session* session, unsigned int width, unsigned int height, Judge judge)
      : GsOutputRaw(session->items()->scene(), width, height, kGsFormatRGBA, session->device()),
        judge_(std::move(judge)) {}
  ~Eye() override { Stop(); }
  void OnFrame(const GsFrame& frame) override {
    if (!judge_(frame)) return;
    const std::lock_guard lock(mutex_);
    seen_ = true;
    changed_.notify_all();
  }
  bool Wait(std::chrono::seconds limit) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, limit, [this] { return seen_; });
  }

 private:
  const Judge judge_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool seen_ = false;
};

class PreviewWindowEditTest : public PreviewWindowTest {
 protected:
  void Send(QEvent::Type type, QPoint pos, Qt::MouseButton button, Qt::MouseButtons buttons) {
    QWidget* const canvas = window_->canvas();
    QMouseEvent event(type, pos, canvas->mapToGlobal(pos), button, buttons, Qt::NoModifier);
    QApplication::sendEvent(canvas, &event);
    window_->Refresh();
  }
  // Where a layer's middle is in the widget.
  QPoint MiddleOf(std::size_t index) {
    const studio::Vec pixels = window_->canvas()->viewport()->ToPixels(LayerAt(index).pos);
    return (QPointF(pixels.x, pixels.y) / window_->canvas()->devicePixelRatioF()).toPoint();
  }
  // Leaves the left button pressed.
  QPoint DragFirst() {
    const QPoint from = MiddleOf(0), to = from + QPoint(17, 31);
    Send(QEvent::MouseMove, from, Qt::NoButton, {});
    Send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::LeftButton);
    Send(QEvent::MouseMove, to, Qt::NoButton, Qt::LeftButton);
    EXPECT_TRUE(editor().dragging());
    return to;
  }
  // Not through the manager of drags, which has none.
  static void Drop(QWidget* onto, const QMimeData& data) {
    QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    static_cast<QObject*>(onto)->event(&event);
  }
};

TEST_F(PreviewWindowEditTest, AnotherButtonLeavesADragAlone) {
  const QPoint to = DragFirst();
  Send(QEvent::MouseButtonPress, to, Qt::MiddleButton, Qt::LeftButton | Qt::MiddleButton);
  Send(QEvent::MouseButtonRelease, to, Qt::LeftButton, Qt::MiddleButton);
  EXPECT_FALSE(editor().holding());
  Send(QEvent::MouseButtonRelease, to, Qt::MiddleButton, {});
  const float x = LayerAt(0).pos.x;
  Send(QEvent::MouseMove, to + QPoint(40, 0), Qt::NoButton, {});
  EXPECT_EQ(LayerAt(0).pos.x, x);
}

TEST_F(PreviewWindowEditTest, PanningEndsWithTheButtonThatBeganIt) {
  const studio::Vec before = window_->canvas()->viewport()->ToPixels({});
  const QPoint from(20, 20);
  Send(QEvent::MouseButtonPress, from, Qt::MiddleButton, Qt::MiddleButton);
  Send(QEvent::MouseButtonPress, from, Qt::LeftButton, Qt::MiddleButton | Qt::LeftButton);
  EXPECT_FALSE(editor().holding());
  Send(QEvent::MouseButtonRelease, from, Qt::LeftButton, Qt::MiddleButton);
  Send(QEvent::MouseMove, from + QPoint(10, 0), Qt::NoButton, Qt::MiddleButton);
  const float panned = window_->canvas()->viewport()->ToPixels({}).x;
  EXPECT_NE(panned, before.x);
  Send(QEvent::MouseButtonRelease, from, Qt::MiddleButton, {});
  Send(QEvent::MouseMove, from + QPoint(50, 0), Qt::NoButton, {});
  EXPECT_EQ(window_->canvas()->viewport()->ToPixels({}).x, panned);
}

TEST_F(PreviewWindowEditTest, ADragEndsWithoutItsRelease) {
  const QPoint to = DragFirst();
  float x = LayerAt(0).pos.x;
  Send(QEvent::MouseMove, to + QPoint(40, 0), Qt::NoButton, {});  // The button is not pressed any more.
  EXPECT_FALSE(editor().holding());
  EXPECT_EQ(LayerAt(0).pos.x, x);
  DragFirst();
  x = LayerAt(0).pos.x;
  QFocusEvent away(QEvent::FocusOut, Qt::ActiveWindowFocusReason);
  QApplication::sendEvent(window_->canvas(), &away);
  EXPECT_FALSE(editor().holding());
  EXPECT_EQ(LayerAt(0).pos.x, x);
}

TEST_F(PreviewWindowEditTest, EscapeLeavesARubberBandBeforeFullScreen) {
  window_->Do(Command::kToggleFullScreen);
  ASSERT_TRUE(window_->isFullScreen());
  Send(QEvent::MouseButtonPress, QPoint(2, 2), Qt::LeftButton, Qt::LeftButton);
  Send(QEvent::MouseMove, QPoint(12, 12), Qt::NoButton, Qt::LeftButton);
  EXPECT_TRUE(editor().rubber_band().has_value());
  window_->Do(Command::kEscape);
  EXPECT_FALSE(editor().rubber_band().has_value());
  EXPECT_TRUE(window_->isFullScreen());
  window_->Do(Command::kEscape);
  EXPECT_FALSE(window_->isFullScreen());
}

// Red is told first and lies on the right, over blue in its z.
TEST_F(PreviewWindowEditTest, PastedLayersKeepTheirPictures) {
  Ffmpeg("-f lavfi -i color=red:size=16x16 -frames:v 1 " + Path("red.png"));
  Ffmpeg("-f lavfi -i color=blue:size=16x16 -frames:v 1 " + Path("blue.png"));
  const auto layer = [this](const std::string& file, int x, int z) {
    return R"({"picture": ")" + Path(file) + R"(", "size": [100, 120], "pos": [)" + std::to_string(x) +
           R"(, 0], "z": )" + std::to_string(z) + "}";
  };
  session_->Paste(R"({"layers": [)" + layer("red.png", 50, 5) + ", " + layer("blue.png", -50, 3) + "]}");
  ASSERT_EQ(editor().entries().size(), 5u) << window_->message().toStdString();
  window_->Refresh();
  Eye eye(session_.get(), 200, 120, [](const GsFrame& frame) {
    const auto* const row = frame.data[0] + frame.linesize[0] * 60;
    const auto* const left = row + 4 * 20;
    const auto* const right = row + 4 * 180;
    return left[2] > 200 && left[0] < 50 && right[0] > 200 && right[2] < 50;
  });
  ASSERT_TRUE(eye.Start());
  EXPECT_TRUE(eye.Wait(std::chrono::seconds(20)));
}

TEST_F(PreviewWindowEditTest, ASceneThatCannotBeOpenedEndsNoFilm) {
  std::ofstream(Path("sized.json")) << R"({"canvas": [64, 64], "output_size": [32, 32], "layers": []})";
  std::ofstream(Path("plain.json")) << R"({"canvas": [64, 64], "layers": [{"color": "#ffffff"}]})";
  std::ofstream(Path("bad.json")) << R"({"layers": [{"picture": "none.png"}]})";
  session_->Open(Path("sized.json"));
  session_->Open(Path("plain.json"));
  ASSERT_TRUE(session_->description().output_size.has_value());
  EXPECT_EQ(session_->description().output_size->width, 32);

  preview::Options options = session_->options();
  options.description.output = Path("film.mp4");
  window_.reset();
  session_.reset();  // There is one default device.
  session_ = std::make_unique<preview::Session>(std::move(options));
  session_->ToggleRecording();
  ASSERT_NE(session_->recording(), nullptr);
  for (const char* const name : {"none.json", "bad.json"}) {
    session_->Open(Path(name));
    EXPECT_NE(session_->recording(), nullptr) << name;
  }
  while (session_->recording()->counts().delivered < 2) QTest::qWait(5);
  session_->Open(Path("sized.json"));
  EXPECT_EQ(session_->recording(), nullptr);
}

TEST_F(PreviewWindowEditTest, NumberedPicturesGetAFreeName) {
  std::ofstream(Path("frame-0001-2.png")) << "one";
  EXPECT_EQ(preview::FreeName(Path("frame-%04d"), ".png", 2), Path("frame-%04d-3.png"));
  std::ofstream(Path("clip-%d-2.mp4")) << "one";  // Of this kind there is but one file, of just that name.
  EXPECT_EQ(preview::FreeName(Path("clip-%d"), ".mp4", 2), Path("clip-%d-3.mp4"));
}

TEST_F(PreviewWindowEditTest, ASceneIsAsLongAsItsMedia) {
  Ffmpeg("-f lavfi -i sine=duration=3 " + Path("tone.wav"));
  Open(R"({"duration": "auto", "audio": [{"file": "tone.wav", "start": 1}], "layers": []})");
  EXPECT_NEAR(window_->transport()->slider()->maximum(), 400, 1);
  EXPECT_TRUE(session_->Save());
  EXPECT_NE(ReadFile(Path("scene.json")).find("\"duration\": \"auto\""), std::string::npos);
  std::ofstream(Path("still.json")) << R"({"duration": "auto", "layers": [{"color": "#ffffff"}]})";
  session_->Open(Path("still.json"));
  window_->Refresh();
  EXPECT_EQ(window_->transport()->slider()->maximum(), 1000);
  session_->Open(Path("scene.json"));
  window_->Refresh();
  EXPECT_NEAR(window_->transport()->slider()->maximum(), 400, 1);
}

TEST_F(PreviewWindowEditTest, OnlyWhatWasCopiedIsCut) {
  editor().Rename(1, "\xff");
  editor().Select(1, false);
  window_->Do(Command::kCut);
  EXPECT_EQ(editor().entries().size(), 3u);
  EXPECT_NE(window_->message().toStdString().find("cannot copy"), std::string::npos);
}

TEST_F(PreviewWindowEditTest, SeveralRowsAreMovedInOneStep) {
  editor().Rename(2, "disc");
  editor().Rename(3, "dot");
  ASSERT_EQ(Names(), (std::vector<std::string>{"dot", "disc", "box"}));
  Click(0);
  Click(1, Qt::ControlModifier);
  list().MoveSelected(3);
  EXPECT_EQ(Names(), (std::vector<std::string>{"box", "dot", "disc"}));
  EXPECT_EQ(editor().selection(), (std::vector<int>{3, 2}));
  list().MoveSelected(0);
  EXPECT_EQ(Names(), (std::vector<std::string>{"dot", "disc", "box"}));
  Click(0);
  Click(2, Qt::ControlModifier);
  list().MoveSelected(1);
  EXPECT_EQ(Names(), (std::vector<std::string>{"dot", "box", "disc"}));
  window_->Do(Command::kUndo);
  EXPECT_EQ(Names(), (std::vector<std::string>{"dot", "disc", "box"}));
}

TEST_F(PreviewWindowEditTest, AWheelThatRestsEndsItsStep) {
  Click(2);
  QDoubleSpinBox* const x = window_->numbers()->box(NumbersPanel::kX);
  const auto turn = [x] {
    QWheelEvent event(QPointF(5, 5), x->mapToGlobal(QPointF(5, 5)), {}, QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(x, &event);
  };
  turn();
  turn();
  EXPECT_EQ(LayerAt(0).pos.x, -48);
  QTest::qWait(1000);
  turn();
  EXPECT_EQ(LayerAt(0).pos.x, -47);
  editor().Undo();
  EXPECT_EQ(LayerAt(0).pos.x, -48);
  editor().Undo();
  EXPECT_EQ(LayerAt(0).pos.x, -50);
}

TEST_F(PreviewWindowEditTest, WhatIsNoFileIsToldOf) {
  const auto remote = [] {
    auto* const data = new QMimeData;
    data->setUrls({QUrl("https://example.org/picture.png")});
    return data;
  };
  QGuiApplication::clipboard()->setMimeData(remote());
  window_->Do(Command::kPaste);
  EXPECT_NE(window_->message().toStdString().find("picture.png"), std::string::npos);
  session_->TellError("");
  const std::unique_ptr<QMimeData> dropped(remote());
  Drop(window_.get(), *dropped);
  EXPECT_NE(window_->message().toStdString().find("picture.png"), std::string::npos);
  EXPECT_EQ(editor().entries().size(), 3u);
}

}  // namespace
