// What a Qt 6 program tells Quarn of its display and its windows, under Wayland or X11, whichever Qt has picked. Copy
// it into your program. It wants Qt6::GuiPrivate: Qt has no public names for a window's surface.
//
//   QGuiApplication app(argc, argv);
//   if (!UseQtDisplay()) ...                       // before the first device
//   ...
//   GsView view(QtWindowInfo(window), ...);        // once the window is shown
//   view.Move(0 + QtContentOrigin(window) ...);    // times QtPixelScale(view, window), as all that Qt counts
//
// Under Wayland a window shows nothing, nor what lies in it, before it has been painted: so it has to be one that Qt
// paints, a QWidget or a QRasterWindow, and once after a view was made in it. A window that is hidden loses its
// surface, and is given another one when it is shown again: a view goes with the hiding, or is sent to the new surface
// with GsView::SetWindow.
#ifndef QUARN_EXAMPLES_MAIN_LOOP_QT_NATIVE_WINDOW_H_
#define QUARN_EXAMPLES_MAIN_LOOP_QT_NATIVE_WINDOW_H_

#include <qpa/qplatformnativeinterface.h>
#include <qpa/qplatformwindow.h>

#include <cstdint>

#include <QGuiApplication>
#include <QMargins>
#include <QPoint>
#include <QWindow>

#include <quarn/gs_view.h>
#include <quarn/qn_native_display.h>

inline bool QtIsOnWayland() { return QGuiApplication::platformName().startsWith("wayland"); }

// Hands Qt's connection to a Wayland compositor to Quarn, where Qt has one. Returns whether views can be shown.
inline bool UseQtDisplay() {
  if (!QtIsOnWayland()) return true;
  void* const display = QGuiApplication::platformNativeInterface()->nativeResourceForIntegration("wl_display");
  return qn_set_native_display(kQnNativeDisplayWayland, display);
}

// A window that is not shown has none under Wayland: null.
inline GsWindowInfo QtWindowInfo(QWindow* window) {
  if (!QtIsOnWayland()) return {reinterpret_cast<void*>(static_cast<std::uintptr_t>(window->winId()))};
  if (!window->handle()) return {};
  return {QGuiApplication::platformNativeInterface()->nativeResourceForWindow("surface", window)};
}

// Where the window's content begins in what QtWindowInfo answers, in Qt's units: under Wayland the frame that Qt draws
// where the compositor has none is a part of that.
inline QPoint QtContentOrigin(const QWindow* window) {
  const QMargins frame = QtIsOnWayland() ? window->frameMargins() : QMargins();
  return {frame.left(), frame.top()};
}

// Pixels of a view for each of Qt's units. Qt may know less of the scale of a Wayland compositor than the view does,
// and the user may have told Qt of another one on top.
inline double QtPixelScale(const GsView& view, const QWindow* window) {
  const double qt = window->devicePixelRatio();
  return window->handle() ? view.WindowScale() * qt / window->handle()->devicePixelRatio() : qt;
}

#endif  // QUARN_EXAMPLES_MAIN_LOOP_QT_NATIVE_WINDOW_H_
