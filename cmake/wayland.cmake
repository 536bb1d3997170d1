# Views in windows under Wayland, where the build has what they need. Sets for the layers:
#
#   QUARN_WAYLAND_SOURCES       for Wayland, or what stands in their place
#   QUARN_WAYLAND_MODULES       of pkg-config, that the library links; as a target, QUARN_WAYLAND_TARGET
#   QUARN_WAYLAND_INCLUDE_DIRS  of the code that wayland-scanner makes

option(QUARN_WAYLAND "Views in windows under Wayland, where its packages are found" ON)

set(QUARN_WAYLAND_SOURCES graphics/opengl/cgl/linux/without_wayland.cc)
set(QUARN_WAYLAND_MODULES "")
set(QUARN_WAYLAND_TARGET "")
set(QUARN_WAYLAND_INCLUDE_DIRS "")
if(NOT QUARN_WAYLAND)
  return()
endif()

set(modules wayland-client wayland-egl)
pkg_check_modules(QUARN_WAYLAND QUIET IMPORTED_TARGET ${modules})
# The first with fractional scales.
pkg_check_modules(QUARN_WAYLAND_PROTOCOLS QUIET wayland-protocols>=1.31)
find_program(QUARN_WAYLAND_SCANNER wayland-scanner)
if(NOT QUARN_WAYLAND_FOUND OR NOT QUARN_WAYLAND_PROTOCOLS_FOUND OR NOT QUARN_WAYLAND_SCANNER)
  message(STATUS "Views in X11 windows only: Wayland wants libwayland, wayland-scanner and wayland-protocols 1.31")
  return()
endif()

pkg_get_variable(QUARN_WAYLAND_PROTOCOLS wayland-protocols pkgdatadir)
set(QUARN_WAYLAND_INCLUDE_DIRS ${PROJECT_BINARY_DIR}/wayland)
file(MAKE_DIRECTORY ${QUARN_WAYLAND_INCLUDE_DIRS})

# quarn_wayland_code(SOURCES PROTOCOL kind ending [kind ending]...)
# Has wayland-scanner make code of a protocol, named by its file's path without the ending; appends it to SOURCES.
function(quarn_wayland_code sources protocol)
  get_filename_component(name ${protocol} NAME)
  set(xml ${QUARN_WAYLAND_PROTOCOLS}/${protocol}.xml)
  set(files "")
  while(ARGN)
    list(POP_FRONT ARGN kind ending)
    set(file ${QUARN_WAYLAND_INCLUDE_DIRS}/${name}-${ending})
    add_custom_command(OUTPUT ${file}
      COMMAND ${QUARN_WAYLAND_SCANNER} ${kind} ${xml} ${file}
      DEPENDS ${xml}
      VERBATIM)
    list(APPEND files ${file})
  endwhile()
  set(${sources} ${${sources}} ${files} PARENT_SCOPE)
endfunction()

set(made "")
set(QUARN_WAYLAND_PROTOCOL_FILES stable/viewporter/viewporter staging/fractional-scale/fractional-scale-v1
  unstable/xdg-output/xdg-output-unstable-v1)
foreach(protocol IN LISTS QUARN_WAYLAND_PROTOCOL_FILES)
  quarn_wayland_code(made ${protocol} client-header client-protocol.h private-code protocol.c)
endforeach()
# For who reads the sources without building them.
add_custom_target(quarn_wayland_code DEPENDS ${made})
# wayland_protocols.cc includes the code.
set_source_files_properties(${made} PROPERTIES HEADER_FILE_ONLY ON)

set(QUARN_WAYLAND_MODULES ${modules})
set(QUARN_WAYLAND_TARGET PkgConfig::QUARN_WAYLAND)
set(QUARN_WAYLAND_SOURCES
  graphics/opengl/cgl/linux/wayland_display.cc
  graphics/opengl/cgl/linux/wayland_outputs.cc
  graphics/opengl/cgl/linux/wayland_protocols.cc
  graphics/opengl/cgl/linux/wayland_reader.cc
  graphics/opengl/cgl/linux/wayland_window.cc
  graphics/opengl/cgl/linux/wayland_window_system.cc
  ${made})
