# The library itself, made of its layers: shared, or static where BUILD_SHARED_LIBS is set and off.

if(DEFINED BUILD_SHARED_LIBS AND NOT BUILD_SHARED_LIBS)
  set(QUARN_SHARED OFF)
else()
  set(QUARN_SHARED ON)
endif()

# Until version 1, minor versions break with each other.
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(QUARN_ABI_VERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  set(QUARN_COMPATIBILITY SameMinorVersion)
else()
  set(QUARN_ABI_VERSION ${PROJECT_VERSION_MAJOR})
  set(QUARN_COMPATIBILITY SameMajorVersion)
endif()

set(QUARN_LAYER_OBJECTS "")
foreach(layer IN LISTS QUARN_LAYERS)
  list(APPEND QUARN_LAYER_OBJECTS $<TARGET_OBJECTS:${layer}>)
endforeach()

# A driver's threads run on after the last device has gone, and those of the library until the process ends: a library
# that a plugin brought along stays when the plugin is unloaded, and serves the next one.
set(QUARN_STAYS LINKER:-z,nodelete)

if(QUARN_SHARED)
  add_library(quarn SHARED ${QUARN_LAYER_OBJECTS})
  set_target_properties(quarn PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${QUARN_ABI_VERSION}
    LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/quarn.map)
  target_link_options(quarn PRIVATE LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/quarn.map ${QUARN_STAYS}
    ${QUARN_HARDENING_LINK_OPTIONS})
  # Sanitizers leave names open for the program; a host's build may use one.
  if(PROJECT_IS_TOP_LEVEL AND NOT QUARN_SANITIZE)
    target_link_options(quarn PRIVATE LINKER:--no-undefined)
  endif()
  target_link_libraries(quarn PRIVATE OpenGL::OpenGL OpenGL::EGL PkgConfig::QUARN_XCB ${QUARN_WAYLAND_TARGET}
    Threads::Threads)
else()
  # One object, in which all that the shared library would keep in is local: a host may have a Mutex of its own.
  set(object ${CMAKE_CURRENT_BINARY_DIR}/quarn-$<CONFIG>.o)
  add_custom_command(OUTPUT ${object}
    COMMAND ${CMAKE_CXX_COMPILER} -r -nostdlib -Wl,--force-group-allocation -o ${object} ${QUARN_LAYER_OBJECTS}
    COMMAND ${CMAKE_OBJCOPY} --localize-hidden ${object}
    DEPENDS ${QUARN_LAYER_OBJECTS}
    COMMAND_EXPAND_LISTS
    VERBATIM
    COMMENT "Making one object of the library")
  # It is made of machine code, whatever the host's build puts into its objects.
  foreach(layer IN LISTS QUARN_LAYERS)
    target_compile_options(${layer} PRIVATE -fno-lto)
  endforeach()
  add_library(quarn STATIC ${object})
  target_link_options(quarn INTERFACE
    $<$<IN_LIST:$<TARGET_PROPERTY:TYPE>,MODULE_LIBRARY$<SEMICOLON>SHARED_LIBRARY>:${QUARN_STAYS}>)
  # Found wholly or not at all: some of the packages may be there all the same.
  set(wayland_files "")
  if(QUARN_WAYLAND_TARGET)
    set(wayland_files ${QUARN_WAYLAND_LINK_LIBRARIES})
  endif()
  # What a host links with it. Found packages are known in this folder only, so a host's build gets the files.
  target_link_libraries(quarn INTERFACE
    $<BUILD_INTERFACE:${OPENGL_opengl_LIBRARY};${OPENGL_egl_LIBRARY}>
    $<BUILD_INTERFACE:${QUARN_XCB_LINK_LIBRARIES};${wayland_files};${CMAKE_THREAD_LIBS_INIT}>
    $<INSTALL_INTERFACE:OpenGL::OpenGL;OpenGL::EGL;PkgConfig::QUARN_XCB;${QUARN_WAYLAND_TARGET};Threads::Threads>)
endif()
add_library(quarn::quarn ALIAS quarn)
set_target_properties(quarn PROPERTIES LINKER_LANGUAGE CXX)
target_compile_features(quarn INTERFACE cxx_std_17)
target_include_directories(quarn INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
