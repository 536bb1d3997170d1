// drag-host-qt: a window of Qt.
#include <memory>

#include <QGuiApplication>
#include <QMouseEvent>
#include <QWindow>

#include "drag_host.h"

struct DragWindow : QWindow {
  DragWindow() {
    setTitle("drag-host-qt");
    setGeometry(0, 0, kDragHostWidth, kDragHostHeight);
    create();
    view = std::make_unique<DragHostView>(winId());
  }
  static void SayWhere(const char* what, const QMouseEvent* event) {
    Say(what, static_cast<int>(event->position().x()), static_cast<int>(event->position().y()));
  }
  void mousePressEvent(QMouseEvent* event) override { SayWhere("press", event); }
  void mouseMoveEvent(QMouseEvent* event) override { SayWhere("move", event); }
  void mouseReleaseEvent(QMouseEvent* event) override {
    SayWhere("release", event);
    QGuiApplication::quit();
  }
  std::unique_ptr<DragHostView> view;
};

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "xcb");
  QGuiApplication app(argc, argv);
  if (!StartEngine()) return 1;
  {
    DragWindow window;
    window.show();
    app.exec();
  }
  GsDevice::DestroyDefaultDevice();
}
