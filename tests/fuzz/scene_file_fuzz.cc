// The text of a scene file: what it says is refused with an Error, or written down and read back as the same.
#include "studio/scene_file.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "studio/error.h"
#include "tests/fuzz/fuzz_check.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<studio::Layer> layers;
  try {
    layers = studio::ParseLayersText(text);
  } catch (const studio::Error&) {
    return 0;
  }
  std::string written;
  try {
    written = studio::LayersText(layers);
  } catch (const studio::Error&) {
    return 0;  // The folder of the process, for instance.
  }
  const std::vector<studio::Layer> again = studio::ParseLayersText(written);
  FUZZ_CHECK(again.size() == layers.size());
  for (std::size_t i = 0; i < layers.size(); ++i) {
    FUZZ_CHECK(again[i].kind == layers[i].kind && again[i].text == layers[i].text && again[i].z == layers[i].z);
    FUZZ_CHECK(std::fabs(again[i].pos.x - layers[i].pos.x) <= std::fabs(layers[i].pos.x) * 1e-5f + 1e-3f);
  }
  return 0;
}
