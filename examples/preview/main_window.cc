#include "preview/main_window.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include <QApplication>
#include <QCloseEvent>
#include <QDialog>
#include <QDropEvent>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QMenuBar>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QScreen>
#include <QStatusBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "preview/look.h"

namespace preview {
namespace {

constexpr int kRefreshMs = 15;  // Between two looks at what changes by itself.
constexpr double kShareOfScreen = 0.92;
constexpr int kRightMargin = 8;
constexpr int kPanelWidth = 230;

}  // namespace

MainWindow::MainWindow(Session* session, std::function<void()> closed)
    : session_(session),
      closed_(std::move(closed)),
      runner_(session, this),
      canvas_(new CanvasWidget(
          session, [this](Command command, bool repeated) { Do(command, repeated); }, this)) {
  const auto editor = [session] { return session->editor(); };  // Panels ask for it to their end.
  setCentralWidget(canvas_);
  setAcceptDrops(true);
  setContextMenuPolicy(Qt::NoContextMenu);
  actions_ =
      std::make_unique<Actions>(this, canvas_, [this](Command command, bool repeated) { Do(command, repeated); });
  layers_ = new LayerList(editor, this);
  layers_->setMinimumWidth(kPanelWidth);
  numbers_ = new NumbersPanel(editor, this);
  layers_dock_ = AddDock("Layers", LayersPanel());
  numbers_dock_ = AddDock("Selected layer", numbers_);
  transport_ = new TransportBar(session, *actions_, this);
  addToolBar(Qt::BottomToolBarArea, transport_);
  FillStatusBar();
  session_->SetTeller([this](const std::string& message, bool is_error) { Tell(message, is_error); });
  session_->SetShown([this] { canvas_->ShowScene(); });
  QObject::connect(&timer_, &QTimer::timeout, this, [this] { Refresh(); });
  canvas_->installEventFilter(this);
  ShowPanels(session_->options().panels);
  Refresh();
}

MainWindow::~MainWindow() {
  canvas_->CloseView();
  session_->SetTeller(nullptr);
  session_->SetShown(nullptr);
}

QDockWidget* MainWindow::AddDock(const char* title, QWidget* content) {
  auto* const dock = new QDockWidget(title, this);
  dock->setFeatures(QDockWidget::DockWidgetMovable);
  dock->setWidget(content);
  addDockWidget(Qt::RightDockWidgetArea, dock);
  return dock;
}

// The list, with what is done to layers below it.
QWidget* MainWindow::LayersPanel() {
  auto* const panel = new QWidget(this);
  auto* const column = new QVBoxLayout(panel);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(2);
  column->addWidget(layers_);
  auto* const row = new QHBoxLayout;
  row->setContentsMargins(4, 0, 4, 2);
  const auto add = [this, row](Command command, Symbol symbol) {
    QAction* const action = actions_->Of(command);
    action->setIcon(IconOf(symbol));
    auto* const button = new QToolButton;
    button->setDefaultAction(action);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    row->addWidget(button);
  };
  add(Command::kAddFiles, Symbol::kAdd);
  add(Command::kRaise, Symbol::kUp);
  add(Command::kLower, Symbol::kDown);
  add(Command::kZoomToSelection, Symbol::kFit);
  row->addStretch();
  add(Command::kDelete, Symbol::kBin);
  column->addLayout(row);
  return panel;
}

void MainWindow::FillStatusBar() {
  message_ = new QLabel(this);
  message_->setTextFormat(Qt::PlainText);  // It quotes names, which may look like markup.
  message_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);  // A long one widens no window.
  film_ = new QLabel(this);
  zoom_ = new QLabel(this);
  zoom_->setContentsMargins(0, 0, kRightMargin, 0);
  statusBar()->setSizeGripEnabled(false);
  statusBar()->addWidget(message_, 1);
  statusBar()->addPermanentWidget(film_);
  statusBar()->addPermanentWidget(zoom_);
}

void MainWindow::Open() {
  ChooseSize();
  canvas_->setFocus();
  show();
  const double ratio = canvas_->PixelRatio();
  canvas_->OpenView();
  if (canvas_->PixelRatio() != ratio) ChooseSize();
  timer_.start(kRefreshMs);
}

// Room for the canvas, or what was asked for, as far as the screen has it.
void MainWindow::ChooseSize() {
  const QSize screen = QGuiApplication::primaryScreen()->availableSize();
  if (const auto wanted = session_->options().window) {
    resize((QSize(wanted->width, wanted->height) / canvas_->PixelRatio()).boundedTo(screen));
    return;
  }
  resize(panels_shown_ ? sizeHint().boundedTo(screen * kShareOfScreen) : canvas_->sizeHint().boundedTo(screen));
}

void MainWindow::Refresh() {
  session_->Refresh(canvas_->ScaleToUser());
  canvas_->Refresh();
  if (panels_shown_) {
    layers_->Refresh();
    numbers_->Refresh();
    transport_->Refresh();
  }
  const QString title =
      QString::fromStdString(session_->SceneName() + (session_->editor()->changed() ? "*" : "") + " - quarn-preview");
  if (title != windowTitle()) setWindowTitle(title);
  const float zoom = canvas_->viewport()->scale() * 100;
  const QString zoom_text = QString::number(zoom, 'f', zoom < 10 ? 1 : 0) + " %";
  if (zoom_text != zoom_->text()) zoom_->setText(zoom_text);
  QString film;
  if (Recording* const recording = session_->recording()) {
    film = QString::fromStdString("recording " + TimeText(recording->seconds()) + ", " +
                                  std::to_string(recording->counts().dropped) + " frames dropped");
  }
  if (film != film_->text()) film_->setText(film);
}

void MainWindow::Do(Command command, bool repeated) {
  message_->clear();
  if (!runner_.Run(command, repeated, canvas_)) {
    switch (command) {
      case Command::kEscape: Escape(); break;
      case Command::kRename:
        if (!panels_shown_) ShowPanels(true);
        layers_->Rename();
        break;
      case Command::kTogglePanels: ShowPanels(!panels_shown_); break;
      case Command::kToggleFullScreen: ToggleFullScreen(); break;
      case Command::kNextPanel: FocusNextPanel(); break;
      case Command::kHelp: ShowHelp(); break;
      case Command::kPrintHelp:
        std::fputs(KeyHelp().c_str(), stdout);
        std::fflush(stdout);
        break;
      case Command::kQuit: close(); break;
      default: break;
    }
  }
  Refresh();
}

void MainWindow::Escape() {
  Editor& editor = *session_->editor();
  const bool leave = isFullScreen() && !editor.holding() && editor.selection().empty();
  editor.Escape();
  if (leave) ToggleFullScreen();
}

void MainWindow::ShowPanels(bool shown) {
  panels_shown_ = shown;
  menuBar()->setVisible(shown);
  statusBar()->setVisible(shown);
  transport_->setVisible(shown);
  layers_dock_->setVisible(shown);
  numbers_dock_->setVisible(shown);
  if (!shown) canvas_->setFocus();
  actions_->Of(Command::kTogglePanels)->setChecked(shown);
}

void MainWindow::ToggleFullScreen() {
  const bool full = !isFullScreen();
  if (full) {
    panels_after_full_screen_ = panels_shown_;
    ShowPanels(false);
    showFullScreen();
  } else {
    showNormal();
    ShowPanels(panels_after_full_screen_);
  }
  actions_->Of(Command::kToggleFullScreen)->setChecked(full);
}

// From the canvas to the layers, the numbers, the film and back.
void MainWindow::FocusNextPanel() {
  if (!panels_shown_) return;
  QWidget* const stops[] = {canvas_, layers_, numbers_->box(NumbersPanel::kX), transport_->slider()};
  QWidget* const panels[] = {canvas_, layers_dock_, numbers_dock_, transport_};
  QWidget* const focused = QApplication::focusWidget();
  std::size_t now = std::size(panels) - 1;
  for (std::size_t i = 0; i < std::size(panels); ++i) {
    if (focused && (panels[i] == focused || panels[i]->isAncestorOf(focused))) now = i;
  }
  for (std::size_t step = 1; step <= std::size(stops); ++step) {
    QWidget* const next = stops[(now + step) % std::size(stops)];
    if (!next->isEnabled()) continue;
    next->setFocus(Qt::TabFocusReason);
    return;
  }
}

void MainWindow::ShowHelp() {
  if (!help_) {
    auto* const dialog = new QDialog(this);
    dialog->setWindowTitle("Keys - quarn-preview");
    auto* const text = new QPlainTextEdit(QString::fromStdString(KeyHelp()));
    text->setReadOnly(true);
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    auto* const column = new QVBoxLayout(dialog);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(text);
    const QFontMetrics metrics = text->fontMetrics();
    const QSize whole = metrics.size(0, text->toPlainText()) + QSize(40, 2 * metrics.lineSpacing());
    dialog->resize(whole.boundedTo(QGuiApplication::primaryScreen()->availableSize() * kShareOfScreen));
    help_ = dialog;
  }
  help_->show();
  help_->raise();
  help_->activateWindow();
}

void MainWindow::Tell(const std::string& message, bool is_error) {
  QPalette colors = palette();
  if (is_error) colors.setColor(QPalette::WindowText, QColor(255, 140, 120));
  message_->setPalette(colors);
  message_->setText(QString::fromStdString(message));
  message_->setToolTip("<p>" + message_->text().toHtmlEscaped() + "</p>");
}

void MainWindow::closeEvent(QCloseEvent* event) {
  if (!runner_.MayLeaveScene()) {
    event->ignore();
    return;
  }
  event->accept();
  if (closed_) closed_();
}

// What was told last is read by now.
bool MainWindow::eventFilter(QObject* watched, QEvent* event) {
  if (event->type() == QEvent::MouseButtonPress && watched == canvas_) message_->clear();
  return QMainWindow::eventFilter(watched, event);
}

void MainWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls()) event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent* event) {
  const QPointF pos = canvas_->mapFrom(this, event->position().toPoint());
  const studio::Vec point = canvas_->CanvasPoint(pos).value_or(studio::Vec());
  message_->clear();
  runner_.AddUrls(event->mimeData()->urls(), point);
  event->acceptProposedAction();
  Refresh();
}

}  // namespace preview
