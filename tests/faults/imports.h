// Puts stubs in the place of functions that a library calls, in that library only: in its table of imports, as the
// dynamic linker has filled it in.
#ifndef QUARN_TESTS_FAULTS_IMPORTS_H_
#define QUARN_TESTS_FAULTS_IMPORTS_H_

#include <string>
#include <vector>

#include "tests/faults/faults.h"

namespace faults {

// Where a library's code lies.
struct Code {
  const unsigned char* begin = nullptr;
  const unsigned char* end = nullptr;
  bool Has(const void* address) const { return address >= begin && address < end; }
};

// That of the library which has `symbol`.
Code CodeOf(const char* symbol);

// Has the library that has `symbol` call the stubs. Returns the names that it imports, replaced or not.
std::vector<std::string> ReplaceImports(const char* symbol, const std::vector<Import>& imports);

}  // namespace faults

#endif  // QUARN_TESTS_FAULTS_IMPORTS_H_
