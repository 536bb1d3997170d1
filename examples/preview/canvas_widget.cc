#include "preview/canvas_widget.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include <QFontMetrics>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRect>
#include <QResizeEvent>
#include <QWheelEvent>
#include <QWindow>

#include "main-loop/qt_native_window.h"
#include "preview/actions.h"
#include "studio/placement.h"

namespace preview {
namespace {

using studio::Size;
using studio::Vec;

constexpr QColor kBackground(31, 33, 38);  // As the view's.
constexpr int kMargin = 10;                // What is left free around the canvas, both sides together.
constexpr int kLeastSide = 64;
constexpr double kWheelStep = 120, kStepsToDouble = 4;
constexpr char kHint[] = "Nothing here yet\n\nDrop pictures and videos here, press A,\nor look into the menu Layer";

Modifiers ToModifiers(Qt::KeyboardModifiers modifiers) {
  return Modifiers{modifiers.testFlag(Qt::ShiftModifier), modifiers.testFlag(Qt::ControlModifier),
                   modifiers.testFlag(Qt::AltModifier)};
}

bool IsModifier(int key) { return key == Qt::Key_Shift || key == Qt::Key_Control || key == Qt::Key_Alt; }

}  // namespace

CanvasWidget::CanvasWidget(Session* session, std::function<void(Command, bool)> run, QWidget* parent)
    : QWidget(parent),
      session_(session),
      run_(std::move(run)),
      viewport_(std::make_unique<Viewport>(session->description().canvas)) {
  setAttribute(Qt::WA_OpaquePaintEvent);
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  setMinimumSize(kLeastSide, kMinSide);
  setAccessibleName("Canvas");
}

CanvasWidget::~CanvasWidget() = default;

QSize CanvasWidget::sizeHint() const {
  const Size canvas = session_->description().canvas;
  return QSize(canvas.width + kMargin, canvas.height + kMargin) / PixelRatio();
}

void CanvasWidget::OpenView() {
  open_ = true;
  MakeView();
}

void CanvasWidget::CloseView() {
  open_ = false;
  view_.reset();
}

void CanvasWidget::MakeView() {
  const GsWindowInfo info = QtWindowInfo(window()->windowHandle());
  view_ = std::make_unique<CanvasView>(info, PixelSize(), session_->device());
  window()->update();  // What lies in a window appears when the toolkit has painted it.
  PlaceView();
  ShowHint();
  Refresh();
  view_->SetScene(session_->items()->scene());
  view_->Attch();
}

void CanvasWidget::ShowScene() {
  viewport_ = std::make_unique<Viewport>(session_->description().canvas);
  viewport_->Resize(PixelSize());
  if (!view_) return;
  Refresh();
  view_->SetScene(session_->items()->scene());
}

void CanvasWidget::PlaceView() {
  QWindow* const top = window()->windowHandle();
  if (open_ && !view_ && top && isVisible() && QtWindowInfo(top).window) MakeView();
  if (!view_) return;
  const QPointF corner = QPointF(Corner() + ViewRect().topLeft()) * PixelRatio();
  view_->Move(static_cast<int>(std::lround(corner.x())), static_cast<int>(std::lround(corner.y())));
  const Size size = PixelSize();
  viewport_->Resize(size);
  const auto wide = static_cast<unsigned int>(size.width), high = static_cast<unsigned int>(size.height);
  if (wide != view_->width() || high != view_->height()) view_->Resize(wide, high);
}

QPoint CanvasWidget::Corner() const {
  const QWindow* const top = window()->windowHandle();
  return mapTo(window(), QPoint()) + (top ? QtContentOrigin(top) : QPoint());
}

QRect CanvasWidget::ViewRect() const {
  constexpr int kMostUnits = 12;  // Scales that need more leave too much of the widget free.
  int units = 1;                  // That are a whole number of pixels.
  const auto is_whole = [](double pixels) { return std::fabs(pixels - std::round(pixels)) < 0.001; };
  while (units < kMostUnits && !is_whole(units * PixelRatio())) ++units;
  if (units == kMostUnits) return rect();
  const QPoint corner = Corner();
  const auto begin = [units](int at) { return (units - at % units) % units; };
  const auto end = [units](int at, int length) { return length - (at + length) % units; };
  return QRect(QPoint(begin(corner.x()), begin(corner.y())),
               QPoint(end(corner.x(), width()) - 1, end(corner.y(), height()) - 1));
}

// A window that is hidden is another one when it is shown again. One that is minimized stays.
void CanvasWidget::hideEvent(QHideEvent* event) {
  if (!event->spontaneous()) view_.reset();
  QWidget::hideEvent(event);
}

// What is seen until the view shows something.
void CanvasWidget::paintEvent(QPaintEvent* event) { QPainter(this).fillRect(event->rect(), kBackground); }

void CanvasWidget::ShowHint() {
  const double ratio = PixelRatio();
  const QFontMetrics metrics(font());
  const QSize size = metrics.boundingRect(QRect(0, 0, 4000, 4000), Qt::AlignCenter, kHint).size() + QSize(40, 32);
  QImage image(size * ratio, QImage::Format_ARGB32_Premultiplied);
  image.setDevicePixelRatio(ratio);
  image.fill(Qt::transparent);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(40, 43, 50, 230));
  painter.drawRoundedRect(QRect(QPoint(0, 0), size), 8, 8);
  painter.setPen(QColor(200, 205, 215));
  painter.drawText(QRect(QPoint(0, 0), size), Qt::AlignCenter, kHint);
  painter.end();
  const QImage pixels = image.convertToFormat(QImage::Format_RGBA8888);
  view_->SetHint(pixels.constBits(), Size{pixels.width(), pixels.height()});
}

void CanvasWidget::Refresh() {
  PlaceView();
  if (view_) view_->Show(Sight(), session_->items()->clock());
  const Qt::CursorShape shape = PointerShape();
  if (shape != cursor().shape()) setCursor(shape);
}

CanvasSight CanvasWidget::Sight() const {
  const Editor& editor = *session_->editor();
  CanvasSight sight;
  sight.canvas = session_->description().canvas;
  sight.centre = viewport_->ToPixels(Vec());
  sight.scale = viewport_->scale();
  sight.ratio = static_cast<float>(PixelRatio());
  for (const bool selected : {false, true}) {
    for (const Entry& entry : editor.entries()) {
      if (!entry.layer.visible || editor.IsSelected(entry.id) != selected) continue;
      if (!selected && entry.id != editor.hovered()) continue;
      const Size size = studio::DrawnSize(entry.layer, entry.natural);
      const bool handles = entry.id == editor.selected() && !entry.layer.locked;
      sight.frames.push_back(CanvasFrame{entry.layer, size, selected, handles});
    }
  }
  sight.rotation_grip = editor.RotationGrip();
  sight.guide_x = editor.guide_x();
  sight.guide_y = editor.guide_y();
  sight.rubber_band = editor.rubber_band();
  sight.hint = editor.entries().empty();
  return sight;
}

// Along the line on which a handle moves, as it lies on the screen.
Qt::CursorShape CanvasWidget::PointerShape() const {
  if (panning()) return Qt::ClosedHandCursor;
  if (space_) return Qt::OpenHandCursor;
  const Editor& editor = *session_->editor();
  switch (editor.active_grip()) {
    case Grip::kNone: return Qt::ArrowCursor;
    case Grip::kMove: return editor.dragging() ? Qt::SizeAllCursor : Qt::ArrowCursor;
    case Grip::kRotate: return Qt::CrossCursor;
    case Grip::kResize: break;
  }
  const auto handle = editor.active_handle();
  const Entry* const entry = editor.SelectedEntry();
  if (!handle || !entry) return Qt::ArrowCursor;
  const double angle = std::atan2(handle->y, handle->x) * 180 / 3.14159265 + editor.ShapeOf(*entry).rotation_deg;
  constexpr Qt::CursorShape kShapes[] = {Qt::SizeHorCursor, Qt::SizeFDiagCursor, Qt::SizeVerCursor,
                                         Qt::SizeBDiagCursor};
  return kShapes[((std::lround(angle / 45) % 4) + 4) % 4];
}

void CanvasWidget::Zoom(float factor) {
  const Size size = viewport_->window();
  viewport_->ZoomAt({static_cast<float>(size.width) / 2, static_cast<float>(size.height) / 2}, factor);
}

void CanvasWidget::ZoomToSelection() {
  const Editor& editor = *session_->editor();
  std::optional<Box> box;
  for (const Entry& entry : editor.entries()) {
    if (!editor.IsSelected(entry.id)) continue;
    const Box bounds = BoundsOf(editor.ShapeOf(entry));
    box = box ? Joined(*box, bounds) : bounds;
  }
  if (box) viewport_->FitTo(*box);
}

double CanvasWidget::PixelRatio() const {
  const QWindow* const top = window()->windowHandle();
  return view_ && top ? QtPixelScale(*view_, top) : devicePixelRatioF();
}

// The middle of the pixel.
Vec CanvasWidget::ToPixels(QPointF pos) const {
  const QPointF pixels = (pos - ViewRect().topLeft()) * PixelRatio();
  return Vec{static_cast<float>(pixels.x() + 0.5), static_cast<float>(pixels.y() + 0.5)};
}

Size CanvasWidget::PixelSize() const {
  const double ratio = PixelRatio();
  const QSize size = ViewRect().size();
  return Size{std::max(0, static_cast<int>(std::lround(size.width() * ratio))),
              std::max(0, static_cast<int>(std::lround(size.height() * ratio)))};
}

std::optional<Vec> CanvasWidget::CanvasPoint(QPointF pos) const {
  const Vec point = viewport_->ToCanvas(ToPixels(pos));
  const Size canvas = session_->description().canvas;
  if (std::fabs(point.x) * 2 > static_cast<float>(canvas.width)) return std::nullopt;
  if (std::fabs(point.y) * 2 > static_cast<float>(canvas.height)) return std::nullopt;
  return Vec{std::floor(point.x), std::floor(point.y)};
}

bool CanvasWidget::event(QEvent* event) {
  switch (event->type()) {
    case QEvent::ShortcutOverride: {
      // These keys come as presses and releases, not as shortcuts.
      const auto* const key = static_cast<QKeyEvent*>(event);
      if (HeldCommandOf(*key) == Command::kNone && (key->key() != Qt::Key_Space || key->modifiers())) break;
      event->accept();
      return true;
    }
    default: break;
  }
  return QWidget::event(event);
}

void CanvasWidget::resizeEvent(QResizeEvent* /*event*/) {
  viewport_->Resize(PixelSize());
  if (view_) Refresh();
}

void CanvasWidget::LetGo(Qt::MouseButtons pressed) {
  if (panning() && !pressed.testFlag(pan_button_)) pan_button_ = Qt::NoButton;
  Editor* const editor = session_->editor();
  if (editor->holding() && !pressed.testFlag(Qt::LeftButton)) editor->Release();
}

// One thing at a time: while a button holds a layer or the view, another one does nothing.
void CanvasWidget::mousePressEvent(QMouseEvent* event) {
  const Vec pixels = ToPixels(event->position());
  LetGo(event->buttons() & ~Qt::MouseButtons(event->button()));
  if (panning() || session_->editor()->holding()) return;
  if (event->button() == Qt::MiddleButton || (event->button() == Qt::LeftButton && space_)) {
    pan_button_ = event->button();
    space_used_ = true;
    pointer_ = pixels;
  } else if (event->button() == Qt::LeftButton) {
    MovePointer(pixels, event->modifiers());
    session_->editor()->Press(viewport_->ToCanvas(pixels), ToModifiers(event->modifiers()));
  }
}

void CanvasWidget::mouseMoveEvent(QMouseEvent* event) {
  const Vec pixels = ToPixels(event->position());
  LetGo(event->buttons());
  if (panning()) {
    viewport_->Pan({pixels.x - pointer_.x, pixels.y - pointer_.y});
    pointer_ = pixels;
  } else {
    MovePointer(pixels, event->modifiers());
  }
}

void CanvasWidget::mouseReleaseEvent(QMouseEvent* event) {
  const Vec pixels = ToPixels(event->position());
  if (event->button() == pan_button_) {
    pan_button_ = Qt::NoButton;
  } else if (event->button() == Qt::LeftButton && !panning()) {
    MovePointer(pixels, event->modifiers());
    session_->editor()->Release();
    if (!rect().contains(event->position().toPoint())) session_->editor()->PointerLeft();
  }
}

void CanvasWidget::wheelEvent(QWheelEvent* event) {
  const double steps = event->angleDelta().y() / kWheelStep;
  const Vec pixels = ToPixels(event->position());
  viewport_->ZoomAt(pixels, static_cast<float>(std::exp2(steps / kStepsToDouble)));
  MovePointer(pixels, event->modifiers());
  event->accept();
}

void CanvasWidget::leaveEvent(QEvent* /*event*/) { session_->editor()->PointerLeft(); }

void CanvasWidget::MovePointer(Vec pixels, Qt::KeyboardModifiers modifiers) {
  pointer_ = pixels;
  session_->editor()->SetScale(ScaleToUser());
  session_->editor()->MovePointer(viewport_->ToCanvas(pixels), ToModifiers(modifiers));
}

void CanvasWidget::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Space && !event->modifiers()) {
    if (event->isAutoRepeat()) return;
    space_ = true;
    space_used_ = false;
  } else if (IsModifier(event->key())) {
    if (session_->editor()->dragging()) MovePointer(pointer_, event->modifiers());
  } else if (const Command command = HeldCommandOf(*event); command != Command::kNone) {
    run_(command, event->isAutoRepeat());
  } else {
    QWidget::keyPressEvent(event);
  }
}

void CanvasWidget::keyReleaseEvent(QKeyEvent* event) {
  if (event->isAutoRepeat()) return;
  if (event->key() == Qt::Key_Space && space_) {
    space_ = false;
    if (!space_used_) run_(Command::kPlay, false);
  } else if (IsModifier(event->key())) {
    if (session_->editor()->dragging()) MovePointer(pointer_, event->modifiers());
  } else if (HeldCommandOf(*event) != Command::kNone) {
    session_->editor()->EndGesture();
  } else {
    QWidget::keyReleaseEvent(event);
  }
}

void CanvasWidget::focusOutEvent(QFocusEvent* event) {
  space_ = false;
  // Another window takes the releases, such as a dialog that a key has opened.
  if (event->reason() == Qt::ActiveWindowFocusReason) LetGo(Qt::NoButton);
  session_->editor()->EndGesture();
  QWidget::focusOutEvent(event);
}

}  // namespace preview
