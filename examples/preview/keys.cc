#include "preview/keys.h"

namespace preview {
namespace {

constexpr Reach kWindow = Reach::kWindow, kCanvas = Reach::kCanvas, kHeld = Reach::kHeld;

constexpr Binding Line(Menu menu) { return {Command::kNone, menu, "", "", kWindow, false, nullptr, nullptr}; }

constexpr char kPointerHelp[] =
    "  Click           select; on nothing: select nothing; with Shift or Ctrl add to the selection;\n"
    "                  with Alt select what lies under it\n"
    "  Drag            move, snapping to the canvas and to other layers, with Ctrl freely, with Shift along one axis;\n"
    "                  from nothing: select what the rectangle touches\n"
    "  Drag a handle   resize, the opposite handle stays; a corner keeps proportions, with Shift it does not\n"
    "  Drag the grip   rotate, snapping to right angles, with Ctrl freely, with Shift in steps of fifteen degrees\n"
    "  Wheel           zoom at the pointer\n"
    "  Middle button   move the view; so does a drag while Space is held\n";

}  // namespace

const std::vector<Binding>& Bindings() {
  static const std::vector<Binding> bindings = {
      {Command::kNew, Menu::kFile, "&New", "Ctrl+N", kWindow, false, "Ctrl+N, Ctrl+O",
       "a new scene; open a scene file"},
      {Command::kOpen, Menu::kFile, "&Open...", "Ctrl+O", kWindow, false, nullptr, nullptr},
      {Command::kSave, Menu::kFile, "&Save", "Ctrl+S; S", kWindow, false, "S, Ctrl+S", "save the scene file"},
      {Command::kSaveAs, Menu::kFile, "Save &As...", "Ctrl+Shift+S", kWindow, false, "Ctrl+Shift+S",
       "save it under another name"},
      Line(Menu::kFile),
      {Command::kQuit, Menu::kFile, "&Quit", "Ctrl+Q", kWindow, false, "Ctrl+Q", "quit"},

      {Command::kUndo, Menu::kEdit, "&Undo", "Ctrl+Z", kWindow, true, "Ctrl+Z, Ctrl+Y",
       "undo, redo (Ctrl+Shift+Z too)"},
      {Command::kRedo, Menu::kEdit, "&Redo", "Ctrl+Y; Ctrl+Shift+Z", kWindow, true, nullptr, nullptr},
      Line(Menu::kEdit),
      {Command::kCut, Menu::kEdit, "Cu&t", "Ctrl+X", kWindow, false, "Ctrl+X, C, V",
       "cut, copy, paste layers, as the text of scene files; paste files"},
      {Command::kCopy, Menu::kEdit, "&Copy", "Ctrl+C", kWindow, false, nullptr, nullptr},
      {Command::kPaste, Menu::kEdit, "&Paste", "Ctrl+V", kWindow, false, nullptr, nullptr},
      {Command::kDuplicate, Menu::kEdit, "&Duplicate", "Ctrl+D", kWindow, false, "Ctrl+D", "duplicate"},
      {Command::kDelete, Menu::kEdit, "De&lete", "Delete", kWindow, false, "Delete", "delete"},
      Line(Menu::kEdit),
      {Command::kSelectAll, Menu::kEdit, "Select &All", "Ctrl+A", kWindow, false, "Ctrl+A", "select all layers"},
      {Command::kSelectNext, Menu::kEdit, "Select &Next", "Tab", kCanvas, true, "Tab",
       "select the next layer, hidden ones too; with Shift the previous"},
      {Command::kSelectPrevious, Menu::kEdit, "Select Pre&vious", "Shift+Tab", kCanvas, true, nullptr, nullptr},
      {Command::kEscape, Menu::kEdit, "Select N&othing", "Escape", kWindow, false, "Escape",
       "put back what is being dragged; else select nothing; else leave the full screen"},

      {Command::kAddFiles, Menu::kLayer, "Add &Files...", "Ctrl+I", kWindow, false, "Ctrl+I",
       "add files; they can also be dropped on the window"},
      {Command::kAdd, Menu::kLayer, "Add &Next File", "A", kWindow, false, "A",
       "add the next file of --add; without --add as Ctrl+I"},
      {Command::kAddColor, Menu::kLayer, "Add &Color...", "", kWindow, false, nullptr, nullptr},
      Line(Menu::kLayer),
      {Command::kRaise, Menu::kLayer, "&Raise", "PgUp", kCanvas, false, "Page Up, Down",
       "raise, lower; with Shift to the top, the bottom"},
      {Command::kLower, Menu::kLayer, "&Lower", "PgDown", kCanvas, false, nullptr, nullptr},
      {Command::kRaiseToTop, Menu::kLayer, "Raise to &Top", "Shift+PgUp", kCanvas, false, nullptr, nullptr},
      {Command::kLowerToBottom, Menu::kLayer, "Lower to &Bottom", "Shift+PgDown", kCanvas, false, nullptr, nullptr},
      Line(Menu::kLayer),
      {Command::kToggleVisible, Menu::kLayer, "&Hide or Show", "H", kWindow, false, "H", "hide or show"},
      {Command::kToggleLocked, Menu::kLayer, "Loc&k or Unlock", "L", kWindow, false, "L",
       "lock or unlock: the pointer leaves a locked layer alone"},
      {Command::kRename, Menu::kLayer, "Rena&me", "F2", kWindow, false, "F2", "rename, in the list of layers"},
      {Command::kNudgeLeft, Menu::kMove, "Move &Left", "Left", kHeld, true, "Arrows",
       "move by a pixel; with Shift by ten"},
      {Command::kNudgeRight, Menu::kMove, "Move &Right", "Right", kHeld, true, nullptr, nullptr},
      {Command::kNudgeUp, Menu::kMove, "Move &Up", "Up", kHeld, true, nullptr, nullptr},
      {Command::kNudgeDown, Menu::kMove, "Move &Down", "Down", kHeld, true, nullptr, nullptr},
      {Command::kNudgeFarLeft, Menu::kMove, "Move Left by Ten", "Shift+Left", kHeld, true, nullptr, nullptr},
      {Command::kNudgeFarRight, Menu::kMove, "Move Right by Ten", "Shift+Right", kHeld, true, nullptr, nullptr},
      {Command::kNudgeFarUp, Menu::kMove, "Move Up by Ten", "Shift+Up", kHeld, true, nullptr, nullptr},
      {Command::kNudgeFarDown, Menu::kMove, "Move Down by Ten", "Shift+Down", kHeld, true, nullptr, nullptr},
      Line(Menu::kMove),
      {Command::kTurnLeft, Menu::kMove, "Turn L&eft", ",", kHeld, true, ", .",
       "rotate by a degree; with Shift by fifteen"},
      {Command::kTurnRight, Menu::kMove, "Turn R&ight", ".", kHeld, true, nullptr, nullptr},
      {Command::kTurnFarLeft, Menu::kMove, "Turn Left by Fifteen", "Shift+,; Shift+<; Shift+;", kHeld, true, nullptr,
       nullptr},
      {Command::kTurnFarRight, Menu::kMove, "Turn Right by Fifteen", "Shift+.; Shift+>; Shift+:", kHeld, true, nullptr,
       nullptr},

      {Command::kZoomIn, Menu::kView, "Zoom &In", "Ctrl++; Ctrl+=", kWindow, true, "Ctrl++, Ctrl+-", "zoom in, out"},
      {Command::kZoomOut, Menu::kView, "Zoom &Out", "Ctrl+-", kWindow, true, nullptr, nullptr},
      {Command::kZoomToFit, Menu::kView, "&Fit the Canvas", "Ctrl+0", kWindow, false, "Ctrl+0, Ctrl+1",
       "fit the canvas into the window; show it at 100 %"},
      {Command::kZoomToPixels, Menu::kView, "&100 %", "Ctrl+1", kWindow, false, nullptr, nullptr},
      {Command::kZoomToSelection, Menu::kView, "Fit the &Selection", "Shift+2", kWindow, false, "Shift+2",
       "fit the selected layers into the window"},
      Line(Menu::kView),
      {Command::kTogglePanels, Menu::kView, "&Panels", "F9", kWindow, false, "F9, F11",
       "the canvas without panels; the canvas alone on the full screen"},
      {Command::kToggleFullScreen, Menu::kView, "F&ull Screen", "F11", kWindow, false, nullptr, nullptr},
      {Command::kNextPanel, Menu::kView, "&Next Panel", "F6", kWindow, false, "F6",
       "the keyboard goes to the next panel"},

      {Command::kPlay, Menu::kFilm, "&Play or Pause", "Space", kCanvas, false, "Space",
       "play or pause: videos, drift and spin"},
      {Command::kRewind, Menu::kFilm, "To the &Start", "Home", kCanvas, false, "Home", "go back to the start"},
      Line(Menu::kFilm),
      {Command::kRecord, Menu::kFilm, "&Record", "R", kWindow, false, "R", "start or stop recording"},

      {Command::kHelp, Menu::kHelp, "&Keys", "F1", kWindow, false, "F1", "show this help; with Shift print it"},
      {Command::kPrintHelp, Menu::kHelp, "&Print the Keys", "Shift+F1", kWindow, false, nullptr, nullptr},
  };
  return bindings;
}

std::string KeyHelp() {
  std::string help = kPointerHelp;
  for (const Binding& binding : Bindings()) {
    if (!binding.name) continue;
    std::string name = binding.name;
    name.resize(16, ' ');
    help += "  " + name + binding.help + "\n";
  }
  return help;
}

}  // namespace preview
