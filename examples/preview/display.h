// What the toolkit would end the program for: looked at before it is asked.
#ifndef QUARN_EXAMPLES_PREVIEW_DISPLAY_H_
#define QUARN_EXAMPLES_PREVIEW_DISPLAY_H_

namespace preview {

// Makes sure that windows can be opened, and says where: under Wayland or on an X server. QT_QPA_PLATFORM chooses,
// where it has wayland or xcb; else a session of Wayland (XDG_SESSION_TYPE) has its windows there, and any other on the
// X server if there is one. What cannot be had gives way to the other. Before the application is made. Throws Error.
void PrepareDisplay();

}  // namespace preview

#endif  // QUARN_EXAMPLES_PREVIEW_DISPLAY_H_
