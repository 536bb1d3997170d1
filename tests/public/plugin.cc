// A plugin of a host that knows nothing of Quarn: what plugin_test loads and unloads.
#include <quarn/quarn.h>

// Makes a device and ends it. Returns whether there was one.
extern "C" __attribute__((visibility("default"))) bool use_quarn() {
  const bool made = GsDevice::CreateDefaultDevice(true);
  { auto scene = MakeRef<RefCounted<GsScene>>(64u, 64u, nullptr); }
  GsDevice::DestroyDefaultDevice();
  return made;
}
