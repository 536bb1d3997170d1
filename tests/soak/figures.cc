#include "tests/soak/figures.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <iterator>

namespace soak {
namespace {

int EntriesOf(const char* folder) {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

long ResidentKilobytes() {
  long pages = 0;
  long resident = 0;
  if (std::FILE* const file = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(file, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(file);
  }
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

Figures ReadFigures(double at) {
  Figures figures;
  figures.at = at;
  figures.resident = ResidentKilobytes();
  const struct mallinfo2 heap = mallinfo2();
  figures.allocated = static_cast<long>(heap.uordblks + heap.hblkhd);
  figures.descriptors = EntriesOf("/proc/self/fd") - 1;  // The one that looks.
  figures.threads = EntriesOf("/proc/self/task");
  figures.gl = ReadGLCounts();
  return figures;
}

std::string Line(const Figures& figures) {
  char text[256];
  std::snprintf(text, sizeof(text), "%9.1f  resident %8ld kB  allocated %9ld B  descriptors %3d  threads %3d  GL",
                figures.at, figures.resident, figures.allocated, figures.descriptors, figures.threads);
  std::string line = text;
  for (const long count : figures.gl) line += " " + std::to_string(count);
  return line;
}

}  // namespace soak
