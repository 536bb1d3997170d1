# What makes a mistake in the library or in a program cost a process and not more: checked copies, guarded stacks, jumps
# to where they may go only, tables that are closed when the process begins. For the library and the examples; tests are
# not hardened. In a host's build the host decides: nothing here is on unless it says so.
#
#   QUARN_HARDENING_COMPILE_OPTIONS, QUARN_HARDENING_LINK_OPTIONS  for what leaves the build, empty where it is off
#   QUARN_HARDENED                                                 what the build has of it, for the test of the binaries

option(QUARN_HARDENING "Harden the library and the examples: see SECURITY.md" ${PROJECT_IS_TOP_LEVEL})

set(QUARN_HARDENING_COMPILE_OPTIONS "")
set(QUARN_HARDENING_LINK_OPTIONS "")
set(QUARN_HARDENED "")
# Sanitizers watch the same places, and know more of them.
if(NOT QUARN_HARDENING OR QUARN_SANITIZE)
  return()
endif()

include(CheckCXXCompilerFlag)

set(QUARN_HARDENING_COMPILE_OPTIONS -fstack-protector-strong)
set(QUARN_HARDENED relro now stack)
foreach(flag IN ITEMS -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "QUARN_HAS${flag}" has)
  check_cxx_compiler_flag(${flag} ${has})
  if(${has})
    list(APPEND QUARN_HARDENING_COMPILE_OPTIONS ${flag})
  endif()
endforeach()
if(QUARN_HAS_fcf_protection AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  list(APPEND QUARN_HARDENED cet)
endif()
# The C library refuses it without optimisation. Some compilers define it themselves.
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
list(APPEND QUARN_HARDENING_COMPILE_OPTIONS
  $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=2>)
# What Clang makes of it cannot be seen in a binary.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND QUARN_HARDENED fortify)
endif()
set(QUARN_HARDENING_LINK_OPTIONS LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
