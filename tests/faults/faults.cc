// The one fault that is armed. Stubs come from every thread of the library.
#include "tests/faults/faults.h"

#include <sys/mman.h>

#include <atomic>
#include <new>

namespace faults {
namespace {

std::atomic<int> armed_kind{kKinds};
std::atomic<int> armed_number{0};
std::atomic<int> calls{0};
// Names are constants of the program, and so at the same place in its forks.
using Name = std::atomic<const char*>;
Name own_failed{nullptr};
Name* failed = &own_failed;

}  // namespace

void Arm(Kind kind, int number) {
  *failed = nullptr;
  calls = 0;
  armed_number = number;
  armed_kind = kind;
}

void Disarm() { armed_kind = kKinds; }

int Calls() { return calls; }

std::string Failed() {
  const char* const name = *failed;
  return name ? name : "";
}

void ShareFailed() {
  static void* const shared = mmap(nullptr, sizeof(Name), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return;
  failed = new (shared) Name(nullptr);
}

bool IsArmed(Kind kind) { return armed_kind == kind; }

Fate Decide(Kind kind, const char* name) {
  if (kind != armed_kind || ++calls != armed_number) return Fate::kGoesOn;
  *failed = name;
  return Fate::kFails;
}

}  // namespace faults
