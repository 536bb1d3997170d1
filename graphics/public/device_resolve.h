// Which engine device a public object works on.
#ifndef QUARN_GRAPHICS_PUBLIC_DEVICE_RESOLVE_H_
#define QUARN_GRAPHICS_PUBLIC_DEVICE_RESOLVE_H_

class GraphicsDevice;
class GsDevice;

// The engine device of `device`, else of the default device, else null.
GraphicsDevice* ResolveDevice(GsDevice* device);

#endif  // QUARN_GRAPHICS_PUBLIC_DEVICE_RESOLVE_H_
