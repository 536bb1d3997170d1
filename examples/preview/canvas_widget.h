// The canvas in the window: what the pointer and the keys that belong to it do.
#ifndef QUARN_EXAMPLES_PREVIEW_CANVAS_WIDGET_H_
#define QUARN_EXAMPLES_PREVIEW_CANVAS_WIDGET_H_

#include <functional>
#include <memory>
#include <optional>

#include <QWidget>

#include "preview/canvas_view.h"
#include "preview/keys.h"
#include "preview/session.h"
#include "preview/viewport.h"

namespace preview {

class CanvasWidget : public QWidget {
 public:
  CanvasWidget(Session* session, std::function<void(Command command, bool repeated)> run, QWidget* parent = nullptr);
  ~CanvasWidget() override;

  // Makes the view, once the window is there.
  void OpenView();
  // While the window is still there.
  void CloseView() { view_.reset(); }
  // The session has opened another scene.
  void ShowScene();
  // Shows what the editor has.
  void Refresh();

  Viewport* viewport() { return viewport_.get(); }
  // In the middle of the widget.
  void Zoom(float factor);
  // Pixels of the canvas are pixels of the screen.
  void ZoomToPixels() { viewport_->SetZoom(1); }
  void ZoomToSelection();
  // What a position in this widget is on the canvas, rounded; nothing beside the canvas.
  std::optional<studio::Vec> CanvasPoint(QPointF pos) const;

  QPaintEngine* paintEngine() const override { return nullptr; }  // The view draws.
  QSize sizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void mouseDoubleClickEvent(QMouseEvent* event) override { mousePressEvent(event); }
  void wheelEvent(QWheelEvent* event) override;
  void leaveEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void keyReleaseEvent(QKeyEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  bool focusNextPrevChild(bool /*next*/) override { return false; }  // Tab selects layers.

 private:
  studio::Vec ToPixels(QPointF pos) const;
  studio::Size PixelSize() const;
  bool panning() const { return pan_button_ != Qt::NoButton; }
  // Lets go of what is held with buttons that are not pressed, whose releases went elsewhere.
  void LetGo(Qt::MouseButtons pressed);
  void MovePointer(studio::Vec pixels, Qt::KeyboardModifiers modifiers);
  void ShowHint();
  CanvasSight Sight() const;
  Qt::CursorShape PointerShape() const;

  Session* const session_;
  const std::function<void(Command, bool)> run_;
  std::unique_ptr<Viewport> viewport_;
  std::unique_ptr<CanvasView> view_;
  studio::Vec pointer_;                        // In pixels.
  Qt::MouseButton pan_button_ = Qt::NoButton;  // The one with which the view is being moved.
  bool space_ = false;                         // Held: a drag moves the view.
  bool space_used_ = false;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_CANVAS_WIDGET_H_
