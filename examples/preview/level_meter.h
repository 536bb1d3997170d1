// How loud the sound is.
#ifndef QUARN_EXAMPLES_PREVIEW_LEVEL_METER_H_
#define QUARN_EXAMPLES_PREVIEW_LEVEL_METER_H_

#include <QWidget>

namespace preview {

// A bar on a scale of decibels, which jumps up and falls slowly.
class LevelMeter : public QWidget {
 public:
  explicit LevelMeter(QWidget* parent = nullptr);

  // The largest magnitude since the last call, 0 to 1.
  void SetLevel(float level);
  // What is shown: 0 for the lowest of the scale, 1 for full scale.
  float shown() const { return shown_; }

  QSize sizeHint() const override;

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  float shown_ = 0;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_LEVEL_METER_H_
