// Items, scenes, outputs, filters and texture updates: engine, same passes, least.
#include <memory>

#include "benchmarks/loops.h"
#include "benchmarks/measure.h"
#include "benchmarks/sweep.h"

namespace {

// Small pictures, so that what is counted shows and not its pixels.
constexpr unsigned int kWidth = 160;
constexpr unsigned int kHeight = 90;
constexpr int kItems = 8;
constexpr int kMost = 64;

Sweep VideoSweep(const std::string& name, const std::string& title, const std::string& thing,
                 const std::vector<int>& steps, const Workload& base, int Workload::*counted) {
  const auto make = [base, counted](int number) -> std::optional<Ways> {
    Workload workload = base;
    workload.*counted = number;
    const auto loops = std::make_shared<Loops>(MakeLoops(workload));
    if (!*loops) return std::nullopt;
    return Ways{[loops] { loops->engine->MakeFrame(); }, [loops] { loops->same_passes->MakeFrame(); },
                [loops] { loops->least->MakeFrame(); }};
  };
  return {name, title, thing, "frame", {"engine", "same passes", "least"}, steps, make};
}

}  // namespace

std::vector<Sweep> VideoSweeps() {
  Workload base;
  base.width = kWidth;
  base.height = kHeight;
  base.items = kItems;
  base.format = kGsFormatNV12;
  Workload many = base;
  many.items = kMost;  // Of which each shows one of the filters, or of the updated images.
  const std::vector<int> steps = {1, 2, 4, 8, 16, 24, 32, 40, 48, 56, kMost};
  return {
      VideoSweep("items", "Items in a scene", "item", {1, 10, 100, 300, 600, 1000, 1500, 2000, 2500, 3000}, base,
                 &Workload::items),
      VideoSweep("scenes", "Scenes of 8 items, with an output each", "scene", steps, base, &Workload::scenes),
      VideoSweep("outputs", "Outputs of a scene of 8 items", "output", steps, base, &Workload::outputs),
      VideoSweep("filters", "Filters, in a scene of 64 items", "filter", steps, many, &Workload::filters),
      VideoSweep("updates", "Texture updates, in a scene of 64 items", "update", steps, many, &Workload::updates),
  };
}
