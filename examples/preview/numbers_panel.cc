#include "preview/numbers_panel.h"

#include <cmath>
#include <utility>

#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>

#include "studio/placement.h"

namespace preview {
namespace {

using studio::Size;
using studio::Vec;

constexpr double kFarthest = 100000;
constexpr int kWheelRestMs = 500;  // After as long without a turn of the wheel the next is another step.

}  // namespace

NumbersPanel::NumbersPanel(std::function<Editor*()> editor, QWidget* parent)
    : QWidget(parent), editor_(std::move(editor)) {
  boxes_[kX] = MakeBox(-kFarthest, kFarthest, 1, " px", "X");
  boxes_[kY] = MakeBox(-kFarthest, kFarthest, 1, " px", "Y");
  boxes_[kWidth] = MakeBox(1, kMaxSide, 0, " px", "Width");
  boxes_[kHeight] = MakeBox(1, kMaxSide, 0, " px", "Height");
  boxes_[kRotation] = MakeBox(-360, 360, 1, "\u00b0", "Rotation");
  boxes_[kOpacity] = MakeBox(0, 100, 0, " %", "Opacity");
  auto* const grid = new QGridLayout(this);
  for (int i = 0; i < kNumberCount; ++i) {
    auto* const label = new QLabel(boxes_[i]->accessibleName());
    label->setBuddy(boxes_[i]);
    grid->addWidget(label, i / 2 * 2, i % 2);
    grid->addWidget(boxes_[i], i / 2 * 2 + 1, i % 2);
  }
  grid->setRowStretch(kNumberCount, 1);
  wheel_rests_.setSingleShot(true);
  wheel_rests_.setInterval(kWheelRestMs);
  QObject::connect(&wheel_rests_, &QTimer::timeout, this, [this] { End(); });
  for (int i = 0; i < kNumberCount; ++i) {
    const auto number = static_cast<Number>(i);
    QObject::connect(boxes_[i], &QDoubleSpinBox::valueChanged, this, [this, number] { Take(number); });
    QObject::connect(boxes_[i], &QDoubleSpinBox::editingFinished, this, [this] { End(); });
    boxes_[i]->installEventFilter(this);
  }
}

QDoubleSpinBox* NumbersPanel::MakeBox(double min, double max, int decimals, const char* unit, const char* name) {
  auto* const box = new QDoubleSpinBox;
  box->setRange(min, max);
  box->setDecimals(decimals);
  box->setSuffix(QString::fromUtf8(unit));
  box->setAccessibleName(name);
  box->setAccelerated(true);
  box->setKeyboardTracking(false);  // What is written counts once it is whole.
  box->setMinimumWidth(90);
  return box;
}

void NumbersPanel::Refresh() {
  const Entry* const entry = editor_()->SelectedEntry();
  setEnabled(entry != nullptr);
  if (!entry) {
    for (QDoubleSpinBox* const box : boxes_) {
      const QSignalBlocker quiet(box);
      box->clear();
    }
    return;
  }
  const Size size = studio::DrawnSize(entry->layer, entry->natural);
  const double values[kNumberCount] = {entry->layer.pos.x,
                                       entry->layer.pos.y,
                                       static_cast<double>(size.width),
                                       static_cast<double>(size.height),
                                       entry->layer.rotation_deg,
                                       std::round(entry->layer.opacity * 100.0)};
  for (int i = 0; i < kNumberCount; ++i) {
    QDoubleSpinBox* const box = boxes_[i];
    auto* const line = box->findChild<QLineEdit*>();
    if (box->hasFocus() && line && line->isModified()) continue;
    const double shown = std::round(values[i] * std::pow(10.0, box->decimals())) / std::pow(10.0, box->decimals());
    if (std::fabs(box->value() - shown) < 1e-6 && !box->text().isEmpty()) continue;
    const QSignalBlocker quiet(box);
    box->setValue(values[i]);
  }
}

void NumbersPanel::Take(Number number) {
  Editor& editor = *editor_();
  const Entry* const entry = editor.SelectedEntry();
  if (!entry) return;
  const auto value = static_cast<float>(boxes_[number]->value());
  Vec pos = entry->layer.pos;
  Size size = studio::DrawnSize(entry->layer, entry->natural);
  switch (number) {
    case kX: editor.SetPos({value, pos.y}, continues_); break;
    case kY: editor.SetPos({pos.x, value}, continues_); break;
    case kWidth: editor.SetSize({static_cast<int>(value), size.height}, continues_); break;
    case kHeight: editor.SetSize({size.width, static_cast<int>(value)}, continues_); break;
    case kRotation: editor.SetRotation(value, continues_); break;
    case kOpacity: editor.SetOpacity(value / 100, continues_); break;
    case kNumberCount: break;
  }
  continues_ = true;
}

void NumbersPanel::End() {
  continues_ = false;
  editor_()->EndGesture();
}

// The box lets go of what it was turned by: a button of the mouse, or a key that is not merely repeated.
bool NumbersPanel::eventFilter(QObject* watched, QEvent* event) {
  switch (event->type()) {
    case QEvent::MouseButtonRelease:
    case QEvent::FocusOut: End(); break;
    case QEvent::Wheel: wheel_rests_.start(); break;
    case QEvent::KeyRelease:
      if (!static_cast<QKeyEvent*>(event)->isAutoRepeat()) End();
      break;
    default: break;
  }
  return QWidget::eventFilter(watched, event);
}

}  // namespace preview
