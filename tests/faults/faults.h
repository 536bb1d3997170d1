// Which call of the library's fails. Everything that libquarn.so calls in other libraries goes through a stub of ours
// (imports.h), which asks here whether this is the call; drivers and the C library call each other as ever.
#ifndef QUARN_TESTS_FAULTS_FAULTS_H_
#define QUARN_TESTS_FAULTS_FAULTS_H_

#include <string>
#include <vector>

namespace faults {

// What a fault is like. The calls of each kind are counted apart.
enum Kind {
  kMemory,       // malloc, new and their like answer that there is none.
  kSystem,       // mmap, files and descriptors: refused.
  kThreads,      // No thread, no lock.
  kEgl,          // An EGL function answers that it failed, with EGL_BAD_ALLOC.
  kGl,           // No name, no mapping, no complete framebuffer, no compiled program.
  kGlMemory,     // GL_OUT_OF_MEMORY waits for whoever asks next; what the call was to store is not there.
  kX11,          // A request or a reply fails.
  kX11Lost,      // The connection is lost before a call to XCB or EGL.
  kWayland,      // libwayland makes no object, or has nothing to read, to send or to dispatch.
  kWaylandLost,  // The connection is lost before a call to libwayland or EGL.
  kKinds,        // How many there are.
};

inline constexpr const char* kKindNames[kKinds] = {"memory",    "system", "threads",  "egl",     "gl",
                                                   "gl-memory", "x11",    "x11-lost", "wayland", "wayland-lost"};

// A function of another library's that the library calls, and ours in its place.
struct Import {
  const char* name;  // As the linker has it.
  void* stub;
  bool in_standard_library = false;  // Whether the call is looked for there: it makes strings for us.
};

// All of them.
std::vector<Import> SystemImports();
std::vector<Import> EglImports();
std::vector<Import> GlImports();
std::vector<Import> X11Imports();
std::vector<Import> WaylandImports();  // None in a build without.

// Lets the call with that number, counted from 1, of that kind fail. 0 only counts.
void Arm(Kind kind, int number);
// From here on everything succeeds.
void Disarm();
// How many calls of the kind that was armed there were.
int Calls();
// The function that failed; empty while none has.
std::string Failed();
// Lets Failed tell in this process what failed in its forks.
void ShareFailed();

// What stubs ask.
// Whether calls of that kind are counted.
bool IsArmed(Kind kind);
enum class Fate { kGoesOn, kFails };
// Whether this call, which can fail as `kind`, does so.
Fate Decide(Kind kind, const char* name);

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_FAULTS_H_
