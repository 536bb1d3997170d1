// The commands and their keys: one table, which the menus, the shortcuts and the help are made from. No toolkit's.
#ifndef QUARN_EXAMPLES_PREVIEW_KEYS_H_
#define QUARN_EXAMPLES_PREVIEW_KEYS_H_

#include <string>
#include <vector>

namespace preview {

enum class Command {
  kNone,  // A line between others in a menu.
  // File
  kNew,
  kOpen,
  kSave,
  kSaveAs,
  kQuit,
  // Edit
  kUndo,
  kRedo,
  kCut,
  kCopy,
  kPaste,
  kDuplicate,
  kDelete,
  kSelectAll,
  kSelectNext,
  kSelectPrevious,
  kEscape,
  // Layer
  kAdd,
  kAddFiles,
  kAddColor,
  kRaise,
  kRaiseToTop,
  kLower,
  kLowerToBottom,
  kToggleVisible,
  kToggleLocked,
  kRename,
  // Layer > Move and Turn
  kNudgeLeft,
  kNudgeRight,
  kNudgeUp,
  kNudgeDown,
  kNudgeFarLeft,
  kNudgeFarRight,
  kNudgeFarUp,
  kNudgeFarDown,
  kTurnLeft,
  kTurnRight,
  kTurnFarLeft,
  kTurnFarRight,
  // View
  kZoomIn,
  kZoomOut,
  kZoomToFit,
  kZoomToPixels,
  kZoomToSelection,
  kTogglePanels,
  kToggleFullScreen,
  kNextPanel,
  // Film
  kPlay,
  kRewind,
  kRecord,
  // Help
  kHelp,
  kPrintHelp,
};

enum class Menu { kFile, kEdit, kLayer, kMove, kView, kFilm, kHelp };

// Where a command's keys are heard. Those that widgets of a panel need for themselves are the canvas' alone.
enum class Reach {
  kWindow,
  kCanvas,
  kHeld,  // The canvas, which is told of the release too: one press, however long, is one step of an undo.
};

struct Binding {
  Command command;
  Menu menu;
  const char* text;  // In the menu; & before the letter that Alt reaches it with.
  const char* keys;  // "Ctrl+Y; Ctrl+Shift+Z"; may be empty. The first is shown.
  Reach reach;
  bool repeats;      // Again and again while the key is held down.
  const char* name;  // In the help; null where another line tells of it.
  const char* help;
};

// In the order of the menus.
const std::vector<Binding>& Bindings();

// The pointer and the keys, a line each.
std::string KeyHelp();

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_KEYS_H_
