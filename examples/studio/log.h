// The library's messages on the standard error stream, and what else is printed.
#ifndef QUARN_EXAMPLES_STUDIO_LOG_H_
#define QUARN_EXAMPLES_STUDIO_LOG_H_

#include <string>

namespace studio {

enum class LogShown { kNothing, kProblems, kEverything };

// Which messages of Quarn are shown; problems are errors and warnings. FFmpeg's are, when everything is.
void ShowLog(LogShown shown);

// What FFmpeg's last error on this thread said of itself, since this was asked for the last time; empty where it said
// nothing, and before ShowLog.
std::string TakeAvError();

// A text that may quote a scene or a file, for a terminal: what would tell that what to do becomes question marks.
std::string Printable(std::string text);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LOG_H_
