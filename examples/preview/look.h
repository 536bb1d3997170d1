// How the window looks: dark and plain, so that the picture is what is seen.
#ifndef QUARN_EXAMPLES_PREVIEW_LOOK_H_
#define QUARN_EXAMPLES_PREVIEW_LOOK_H_

#include <QApplication>
#include <QIcon>

namespace preview {

void SetLook(QApplication* application);

enum class Symbol { kPlay, kPause, kToStart, kRecord, kStop, kEye, kLock, kUp, kDown, kBin, kAdd, kFit };
// Drawn, so that no theme needs to be there.
QIcon IconOf(Symbol symbol);

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_LOOK_H_
