// The public graphics interface on an engine without a GPU: registries, references, locks and bookkeeping.
#include <cstddef>
#include <cstdint>

#include "tests/fuzz/engine_host.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/quiet_log.h"
#include "tests/support/fake_device.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  KeepLogQuiet();
  FuzzInput input(data, size);
  fuzz::EngineHost host({});
  host.Run(&input);
  fake::ClearCalls();
  return 0;
}
