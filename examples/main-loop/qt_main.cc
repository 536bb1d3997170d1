// main-loop-qt: a view in a Qt window, on Qt's event loop.
#include <memory>

#include <QGuiApplication>
#include <QPainter>
#include <QRasterWindow>

#include "demo_scene.h"
#include "qt_main_queue.h"
#include "qt_native_window.h"

struct ViewWindow : QRasterWindow {
  ViewWindow() {
    setTitle("main-loop-qt");
    resize(640, 360);
    startTimer(100);  // A compositor tells of its scale when it likes.
  }
  bool event(QEvent* event) override {
    // With the window its surface goes; a window that is closed is destroyed.
    if (event->type() == QEvent::Hide || event->type() == QEvent::Close) view.reset();
    const bool handled = QRasterWindow::event(event);
    if (event->type() == QEvent::Expose && isExposed() && !view) {
      view = std::make_unique<DemoView>(QtWindowInfo(this), 0, 0);
      update();  // What Qt shows of itself, the view shows from then on.
    }
    if (view) Fit();  // Another size, or another screen.
    return handled;
  }
  void paintEvent(QPaintEvent* /*event*/) override { QPainter(this).fillRect(0, 0, width(), height(), Qt::black); }
  void Fit() {
    const QPoint origin = QtContentOrigin(this);
    view->Fit(origin.x(), origin.y(), width(), height(), QtPixelScale(*view, this));
  }
  std::unique_ptr<DemoView> view;
};

int main(int argc, char** argv) {
  QGuiApplication app(argc, argv);
  if (!UseQtDisplay()) return qCritical("Views cannot be shown here"), 1;
  const GsDefaultDevice device;
  if (!device.valid()) return 1;
  const QtMainQueue queue;
  ViewWindow window;
  window.show();
  app.exec();  // Until the window is closed.
}
