// The host's own connection to its window system, for views in its windows. Words and tags: quarn.h.
//
// A host under X11 need not call qn_set_native_display, for the library opens a connection to the server that DISPLAY
// names. A host that is a client of a Wayland compositor does: surfaces belong to the connection that made them.
//
// GsWindowInfo::window is a wl_surface* then. A view comes to light with the host's next commit of it; from then on
// pictures and places show without the host. All sizes and places stay pixels of the screen: at a scale of 1.5 a window
// of 400x300 units has 600x450 of them. A place that is no whole number of units is rounded to one; where a size is
// none, the last pixels are not shown, fewer than a unit has. The end of a surface is told to nobody: a view is ended,
// or sent to no window (GsView::SetWindow), before its surface is destroyed, wherever it may not have been made there
// yet, as after a call that did not wait; and wherever it is to go to another surface later, which may come to lie at
// the same address.
#ifndef QUARN_QN_NATIVE_DISPLAY_H_
#define QUARN_QN_NATIVE_DISPLAY_H_

#include <quarn/export.h>

extern "C" {

// Whose windows GsWindowInfo names.
enum QnNativeDisplayKind : int {
  kQnNativeDisplayNone = 0,     // X11, where DISPLAY names a server; the display is not looked at.
  kQnNativeDisplayWayland = 1,  // The display is a wl_display*, and the windows are its wl_surface*.
};

// Names the connection that the host's windows belong to, before the first device is made: the process's devices then
// draw on the EGL display of that connection. Without it, and where it is refused, they are made as before.
//
// The library reads the connection too, as libwayland lets several threads do, and has an event queue of its own on it:
// it never dispatches the host's, and never commits a surface of the host's. A call replaces the one before, until a
// device is made; then the choice stays for the process. A forked child begins without one.
//
// `kind`: what `display` is.
// `display`: open for as long as the process has devices or views; where no device was made, until another is set.
// Returns true when it was taken, or was there already and serves the devices, if there are any. Else the log says why:
// it is null, its connection is broken or does not answer, its compositor lacks what views need (wl_compositor,
// wl_subcompositor, wl_shm), EGL or this build of the library has no Wayland, or a device was made on another one.
//
// Thread: caller-serialised; a thread that has prepared to read the connection reads or cancels first. The same goes
// for the making of the first device, which asks the compositor once more.
// Blocks: until the compositor has answered, for five seconds at most.
// Ownership: stays the host's.
QUARN_EXPORT bool qn_set_native_display(QnNativeDisplayKind kind, void* display);

}  // extern "C"

#endif  // QUARN_QN_NATIVE_DISPLAY_H_
