// The window of quarn-preview on no screen, with a scene of three layers in it.
#ifndef QUARN_TESTS_EXAMPLES_PREVIEW_WINDOW_H_
#define QUARN_TESTS_EXAMPLES_PREVIEW_WINDOW_H_

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <QApplication>
#include <QTest>

#include "preview/look.h"
#include "preview/main_window.h"
#include "preview/session.h"
#include "studio/log.h"
#include "studio/scene_file.h"
#include "tests/examples/example_program.h"

inline constexpr char kPreviewScene[] = R"({"canvas": [200, 120], "duration": 20, "layers": [
  {"color": "#c08040", "size": [60, 40], "pos": [-50, -20], "name": "box"},
  {"color": "#40a0c0", "size": [50, 50], "pos": [-10, 10]},
  {"color": "#ffffff", "size": [4, 4], "pos": [80, 50]}]})";

class PreviewWindowTest : public ExampleTest {
 protected:
  static void SetUpTestSuite() {
    static int argc = 1;
    static char name[] = "preview_window_test";
    static char* argv[] = {name, nullptr};
    static auto* const application = new QApplication(argc, argv);  // To the end of the process.
    preview::SetLook(application);
    studio::ShowLog(studio::LogShown::kNothing);
  }

  void SetUp() override { Open(kPreviewScene); }

  void Open(const std::string& json) {
    window_.reset();
    session_.reset();
    std::ofstream(Path("scene.json")) << json;
    preview::Options options;
    options.scene = options.save = Path("scene.json");
    studio::ReadSceneFile(options.scene, &options.description);
    session_ = std::make_unique<preview::Session>(std::move(options));
    window_ = std::make_unique<preview::MainWindow>(session_.get());
    window_->show();
    window_->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window_.get(), 60000));
    window_->Refresh();
  }

  ~PreviewWindowTest() override {
    window_.reset();
    session_.reset();
  }

  preview::Editor& editor() { return *session_->editor(); }
  const studio::Layer& LayerAt(std::size_t index) { return editor().entries().at(index).layer; }
  preview::LayerList& list() { return *window_->layers(); }
  QTreeWidgetItem* Row(int row) { return list().topLevelItem(row); }
  QPoint RowPoint(int row, int column) {
    const QRect rect = list().visualRect(list().model()->index(row, column));
    return column == 2 ? rect.center() : QPoint(rect.left() + 10, rect.center().y());
  }
  std::vector<std::string> Names() {
    window_->Refresh();
    std::vector<std::string> names;
    for (int i = 0; i < list().topLevelItemCount(); ++i) names.push_back(Row(i)->text(2).toStdString());
    return names;
  }
  void Click(int row, Qt::KeyboardModifiers modifiers = {}) {
    QTest::mouseClick(list().viewport(), Qt::LeftButton, modifiers, RowPoint(row, 2));
    window_->Refresh();
  }
  void Key(Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
    QTest::keyClick(window_->canvas(), key, modifiers);
    window_->Refresh();
  }

  std::unique_ptr<preview::Session> session_;
  std::unique_ptr<preview::MainWindow> window_;
};

#endif  // QUARN_TESTS_EXAMPLES_PREVIEW_WINDOW_H_
