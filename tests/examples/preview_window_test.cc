// The window of quarn-preview with its panels, on no screen: what lists, numbers, buttons, menus and keys make of the
// scene, and what they show of it. What the canvas shows is preview_test's.
#include "tests/examples/preview_window.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include <QAbstractButton>
#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QStatusBar>
#include <QTest>
#include <QTextDocument>
#include <QTimer>

namespace {

using preview::Command;
using preview::NumbersPanel;

TEST_F(PreviewWindowTest, TheListHasTheTopmostLayerFirst) {
  EXPECT_EQ(Names(), (std::vector<std::string>{"color", "color", "box"}));
  Click(2);
  EXPECT_EQ(editor().selection(), std::vector<int>{1});
  Click(0, Qt::ControlModifier);
  EXPECT_EQ(editor().selection(), (std::vector<int>{1, 3}));
  EXPECT_EQ(editor().selected(), 3);
  // What is selected on the canvas is in the list, too.
  editor().Select(2, false);
  window_->Refresh();
  EXPECT_FALSE(Row(0)->isSelected());
  EXPECT_TRUE(Row(1)->isSelected());
  EXPECT_FALSE(Row(2)->isSelected());
}

// Whatever a file of somebody else's is called.
TEST_F(PreviewWindowTest, MessagesAreShownToTheLetter) {
  const std::string message = "cannot open <img src=\"file:///a.png\"><b>b</b>.png";
  session_->TellError(message);
  const QList<QLabel*> labels = window_->statusBar()->findChildren<QLabel*>();
  const auto shown = std::find_if(labels.begin(), labels.end(),
                                  [&](const QLabel* label) { return label->text().toStdString() == message; });
  ASSERT_NE(shown, labels.end());
  EXPECT_EQ((*shown)->textFormat(), Qt::PlainText);
  QTextDocument tip;
  tip.setHtml((*shown)->toolTip());
  EXPECT_EQ(tip.toPlainText().toStdString(), message);
}

TEST_F(PreviewWindowTest, TheListHidesAndLocks) {
  QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, RowPoint(2, 0));
  EXPECT_FALSE(LayerAt(0).visible);
  QTest::mouseClick(list().viewport(), Qt::LeftButton, {}, RowPoint(2, 1));
  EXPECT_TRUE(LayerAt(0).locked);
  window_->Refresh();
  EXPECT_EQ(Row(2)->checkState(0), Qt::Unchecked);
  EXPECT_EQ(Row(2)->checkState(1), Qt::Checked);
  editor().Undo();
  window_->Refresh();
  EXPECT_EQ(Row(2)->checkState(1), Qt::Unchecked);
}

TEST_F(PreviewWindowTest, TheListRenames) {
  Click(2);
  window_->Do(Command::kRename);
  auto* const line = list().findChild<QLineEdit*>();
  ASSERT_NE(line, nullptr);
  window_->Refresh();  // Which leaves what is being written alone.
  QTest::keyClicks(line, "backdrop");
  QTest::keyClick(line, Qt::Key_Return);
  QApplication::processEvents();
  EXPECT_EQ(LayerAt(0).name, "backdrop");
  EXPECT_EQ(Names().back(), "backdrop");
}

TEST_F(PreviewWindowTest, TheListReorders) {
  Click(2);
  list().MoveSelected(0);
  EXPECT_EQ(Names(), (std::vector<std::string>{"box", "color", "color"}));
  EXPECT_EQ(LayerAt(2).name, "box");
  EXPECT_TRUE(Row(0)->isSelected());
  list().MoveSelected(2);
  EXPECT_EQ(Names(), (std::vector<std::string>{"color", "box", "color"}));
  list().MoveSelected(3);
  EXPECT_EQ(Names().back(), "box");
  list().MoveSelected(3);  // Where it is already.
  window_->Do(Command::kUndo);
  EXPECT_EQ(Names(), (std::vector<std::string>{"color", "box", "color"}));
}

TEST_F(PreviewWindowTest, TheListShowsWholeRows) {
  for (int i = 0; i < 20; ++i) session_->AddColor({});
  window_->Refresh();
  const int row = list().visualRect(list().model()->index(0, 2)).height();
  for (int height = 300; height < 500; height += 29) {
    SCOPED_TRACE(height);
    window_->resize(700, height);
    QApplication::processEvents();
    EXPECT_EQ(list().viewport()->height() % row, 0);
    EXPECT_GE(list().viewport()->height(), 2 * row);
  }
}

TEST_F(PreviewWindowTest, NumbersChangeTheLayerInOneStepEach) {
  EXPECT_FALSE(window_->numbers()->isEnabled());
  Click(2);
  const auto box = [this](NumbersPanel::Number number) { return window_->numbers()->box(number); };
  EXPECT_EQ(box(NumbersPanel::kX)->value(), -50);
  EXPECT_EQ(box(NumbersPanel::kHeight)->value(), 40);
  EXPECT_EQ(box(NumbersPanel::kOpacity)->value(), 100);
  // A key that is held down, then another press.
  QDoubleSpinBox* const x = box(NumbersPanel::kX);
  QTest::keyPress(x, Qt::Key_Up);
  x->stepUp();
  x->stepUp();
  QTest::keyRelease(x, Qt::Key_Up);
  EXPECT_EQ(LayerAt(0).pos.x, -47);
  QTest::keyClick(x, Qt::Key_Up);
  EXPECT_EQ(LayerAt(0).pos.x, -46);
  editor().Undo();
  EXPECT_EQ(LayerAt(0).pos.x, -47);
  editor().Undo();
  window_->Refresh();
  EXPECT_EQ(LayerAt(0).pos.x, -50);
  EXPECT_EQ(x->value(), -50);
  // What is written counts when it is whole.
  QDoubleSpinBox* const width = box(NumbersPanel::kWidth);
  width->setFocus();
  width->selectAll();
  QTest::keyClicks(width, "80");
  window_->Refresh();
  EXPECT_EQ(editor().SelectedEntry()->layer.size->width, 60);
  QTest::keyClick(width, Qt::Key_Return);
  EXPECT_EQ(editor().SelectedEntry()->layer.size->width, 80);
  box(NumbersPanel::kOpacity)->setValue(50);
  EXPECT_FLOAT_EQ(LayerAt(0).opacity, 0.5f);
  box(NumbersPanel::kRotation)->setValue(30);
  EXPECT_FLOAT_EQ(LayerAt(0).rotation_deg, 30);
}

TEST_F(PreviewWindowTest, KeysAreTakenExactly) {
  window_->canvas()->setFocus();
  Key(Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(editor().selection().size(), 3u);
  Key(Qt::Key_Escape);
  EXPECT_TRUE(editor().selection().empty());
  Key(Qt::Key_Tab);
  EXPECT_EQ(editor().selected(), 1);
  Key(Qt::Key_Tab);
  EXPECT_EQ(editor().selected(), 2);
  Key(Qt::Key_Backtab, Qt::ShiftModifier);
  EXPECT_EQ(editor().selected(), 1);
  Key(Qt::Key_Right);
  Key(Qt::Key_Right, Qt::ShiftModifier);
  EXPECT_EQ(LayerAt(0).pos.x, -39);
  Key(Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(LayerAt(0).pos.x, -49);  // Two presses are two steps.
  Key(Qt::Key_Z, Qt::ControlModifier);
  EXPECT_EQ(LayerAt(0).pos.x, -50);
  Key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
  EXPECT_EQ(LayerAt(0).pos.x, -49);
  Key(Qt::Key_Y, Qt::ControlModifier);
  EXPECT_EQ(LayerAt(0).pos.x, -39);
  Key(Qt::Key_Comma);
  Key(Qt::Key_Less, Qt::ShiftModifier);
  EXPECT_EQ(LayerAt(0).rotation_deg, -16);
  EXPECT_TRUE(editor().changed());
  Key(Qt::Key_S, Qt::ControlModifier | Qt::AltModifier);
  EXPECT_TRUE(editor().changed());
  EXPECT_EQ(window_->windowTitle(), "scene.json* - quarn-preview");
  Key(Qt::Key_S);
  EXPECT_FALSE(editor().changed());
  EXPECT_EQ(window_->windowTitle(), "scene.json - quarn-preview");
  EXPECT_EQ(window_->message().toStdString(), "saved " + Path("scene.json"));
  Key(Qt::Key_Delete);
  EXPECT_EQ(editor().entries().size(), 2u);
}

// A line of text keeps the keys that it needs.
TEST_F(PreviewWindowTest, NumbersTakeNoShortcuts) {
  Click(2);
  QDoubleSpinBox* const x = window_->numbers()->box(NumbersPanel::kX);
  x->setFocus();
  for (const Qt::Key key : {Qt::Key_Delete, Qt::Key_H, Qt::Key_R, Qt::Key_Home, Qt::Key_Left}) QTest::keyClick(x, key);
  EXPECT_EQ(editor().entries().size(), 3u);
  EXPECT_TRUE(LayerAt(0).visible);
  EXPECT_EQ(session_->recording(), nullptr);
  EXPECT_EQ(LayerAt(0).pos.x, -50);
}

TEST_F(PreviewWindowTest, TheClipboardHasLayersAsText) {
  Click(2);
  window_->Do(Command::kCopy);
  EXPECT_NE(QGuiApplication::clipboard()->text().toStdString().find("#c08040"), std::string::npos);
  window_->Do(Command::kPaste);
  ASSERT_EQ(editor().entries().size(), 4u);
  EXPECT_EQ(LayerAt(3).name, "box");
  window_->Do(Command::kCut);
  EXPECT_EQ(editor().entries().size(), 3u);
  window_->Do(Command::kUndo);
  EXPECT_EQ(editor().entries().size(), 4u);
  QGuiApplication::clipboard()->setText("words");
  window_->Do(Command::kPaste);
  EXPECT_EQ(editor().entries().size(), 4u);
  EXPECT_FALSE(window_->message().isEmpty());
  window_->Do(Command::kDuplicate);
  EXPECT_EQ(editor().entries().size(), 5u);
}

TEST_F(PreviewWindowTest, TheBarPlaysAndSeeks) {
  EXPECT_EQ(preview::TimeText(0), "0:00.0");
  EXPECT_EQ(preview::TimeText(62.55), "1:02.5");
  preview::TransportBar& bar = *window_->transport();
  QTest::mouseClick(bar.play(), Qt::LeftButton);
  EXPECT_TRUE(session_->playing());
  QTest::mouseClick(bar.play(), Qt::LeftButton);
  EXPECT_FALSE(session_->playing());
  EXPECT_EQ(bar.slider()->maximum(), 2000);
  bar.slider()->setValue(1250);
  window_->Refresh();
  EXPECT_NEAR(session_->seconds(), 12.5, 0.05);
  EXPECT_EQ(bar.time(), "0:12.5");
  bar.slider()->setSliderDown(true);
  bar.slider()->setSliderPosition(300);
  EXPECT_NEAR(session_->seconds(), 3, 0.05);
  bar.slider()->setSliderDown(false);
  EXPECT_NEAR(session_->seconds(), 3, 0.05);
  window_->Do(Command::kRewind);
  EXPECT_EQ(bar.time(), "0:00.0");
  EXPECT_EQ(bar.slider()->value(), 0);
}

TEST_F(PreviewWindowTest, PanelsGoAndComeBack) {
  EXPECT_TRUE(window_->panels_shown());
  window_->canvas()->setFocus();
  Key(Qt::Key_F6);
  EXPECT_EQ(QApplication::focusWidget(), &list());
  Key(Qt::Key_F9);
  EXPECT_FALSE(list().isVisible());
  Key(Qt::Key_A, Qt::ControlModifier);  // Keys work without the menu that they stand in.
  EXPECT_EQ(editor().selection().size(), 3u);
  Key(Qt::Key_F9);
  EXPECT_TRUE(list().isVisible());
  Key(Qt::Key_F11);
  EXPECT_TRUE(window_->isFullScreen());
  EXPECT_FALSE(list().isVisible());
  Key(Qt::Key_Escape);  // The selection first.
  EXPECT_TRUE(window_->isFullScreen());
  Key(Qt::Key_Escape);
  EXPECT_FALSE(window_->isFullScreen());
  EXPECT_TRUE(list().isVisible());
}

TEST_F(PreviewWindowTest, ClosingAsksBeforeChangesAreLost) {
  EXPECT_TRUE(window_->close());
  window_->show();
  editor().SetVisible(1, false);
  const auto close_with = [this](QMessageBox::StandardButton answer) {
    bool asked = false;
    QTimer::singleShot(0, window_.get(), [answer, &asked] {
      auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      asked = box != nullptr;
      if (asked) box->button(answer)->click();
    });
    const bool closed = window_->close();
    EXPECT_TRUE(asked);
    return closed;
  };
  EXPECT_FALSE(close_with(QMessageBox::Cancel));
  EXPECT_TRUE(editor().changed());
  EXPECT_TRUE(close_with(QMessageBox::Discard));
  EXPECT_EQ(ReadFile(Path("scene.json")), kPreviewScene);
  window_->show();
  EXPECT_TRUE(close_with(QMessageBox::Save));
  EXPECT_NE(ReadFile(Path("scene.json")).find("\"visible\": false"), std::string::npos);
}

TEST_F(PreviewWindowTest, OpensAnotherSceneAndKeepsTheOldOneWhereItCannot) {
  std::ofstream(Path("other.json")) << R"({"canvas": [64, 64], "layers": [{"color": "#ffffff", "name": "white"}]})";
  session_->Open(Path("other.json"));
  EXPECT_EQ(Names(), std::vector<std::string>{"white"});
  EXPECT_EQ(window_->windowTitle(), "other.json - quarn-preview");
  session_->Open(Path("none.json"));
  EXPECT_EQ(Names(), std::vector<std::string>{"white"});
  EXPECT_EQ(window_->message().toStdString(), "cannot read scene " + Path("none.json") + ": No such file or directory");
  window_->Do(Command::kNew);
  EXPECT_TRUE(Names().empty());
  EXPECT_EQ(window_->windowTitle(), "new scene - quarn-preview");
  EXPECT_TRUE(session_->SaveAs(Path("third.json")));
  window_->Refresh();
  EXPECT_EQ(window_->windowTitle(), "third.json - quarn-preview");
}

// Every command stands in a menu, and no key has two meanings.
TEST_F(PreviewWindowTest, KeysAreUnique) {
  std::vector<std::string> seen;
  for (const preview::Binding& binding : preview::Bindings()) {
    if (binding.command == Command::kNone) continue;
    QAction* const action = window_->actions().Of(binding.command);
    for (const QKeySequence& keys : action->shortcuts()) {
      const std::string name = keys.toString(QKeySequence::PortableText).toStdString();
      EXPECT_FALSE(name.empty()) << binding.text;
      EXPECT_EQ(std::count(seen.begin(), seen.end(), name), 0) << name;
      seen.push_back(name);
    }
  }
  EXPECT_GT(seen.size(), 40u);
}

}  // namespace
