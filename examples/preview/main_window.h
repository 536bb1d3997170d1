// The window: the canvas, the panels around it, the menus and the status line.
#ifndef QUARN_EXAMPLES_PREVIEW_MAIN_WINDOW_H_
#define QUARN_EXAMPLES_PREVIEW_MAIN_WINDOW_H_

#include <functional>
#include <memory>
#include <string>

#include <QDockWidget>
#include <QLabel>
#include <QMainWindow>
#include <QTimer>

#include "preview/actions.h"
#include "preview/canvas_widget.h"
#include "preview/command_runner.h"
#include "preview/layer_list.h"
#include "preview/numbers_panel.h"
#include "preview/session.h"
#include "preview/transport_bar.h"

namespace preview {

class MainWindow : public QMainWindow {
 public:
  // `closed`: called when the user has closed the window, and nothing is left to be saved.
  explicit MainWindow(Session* session, std::function<void()> closed = nullptr);
  ~MainWindow() override;

  // Shows the window, and the scene in it.
  void Open();
  // Shows what has become of the scene.
  void Refresh();
  void Do(Command command, bool repeated = false);

  CanvasWidget* canvas() { return canvas_; }
  LayerList* layers() { return layers_; }
  NumbersPanel* numbers() { return numbers_; }
  TransportBar* transport() { return transport_; }
  const Actions& actions() const { return *actions_; }
  QString message() const { return message_->text(); }
  bool panels_shown() const { return panels_shown_; }

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QDockWidget* AddDock(const char* title, QWidget* content);
  QWidget* LayersPanel();
  void FillStatusBar();
  void ChooseSize();
  void ShowPanels(bool shown);
  void ToggleFullScreen();
  void Escape();
  void FocusNextPanel();
  void ShowHelp();
  void Tell(const std::string& message, bool is_error);

  Session* const session_;
  const std::function<void()> closed_;
  CommandRunner runner_;
  CanvasWidget* canvas_;
  std::unique_ptr<Actions> actions_;
  LayerList* layers_ = nullptr;
  NumbersPanel* numbers_ = nullptr;
  TransportBar* transport_ = nullptr;
  QDockWidget* layers_dock_ = nullptr;
  QDockWidget* numbers_dock_ = nullptr;
  QLabel* message_ = nullptr;
  QLabel* film_ = nullptr;
  QLabel* zoom_ = nullptr;
  QWidget* help_ = nullptr;
  QTimer timer_;
  bool panels_shown_ = true;
  bool panels_after_full_screen_ = true;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_MAIN_WINDOW_H_
