#include "preview/keys.h"

namespace preview {
namespace {

struct Binding {
  SDL_Keycode key;
  bool control;
  Command command;
  const char* name;  // Null for another key of the line before.
  const char* help;
};

constexpr Binding kBindings[] = {
    {SDLK_TAB, false, Command::kSelectNext, "Tab", "select the next layer, hidden ones too; with Shift the previous"},
    {SDLK_LEFT, false, Command::kNudgeLeft, "Arrows", "move by a pixel; with Shift by ten"},
    {SDLK_RIGHT, false, Command::kNudgeRight, nullptr, nullptr},
    {SDLK_UP, false, Command::kNudgeUp, nullptr, nullptr},
    {SDLK_DOWN, false, Command::kNudgeDown, nullptr, nullptr},
    {SDLK_COMMA, false, Command::kTurnLeft, ", .", "rotate by a degree; with Shift by fifteen"},
    {SDLK_PERIOD, false, Command::kTurnRight, nullptr, nullptr},
    {SDLK_PAGEUP, false, Command::kRaise, "Page Up, Down", "raise, lower; with Shift to the top, the bottom"},
    {SDLK_PAGEDOWN, false, Command::kLower, nullptr, nullptr},
    {SDLK_h, false, Command::kToggleVisible, "H", "hide or show"},
    {SDLK_DELETE, false, Command::kDelete, "Delete", "delete"},
    {SDLK_a, false, Command::kAdd, "A", "add the next file of --add; files can also be dropped on the window"},
    {SDLK_z, true, Command::kUndo, "Ctrl+Z, Ctrl+Y", "undo, redo"},
    {SDLK_y, true, Command::kRedo, nullptr, nullptr},
    {SDLK_ESCAPE, false, Command::kEscape, "Escape", "put back what is being dragged; else select nothing"},
    {SDLK_SPACE, false, Command::kPlay, "Space", "play or pause: videos, drift and spin"},
    {SDLK_HOME, false, Command::kRewind, "Home", "go back to the start"},
    {SDLK_r, false, Command::kRecord, "R", "start or stop recording"},
    {SDLK_s, false, Command::kSave, "S", "save the scene file"},
    {SDLK_s, true, Command::kSave, nullptr, nullptr},
    {SDLK_F1, false, Command::kHelp, "F1", "print this help"},
    {SDLK_q, true, Command::kQuit, "Ctrl+Q", "quit"},
};

constexpr char kPointerHelp[] =
    "  Click           select; on nothing: select nothing\n"
    "  Drag            move, keeping to edges and centres; with Ctrl freely, with Shift on one axis\n"
    "  Drag a handle   resize, the opposite handle stays; corners in proportion, with Shift freely\n";

}  // namespace

Command CommandOf(const SDL_Keysym& key) {
  const bool control = (key.mod & KMOD_CTRL) != 0;
  for (const Binding& binding : kBindings) {
    if (binding.key == key.sym && binding.control == control) return binding.command;
  }
  return Command::kNone;
}

std::string KeyHelp() {
  std::string help = kPointerHelp;
  for (const Binding& binding : kBindings) {
    if (!binding.name) continue;
    std::string name = binding.name;
    name.resize(16, ' ');
    help += "  " + name + binding.help + "\n";
  }
  return help;
}

}  // namespace preview
