// The canvas in the window: where its view lies, and what the pointer and the keys that belong to it do.
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

  // Shows the scene from now on, in a window that is there.
  void OpenView();
  // While the window is still there.
  void CloseView();
  // The session has opened another scene.
  void ShowScene();
  // Shows what the editor has.
  void Refresh();

  Viewport* viewport() { return viewport_.get(); }
  // Pixels of the view for each of the toolkit's units: known for sure once there is a view.
  double PixelRatio() const;
  // The toolkit's units for each pixel of the canvas.
  float ScaleToUser() const { return viewport_->scale() / static_cast<float>(PixelRatio()); }
  // In the middle of the widget.
  void Zoom(float factor);
  // Pixels of the canvas are pixels of the screen.
  void ZoomToPixels() { viewport_->SetZoom(1); }
  void ZoomToSelection();
  // What a position in this widget is on the canvas, rounded; nothing beside the canvas.
  std::optional<studio::Vec> CanvasPoint(QPointF pos) const;

  QSize sizeHint() const override;

 protected:
  bool event(QEvent* event) override;
  void hideEvent(QHideEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
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
  void MakeView();
  // Has the view lie where the widget does, in the window that there is.
  void PlaceView();
  // How much of the widget that is: what begins and ends with a whole pixel.
  QRect ViewRect() const;
  // Where the widget's upper left corner lies in the window that the view is in.
  QPoint Corner() const;
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
  bool open_ = false;
  studio::Vec pointer_;                        // In pixels.
  Qt::MouseButton pan_button_ = Qt::NoButton;  // The one with which the view is being moved.
  bool space_ = false;                         // Held: a drag moves the view.
  bool space_used_ = false;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_CANVAS_WIDGET_H_
