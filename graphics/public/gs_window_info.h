// The public name of a native window, and the engine's.
#ifndef QUARN_GRAPHICS_PUBLIC_GS_WINDOW_INFO_H_
#define QUARN_GRAPHICS_PUBLIC_GS_WINDOW_INFO_H_

struct GsWindowInfo;
struct InternalWindowInfo;

// Copies the handle.
void GsWindowInfoToInternalWindowInfo(const GsWindowInfo& info, InternalWindowInfo& internal_info);

#endif  // QUARN_GRAPHICS_PUBLIC_GS_WINDOW_INFO_H_
