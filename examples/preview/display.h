// What the toolkit would end the program for: looked at before it is asked.
#ifndef QUARN_EXAMPLES_PREVIEW_DISPLAY_H_
#define QUARN_EXAMPLES_PREVIEW_DISPLAY_H_

namespace preview {

// Makes sure that windows can be opened on the X server that DISPLAY names, and has the toolkit use it: views are for
// X11 windows; under Wayland that is XWayland. Before the application is made. Throws Error.
void PrepareDisplay();

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_DISPLAY_H_
