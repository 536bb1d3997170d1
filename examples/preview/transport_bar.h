// Playing and recording: buttons, the film's time, and a slider to look for a place in it.
#ifndef QUARN_EXAMPLES_PREVIEW_TRANSPORT_BAR_H_
#define QUARN_EXAMPLES_PREVIEW_TRANSPORT_BAR_H_

#include <string>

#include <QLabel>
#include <QSlider>
#include <QToolBar>
#include <QToolButton>

#include "preview/actions.h"
#include "preview/level_meter.h"
#include "preview/session.h"

namespace preview {

// "1:02.5": minutes, seconds, and tenths of them.
std::string TimeText(double seconds);

class TransportBar : public QToolBar {
 public:
  TransportBar(Session* session, const Actions& actions, QWidget* parent = nullptr);

  // Shows what the session does.
  void Refresh();
  QSlider* slider() { return slider_; }
  QToolButton* play() { return play_; }
  QToolButton* record() { return record_; }
  LevelMeter* level() { return level_; }
  QString time() const { return time_->text(); }

 private:
  QToolButton* AddButton(QAction* action);
  void Seek(int position, bool looking);

  Session* const session_;
  QToolButton* to_start_;
  QToolButton* play_;
  QLabel* time_;
  QSlider* slider_;
  QToolButton* record_;
  QLabel* recorded_;
  LevelMeter* level_;
  bool shown_playing_ = false;
  bool shown_recording_ = false;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_TRANSPORT_BAR_H_
