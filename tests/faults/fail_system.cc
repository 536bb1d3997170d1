// How memory, the system and threads fail.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <unwind.h>

#include <cerrno>
#include <cstdlib>
#include <new>

#include "tests/faults/imports.h"
#include "tests/faults/stub.h"

namespace faults {
namespace {

template <class R>
R Refuse(int reason, R answer) {
  errno = reason;
  return answer;
}

void* NoMemory() { return Refuse<void*>(ENOMEM, nullptr); }

// Strings and trees are partly made inside the standard library: whoever called that counts.
bool LibraryCalledStandardLibrary() {
  static const Code library = CodeOf("qn_log");
  static const Code standard = CodeOf("_ZSt17__throw_bad_allocv");
  struct Walk {
    const Code& standard;
    bool inside;
    const void* outside;
  } walk{standard, false, nullptr};
  _Unwind_Backtrace(
      [](_Unwind_Context* context, void* state) {
        auto* const w = static_cast<Walk*>(state);
        const auto* const address = reinterpret_cast<const void*>(_Unwind_GetIP(context));
        const bool standard_code = w->standard.Has(address);
        w->inside = w->inside || standard_code;
        if (!w->inside || standard_code) return _URC_NO_REASON;
        w->outside = address;
        return _URC_END_OF_STACK;
      },
      &walk);
  return library.Has(walk.outside);
}

void* NewInStandardLibrary(std::size_t size) {
  if (IsArmed(kMemory) && LibraryCalledStandardLibrary() && Decide(kMemory, "new") == Fate::kFails) {
    throw std::bad_alloc();
  }
  return ::operator new(size);
}

using New = void* (*)(std::size_t);
using NewOrNull = void* (*)(std::size_t, const std::nothrow_t&) noexcept;

template <class Tag>
Import ImportNew(const char* name, New real) {
  return MakeImport<Tag>(name, kMemory, nullptr, real, [](std::size_t) -> void* { throw std::bad_alloc(); });
}

template <class Tag>
Import ImportNewOrNull(const char* name, NewOrNull real) {
  return MakeImport<Tag>(name, kMemory, nullptr, real, [](std::size_t, const std::nothrow_t&) { return NoMemory(); });
}

// Takes a variable number of arguments.
int Ioctl(int fd, unsigned long request, void* argument) { return ioctl(fd, request, argument); }

}  // namespace

std::vector<Import> SystemImports() {
  struct One;
  struct Many;
  struct OneOrNull;
  struct ManyOrNull;
  Import in_standard_library{"_Znwm", reinterpret_cast<void*>(&NewInStandardLibrary), true};
  Import ioctl_import = QUARN_FAULT_ANSWER(Ioctl, kSystem, nullptr, Refuse(EBADF, -1));
  ioctl_import.name = "ioctl";
  return {
      in_standard_library,
      ioctl_import,
      ImportNew<One>("_Znwm", &::operator new),
      ImportNew<Many>("_Znam", &::operator new[]),
      ImportNewOrNull<OneOrNull>("_ZnwmRKSt9nothrow_t", &::operator new),
      ImportNewOrNull<ManyOrNull>("_ZnamRKSt9nothrow_t", &::operator new[]),
      QUARN_FAULT_ANSWER(malloc, kMemory, nullptr, NoMemory()),
      QUARN_FAULT_ANSWER(calloc, kMemory, nullptr, NoMemory()),
      QUARN_FAULT_ANSWER(realloc, kMemory, nullptr, NoMemory()),
      QUARN_FAULT_ANSWER(mmap, kSystem, nullptr, Refuse(ENOMEM, MAP_FAILED)),
      QUARN_FAULT_ANSWER(madvise, kSystem, nullptr, Refuse(ENOMEM, -1)),
      QUARN_FAULT_ANSWER(memfd_create, kSystem, nullptr, Refuse(EMFILE, -1)),
      QUARN_FAULT_ANSWER(ftruncate, kSystem, nullptr, Refuse(ENOSPC, -1)),
      QUARN_FAULT_ANSWER(eventfd, kSystem, nullptr, Refuse(EMFILE, -1)),
      QUARN_FAULT_ANSWER(lseek, kSystem, nullptr, Refuse<off_t>(EBADF, -1)),
      QUARN_FAULT_ANSWER(fstat, kSystem, nullptr, Refuse(EBADF, -1)),
      QUARN_FAULT_ANSWER(read, kSystem, nullptr, Refuse<ssize_t>(EIO, -1)),
      QUARN_FAULT_ANSWER(write, kSystem, nullptr, Refuse<ssize_t>(EIO, -1)),
      QUARN_FAULT_ANSWER(poll, kSystem, nullptr, Refuse(ENOMEM, -1)),
      QUARN_FAULT_ANSWER(dlopen, kSystem, nullptr, NoMemory()),
      QUARN_FAULT_ANSWER(pthread_create, kThreads, nullptr, int{EAGAIN}),
      QUARN_FAULT_ANSWER(pthread_setname_np, kThreads, nullptr, int{ERANGE}),
      QUARN_FAULT_ANSWER(pthread_mutex_init, kThreads, nullptr, int{ENOMEM}),
      QUARN_FAULT_ANSWER(pthread_mutexattr_init, kThreads, nullptr, int{ENOMEM}),
      QUARN_FAULT_ANSWER(pthread_mutexattr_settype, kThreads, nullptr, int{EINVAL}),
      QUARN_FAULT_ANSWER(pthread_rwlock_init, kThreads, nullptr, int{ENOMEM}),
      QUARN_FAULT_ANSWER(pthread_cond_init, kThreads, nullptr, int{ENOMEM}),
  };
}

}  // namespace faults
