// The public graphics interface on the engine itself. Its devices last from one input to the next.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tests/fuzz/engine_host.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/gl_device.h"
#include "tests/fuzz/quiet_log.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static fuzz::EngineHost* const host = [] {
    KeepLogQuiet();
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    fuzz::EngineHost::Traits traits;
    traits.real = true;
    traits.after = fuzz::CheckGlDevice;
    return new fuzz::EngineHost(traits);
  }();
  FuzzInput input(data, size);
  host->Run(&input);
  return 0;
}
