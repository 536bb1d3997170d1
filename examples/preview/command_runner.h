// What the commands do, and what has to be asked for them.
#ifndef QUARN_EXAMPLES_PREVIEW_COMMAND_RUNNER_H_
#define QUARN_EXAMPLES_PREVIEW_COMMAND_RUNNER_H_

#include <QList>
#include <QUrl>
#include <QWidget>

#include "preview/canvas_widget.h"
#include "preview/keys.h"
#include "preview/session.h"

namespace preview {

class CommandRunner {
 public:
  // `window`: over which dialogs open.
  CommandRunner(Session* session, QWidget* window) : session_(session), window_(window) {}

  // Returns false for a command that is the window's own. `repeated`: by a key that is held down.
  bool Run(Command command, bool repeated, CanvasWidget* canvas);
  // Asks what becomes of changes that are not saved. Returns whether the scene may go.
  bool MayLeaveScene();
  // Adds the files that were pasted or dropped, and tells which of the URLs are none.
  void AddUrls(const QList<QUrl>& urls, studio::Vec pos);

 private:
  bool RunOnFile(Command command);
  bool RunOnLayers(Command command, bool repeated);
  bool RunOnView(Command command, CanvasWidget* canvas);
  // Returns whether something was copied.
  bool Copy();
  void Paste();
  void AskForScene();
  void AskForName();
  void AskForFiles();
  void AskForColor();

  Session* const session_;
  QWidget* const window_;
};

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_COMMAND_RUNNER_H_
