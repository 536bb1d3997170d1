// Place, size, rotation and opacity of the layer that was selected last, as numbers.
#ifndef QUARN_EXAMPLES_PREVIEW_NUMBERS_PANEL_H_
#define QUARN_EXAMPLES_PREVIEW_NUMBERS_PANEL_H_

#include <functional>

#include <QDoubleSpinBox>
#include <QTimer>
#include <QWidget>

#include "preview/editor.h"

namespace preview {

// A box that is turned by its arrows, the keys or the wheel makes one step for an undo until it is let go; the wheel
// until it rests.
class NumbersPanel : public QWidget {
 public:
  enum Number { kX, kY, kWidth, kHeight, kRotation, kOpacity, kNumberCount };

  // `editor` answers with the one of the scene that is open.
  explicit NumbersPanel(std::function<Editor*()> editor, QWidget* parent = nullptr);

  // Shows what the editor has; a number that is being written is left alone.
  void Refresh();
  QDoubleSpinBox* box(Number number) { return boxes_[number]; }

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  QDoubleSpinBox* MakeBox(double min, double max, int decimals, const char* unit, const char* name);
  void Take(Number number);
  void End();

  const std::function<Editor*()> editor_;
  QDoubleSpinBox* boxes_[kNumberCount];
  QTimer wheel_rests_;
  bool continues_ = false;  // The next change belongs to the same step.
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_NUMBERS_PANEL_H_
