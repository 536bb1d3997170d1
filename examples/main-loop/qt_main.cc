// main-loop-qt: a view in a Qt window, on Qt's event loop.
#include <memory>

#include <QGuiApplication>
#include <QResizeEvent>
#include <QWindow>

#include "demo_scene.h"
#include "qt_main_queue.h"

// Qt counts in pixels of its own; X11 and views in those of the screen.
struct ViewWindow : QWindow {
  ViewWindow() {
    setTitle("main-loop-qt");
    resize(640, 360);
    create();
    view = std::make_unique<DemoView>(winId(), Pixels(width()), Pixels(height()));
  }
  void resizeEvent(QResizeEvent* event) override {
    if (view) view->Resize(Pixels(event->size().width()), Pixels(event->size().height()));
  }
  void closeEvent(QCloseEvent* /*event*/) override { view.reset(); }  // Qt destroys a window that is closed.
  unsigned int Pixels(int length) const { return static_cast<unsigned int>(length * devicePixelRatio()); }
  std::unique_ptr<DemoView> view;
};

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "xcb");  // Views are for X11 windows; under Wayland that is XWayland.
  QGuiApplication app(argc, argv);
  const GsDefaultDevice device;
  if (!device.valid()) return 1;
  const QtMainQueue queue;
  ViewWindow window;
  window.show();
  app.exec();  // Until the window is closed.
}
