// The library's messages on the standard error stream.
#ifndef QUARN_EXAMPLES_STUDIO_LOG_H_
#define QUARN_EXAMPLES_STUDIO_LOG_H_

namespace studio {

enum class LogShown { kNothing, kProblems, kEverything };

// Which messages of Quarn are shown; problems are errors and warnings. FFmpeg's are, when everything is.
void ShowLog(LogShown shown);

}  // namespace studio

#endif  // QUARN_EXAMPLES_STUDIO_LOG_H_
