#include "tests/support/failing_allocations.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <unwind.h>

#include <cstdint>
#include <exception>
#include <string>

#include "tests/support/global_new.h"

// What replaces malloc runs before a sanitizer has made itself ready.
#define QUARN_NOT_SANITIZED __attribute__((no_sanitize("address"), no_sanitize("thread"), no_sanitize("undefined")))

namespace {

// Where a library's code lies.
class Module {
 public:
  // The one that has `symbol`.
  explicit Module(const char* symbol) {
    Dl_info info{};
    if (dladdr(dlsym(RTLD_DEFAULT, symbol), &info)) base_ = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    dl_iterate_phdr(&Module::Look, this);
  }

  bool Has(const void* address) const {
    const auto value = reinterpret_cast<std::uintptr_t>(address);
    return value >= base_ && value < end_;
  }

 private:
  static int Look(dl_phdr_info* info, std::size_t, void* self) {
    auto* const module = static_cast<Module*>(self);
    if (info->dlpi_addr != module->base_) return 0;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
      const auto& segment = info->dlpi_phdr[i];
      if (segment.p_type == PT_LOAD) module->end_ = module->base_ + segment.p_vaddr + segment.p_memsz;
    }
    return 1;
  }

  std::uintptr_t base_ = 0;
  std::uintptr_t end_ = 0;
};

struct Modules {
  Module library{"qn_log"};
  Module standard{"_ZSt17__throw_bad_allocv"};
};

// Made before anything is to fail.
const Modules* modules = nullptr;

// The state of this thread, in plain variables: malloc finds them before anything is constructed.
thread_local int until_failure = 0;  // The allocation that fails, counted down; 0 where none is to fail.
thread_local bool fails_onwards = false;
thread_local bool has_failed = false;
thread_local int pauses = 0;

// Whether the library asks. Its strings and trees are partly made inside the standard library: then whoever called that
// counts.
bool IsLibrarys(const void* caller, bool through_standard_library) {
  if (!through_standard_library || !modules->standard.Has(caller)) return modules->library.Has(caller);
  struct Walk {
    bool inside = false;
    const void* outside = nullptr;
  } walk;
  _Unwind_Backtrace(
      [](_Unwind_Context* context, void* state) {
        auto* const w = static_cast<Walk*>(state);
        const auto* const address = reinterpret_cast<const void*>(_Unwind_GetIP(context));
        const bool standard = modules->standard.Has(address);
        w->inside = w->inside || standard;
        if (!w->inside || standard) return _URC_NO_REASON;
        w->outside = address;
        return _URC_END_OF_STACK;
      },
      &walk);
  return modules->library.Has(walk.outside);
}

// Whether this allocation is to fail.
QUARN_NOT_SANITIZED bool Fails(const void* caller, bool through_standard_library) {
  if (until_failure == 0 || pauses > 0) return false;
  ++pauses;  // To look at the caller allocates memory, which is not to fail.
  const bool counts = IsLibrarys(caller, through_standard_library);
  --pauses;
  if (!counts) return false;
  if (until_failure > 1) {
    --until_failure;
    return false;
  }
  if (has_failed && !fails_onwards) return false;
  has_failed = true;
  return true;
}

// Finds what the replaced function of that name would have been, once. Without a guarded static: the first calls come
// before the process is ready for one.
template <class Function>
QUARN_NOT_SANITIZED Function Next(Function* next, const char* name) {
  if (!*next) *next = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
  return *next;
}

void CallOnce(const std::function<void()>& work, int number, bool onwards) {
  has_failed = false;
  fails_onwards = onwards;
  until_failure = number;
  try {
    work();
    until_failure = 0;
  } catch (const std::exception& exception) {
    until_failure = 0;
    ADD_FAILURE() << "threw: " << exception.what();
  } catch (...) {
    until_failure = 0;
    ADD_FAILURE() << "threw";
  }
}

}  // namespace

void* global_new::Allocate(std::size_t size, std::size_t alignment, const void* caller) noexcept {
  if (Fails(caller, true)) return nullptr;
  return alignment > 0 ? std::aligned_alloc(alignment, size) : std::malloc(size);
}

// For every library of the process.
#pragma GCC visibility push(default)
extern "C" {

QUARN_NOT_SANITIZED void* malloc(std::size_t size) {
  if (Fails(__builtin_return_address(0), false)) return nullptr;
  static void* (*next)(std::size_t) = nullptr;
  return Next(&next, "malloc")(size);
}

QUARN_NOT_SANITIZED void* calloc(std::size_t count, std::size_t size) {
  if (Fails(__builtin_return_address(0), false)) return nullptr;
  static void* (*next)(std::size_t, std::size_t) = nullptr;
  return Next(&next, "calloc")(count, size);
}

QUARN_NOT_SANITIZED void* realloc(void* memory, std::size_t size) {
  if (Fails(__builtin_return_address(0), false)) return nullptr;
  static void* (*next)(void*, std::size_t) = nullptr;
  return Next(&next, "realloc")(memory, size);
}

}  // extern "C"
#pragma GCC visibility pop

FailingAllocations::Pause::Pause() { ++pauses; }

FailingAllocations::Pause::~Pause() { --pauses; }

bool FailingAllocations::failed() { return has_failed; }

int FailingAllocations::Run(const std::function<void()>& work) {
  constexpr int kMost = 10000;
  static const Modules known;
  modules = &known;
  for (int number = 1; number <= kMost; ++number) {
    bool reached = false;
    for (const bool onwards : {false, true}) {
      const ::testing::ScopedTrace trace(
          __FILE__, __LINE__, "allocation " + std::to_string(number) + (onwards ? " and all after it fail" : " fails"));
      CallOnce(work, number, onwards);
      reached = reached || has_failed;
    }
    if (!reached) return number - 1;
  }
  ADD_FAILURE() << "the allocations do not come to an end";
  return kMost;
}
