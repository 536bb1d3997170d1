// Soaks the library: a load like a preview's for so many seconds, or the making and destroying of one kind of thing for
// so many cycles, in an X server of its own. Says at the end what grew; its exit code is 0 when nothing did.
//
//   soak --seconds 3600
//   soak --cycles 10000 view mixer     of device, output, view and mixer; all when none is named
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "tests/soak/cycles.h"
#include "tests/soak/load.h"
#include "tests/support/x_server.h"

namespace soak {
namespace {

int Usage() {
  std::fputs("usage: soak --seconds S | --cycles N [device] [output] [view] [mixer]\n", stderr);
  return 2;
}

// Errors and warnings are for people to see; the rest would be millions of lines.
void Print(int level, const char* format, va_list args, void* /*user*/) {
  if (level > kQnLogWarning) return;
  char text[1024];
  std::vsnprintf(text, sizeof(text), format, args);
  if (std::strcmp(text, "device create success") == 0) return;
  std::printf("log: %s\n", text);
}

int Main(int argc, char** argv) {
  if (argc < 3) return Usage();
  const int number = std::atoi(argv[2]);
  const bool cycles = std::strcmp(argv[1], "--cycles") == 0;
  if (number < 1 || (!cycles && (std::strcmp(argv[1], "--seconds") != 0 || argc > 3))) return Usage();
  std::vector<CycleKind> kinds;
  for (int i = 3; i < argc; ++i) {
    const std::size_t before = kinds.size();
    for (const CycleKind& kind : CycleKinds()) {
      if (std::strcmp(kind.name, argv[i]) == 0) kinds.push_back(kind);
    }
    if (kinds.size() == before) return Usage();
  }
  if (kinds.empty()) kinds = CycleKinds();

  const test::XServer server;
  if (server.display().empty()) {
    std::fputs("the X server did not start: this wants Xvfb\n", stderr);
    return 1;
  }
  setenv("DISPLAY", server.display().c_str(), 1);
  unsetenv("WAYLAND_DISPLAY");
  qn_set_log_handle(Print, nullptr);
  bool flat = true;
  if (cycles) {
    for (const CycleKind& kind : kinds) flat &= RunCycles(kind, number);
  } else {
    flat = RunLoad(number);
  }
  std::puts(flat ? "flat" : "NOT FLAT");
  return flat ? 0 : 1;
}

}  // namespace
}  // namespace soak

int main(int argc, char** argv) { return soak::Main(argc, argv); }
