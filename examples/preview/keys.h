// What the keys do: one table, which the help is printed from too.
#ifndef QUARN_EXAMPLES_PREVIEW_KEYS_H_
#define QUARN_EXAMPLES_PREVIEW_KEYS_H_

#include <SDL.h>

#include <string>

namespace preview {

enum class Command {
  kNone,
  kSelectNext,
  kNudgeLeft,
  kNudgeRight,
  kNudgeUp,
  kNudgeDown,
  kTurnLeft,
  kTurnRight,
  kRaise,
  kLower,
  kToggleVisible,
  kDelete,
  kAdd,
  kUndo,
  kRedo,
  kEscape,
  kPlay,
  kRewind,
  kRecord,
  kSave,
  kHelp,
  kQuit,
};

Command CommandOf(const SDL_Keysym& key);

// The pointer and the keys, a line each.
std::string KeyHelp();

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_KEYS_H_
