# How every target of the project is compiled. Variables set here end with the project's folder; what would reach
# further (cache entries), or is the builder's own choice, is only set where Quarn is built for itself.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
# Sources have names of their own in unnamed namespaces: they are not to be compiled as one.
set(CMAKE_UNITY_BUILD OFF)

if(PROJECT_IS_TOP_LEVEL)
  set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
  if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
  endif()
  find_program(QUARN_CCACHE ccache)
  if(QUARN_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${QUARN_CCACHE})
  endif()
endif()

# __FILE__ in a log line is the path from the root, also where a compiler cache names sources from the build folder.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
file(RELATIVE_PATH source_dir_from_build ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})
if(source_dir_from_build)
  string(REGEX REPLACE "/$" "" source_dir_from_build ${source_dir_from_build})
  add_compile_options(-ffile-prefix-map=${source_dir_from_build}/=)
endif()

# The library throws, catches and asks for types, in itself: a host that builds without may add it to its build.
add_library(quarn_compile_options INTERFACE)
target_compile_options(quarn_compile_options INTERFACE
  -fexceptions -frtti
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety -Wno-gnu-zero-variadic-macro-arguments>)

if(QUARN_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "Fuzz targets are built with Clang")
  endif()
  # Everything counts its branches; only the targets have the fuzzer's main. Its runtime and the sanitizers' are linked
  # into each program.
  set(QUARN_FUZZ_SANITIZERS address,undefined)
  add_compile_options(-fsanitize=fuzzer-no-link,${QUARN_FUZZ_SANITIZERS} -fno-sanitize=function
    -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QUARN_FUZZ_SANITIZERS})
endif()

if(QUARN_SANITIZE)
  add_compile_options(-fsanitize=${QUARN_SANITIZE} -fno-omit-frame-pointer)
  # What whoever links the library links it with.
  set(QUARN_SANITIZER_LINK_OPTIONS -fsanitize=${QUARN_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # It would have the library export a description of each function's type.
    add_compile_options(-fno-sanitize=function)
    # As GCC has it, for tests that replace malloc or operator new: a runtime that is linked into the program would meet
    # theirs. Clang does not tell programs where it lies.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-resource-dir
      OUTPUT_VARIABLE resources OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND QUARN_SANITIZER_LINK_OPTIONS -shared-libsan -Wl,-rpath,${resources}/lib/linux)
  endif()
  add_link_options(${QUARN_SANITIZER_LINK_OPTIONS})
endif()
