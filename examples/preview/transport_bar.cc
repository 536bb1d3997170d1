#include "preview/transport_bar.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <QFontDatabase>
#include <QSignalBlocker>

#include "preview/look.h"

namespace preview {
namespace {

constexpr int kPerSecond = 100;  // Positions of the slider.
constexpr int kSteps = 100;      // Its steps by keys, over the whole film.

}  // namespace

std::string TimeText(double seconds) {
  const long long tenths = std::max(0LL, static_cast<long long>(std::floor(seconds * 10 + 1e-6)));
  char text[48];
  std::snprintf(text, sizeof(text), "%lld:%02lld.%lld", tenths / 600, tenths / 10 % 60, tenths % 10);
  return text;
}

TransportBar::TransportBar(Session* session, const Actions& actions, QWidget* parent)
    : QToolBar("Film", parent), session_(session) {
  setMovable(false);
  setContentsMargins(0, 0, 8, 0);
  setIconSize(QSize(20, 20));
  actions.Of(Command::kRewind)->setIcon(IconOf(Symbol::kToStart));
  actions.Of(Command::kPlay)->setIcon(IconOf(Symbol::kPlay));
  actions.Of(Command::kRecord)->setIcon(IconOf(Symbol::kRecord));
  to_start_ = AddButton(actions.Of(Command::kRewind));
  play_ = AddButton(actions.Of(Command::kPlay));
  const auto add_label = [this](const char* name, int digits) {
    auto* const label = new QLabel(this);
    label->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    label->setMinimumWidth(label->fontMetrics().horizontalAdvance(QString(digits, '0')));
    label->setAccessibleName(name);
    addWidget(label);
    return label;
  };
  time_ = add_label("Time", 8);
  slider_ = new QSlider(Qt::Horizontal, this);
  slider_->setAccessibleName("Place in the film");
  slider_->setMinimumWidth(60);
  addWidget(slider_);
  record_ = AddButton(actions.Of(Command::kRecord));
  recorded_ = add_label("Recorded", 8);  // Nothing moves when there is something to tell.
  level_ = new LevelMeter(this);
  addWidget(level_);
  QObject::connect(slider_, &QSlider::sliderMoved, this, [this](int position) { Seek(position, true); });
  QObject::connect(slider_, &QSlider::sliderReleased, this, [this] { Seek(slider_->value(), false); });
  // Steps by keys, the wheel and clicks beside the knob.
  QObject::connect(slider_, &QSlider::valueChanged, this, [this](int position) {
    if (!slider_->isSliderDown()) Seek(position, false);
  });
}

// A click leaves the keyboard where it is.
QToolButton* TransportBar::AddButton(QAction* action) {
  auto* const button = new QToolButton(this);
  button->setDefaultAction(action);
  button->setFocusPolicy(Qt::TabFocus);
  button->setAutoRaise(true);
  addWidget(button);
  return button;
}

void TransportBar::Seek(int position, bool looking) {
  session_->Seek(static_cast<double>(position) / kPerSecond, looking);
  Refresh();
}

void TransportBar::Refresh() {
  const double seconds = session_->seconds();
  const QString text = QString::fromStdString(TimeText(seconds));
  if (text != time_->text()) time_->setText(text);
  const int end = static_cast<int>(std::lround(session_->description().duration_s * kPerSecond));
  {
    const QSignalBlocker quiet(slider_);
    if (slider_->maximum() != end) {
      slider_->setRange(0, end);
      slider_->setSingleStep(std::max(1, end / kSteps));
      slider_->setPageStep(std::max(1, end / 10));
    }
    if (!slider_->isSliderDown()) slider_->setValue(static_cast<int>(std::min(seconds * kPerSecond + 0.5, 1.0 * end)));
  }
  if (session_->playing() != shown_playing_) {
    shown_playing_ = session_->playing();
    play_->defaultAction()->setIcon(IconOf(shown_playing_ ? Symbol::kPause : Symbol::kPlay));
  }
  Recording* const recording = session_->recording();
  if ((recording != nullptr) != shown_recording_) {
    shown_recording_ = recording != nullptr;
    record_->defaultAction()->setIcon(IconOf(shown_recording_ ? Symbol::kStop : Symbol::kRecord));
  }
  const QString length = recording ? QString::fromStdString(TimeText(recording->seconds())) : QString();
  if (length != recorded_->text()) recorded_->setText(length);
  level_->SetLevel(recording ? recording->level() : 0);
}

}  // namespace preview
