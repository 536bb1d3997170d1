// The commands as actions of a window, with their keys, and the menus that hold them.
#ifndef QUARN_EXAMPLES_PREVIEW_ACTIONS_H_
#define QUARN_EXAMPLES_PREVIEW_ACTIONS_H_

#include <functional>
#include <map>

#include <QAction>
#include <QKeyEvent>
#include <QMainWindow>

#include "preview/keys.h"

namespace preview {

class Actions {
 public:
  using Runner = std::function<void(Command command, bool repeated)>;

  // Fills the window's menu bar. The keys of the window are heard where the menu bar is hidden, too; those of the
  // canvas while it has the keyboard.
  Actions(QMainWindow* window, QWidget* canvas, const Runner& run);

  QAction* Of(Command command) const { return actions_.at(command); }

 private:
  std::map<Command, QAction*> actions_;
};

// The command of a key that is held down (Reach::kHeld); kNone for any other key.
Command HeldCommandOf(const QKeyEvent& event);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_ACTIONS_H_
