// Layers, sounds and values as people write them: read, or refused with an Error.
#include "studio/layer_text.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "studio/error.h"
#include "studio/frame_rate.h"
#include "studio/output_name.h"
#include "studio/sound_text.h"
#include "tests/fuzz/fuzz_check.h"

namespace {

using studio::LayerKind;

void CheckLayer(LayerKind kind, const std::string& text) {
  const studio::Layer layer = studio::ParseLayer(kind, text);
  FUZZ_CHECK(layer.kind == kind);
  const std::string trim = studio::TrimText(layer);
  if (trim.empty()) return;
  double start_s = 0;
  std::optional<double> end_s;
  studio::ParseTrim(trim, &start_s, &end_s);
  FUZZ_CHECK(end_s.has_value() == layer.trim_end_s.has_value());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  try {
    switch (data[0] % 8) {
      case 0: CheckLayer(LayerKind::kColor, text); break;
      case 1: CheckLayer(LayerKind::kPicture, text); break;
      case 2: CheckLayer(LayerKind::kVideo, text); break;
      case 3: CheckLayer(LayerKind::kText, text); break;
      case 4: FUZZ_CHECK(!studio::ParseSound(text).file.empty()); break;
      case 5: {
        const studio::FrameRate rate = studio::ParseFrameRate(text);
        FUZZ_CHECK(rate.num > 0 && rate.den > 0 && rate.num / rate.den <= 1000);
        break;
      }
      case 6: studio::ParseCrop(text); break;
      default: studio::ParseFade(text); break;
    }
  } catch (const studio::Error&) {
  }
  return 0;
}
