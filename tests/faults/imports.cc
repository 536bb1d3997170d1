// The tables of the dynamic linker: relocations name the imports, and where each one's address stands.
#include "tests/faults/imports.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace faults {
namespace {

#if defined(__x86_64__)
constexpr std::uint32_t kAddressKinds[] = {R_X86_64_JUMP_SLOT, R_X86_64_GLOB_DAT, R_X86_64_64};
#elif defined(__aarch64__)
constexpr std::uint32_t kAddressKinds[] = {R_AARCH64_JUMP_SLOT, R_AARCH64_GLOB_DAT, R_AARCH64_ABS64};
#else
constexpr std::uint32_t kAddressKinds[] = {0};
#endif

bool IsAddress(const ElfW(Rela) & relocation) {
  for (const std::uint32_t kind : kAddressKinds) {
    if (ELF64_R_TYPE(relocation.r_info) == kind) return true;
  }
  return false;
}

struct Library {
  explicit Library(const char* symbol) {
    Dl_info info{};
    link_map* map = nullptr;
    if (!dladdr1(dlsym(RTLD_DEFAULT, symbol), &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) || !map) return;
    base = map->l_addr;
    dynamic = map->l_ld;
  }

  const ElfW(Dyn) * Find(ElfW(Sxword) tag) const {
    for (const auto* entry = dynamic; entry && entry->d_tag != DT_NULL; ++entry) {
      if (entry->d_tag == tag) return entry;
    }
    return nullptr;
  }
  // The linker has made addresses of what these tables hold.
  template <class T>
  const T* Table(ElfW(Sxword) tag) const {
    const auto* const entry = Find(tag);
    return entry ? reinterpret_cast<const T*>(entry->d_un.d_ptr) : nullptr;
  }
  std::size_t Value(ElfW(Sxword) tag) const {
    const auto* const entry = Find(tag);
    return entry ? entry->d_un.d_val : 0;
  }

  ElfW(Addr) base = 0;
  const ElfW(Dyn) * dynamic = nullptr;
};

// The table may have been made read-only.
void Write(void** place, void* value) {
  const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
  auto* const start = reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(place) / page * page);
  if (mprotect(start, page, PROT_READ | PROT_WRITE) == 0) *place = value;
}

}  // namespace

Code CodeOf(const char* symbol) {
  struct Search {
    ElfW(Addr) base;
    Code code;
  } search{Library(symbol).base, {}};
  dl_iterate_phdr(
      [](dl_phdr_info* info, std::size_t, void* state) {
        auto* const s = static_cast<Search*>(state);
        if (info->dlpi_addr != s->base) return 0;
        for (int i = 0; i < info->dlpi_phnum; ++i) {
          const auto& segment = info->dlpi_phdr[i];
          if (segment.p_type != PT_LOAD || !(segment.p_flags & PF_X)) continue;
          s->code.begin = reinterpret_cast<const unsigned char*>(s->base + segment.p_vaddr);
          s->code.end = s->code.begin + segment.p_memsz;
        }
        return 1;
      },
      &search);
  return search.code;
}

std::vector<std::string> ReplaceImports(const char* symbol, const std::vector<Import>& imports) {
  std::vector<std::string> names;
  const Library library(symbol);
  const auto* const symbols = library.Table<ElfW(Sym)>(DT_SYMTAB);
  const auto* const strings = library.Table<char>(DT_STRTAB);
  if (!symbols || !strings) return names;
  const auto replace = [&](const ElfW(Rela) * table, std::size_t bytes) {
    for (std::size_t i = 0; i < bytes / sizeof(*table); ++i) {
      const auto& entry = symbols[ELF64_R_SYM(table[i].r_info)];
      if (!IsAddress(table[i]) || entry.st_shndx != SHN_UNDEF) continue;
      const char* const name = strings + entry.st_name;
      names.emplace_back(name);
      for (const Import& import : imports) {
        if (std::strcmp(import.name, name) != 0) continue;
        Write(reinterpret_cast<void**>(library.base + table[i].r_offset), import.stub);
      }
    }
  };
  replace(library.Table<ElfW(Rela)>(DT_RELA), library.Value(DT_RELASZ));
  replace(library.Table<ElfW(Rela)>(DT_JMPREL), library.Value(DT_PLTRELSZ));
  return names;
}

}  // namespace faults
