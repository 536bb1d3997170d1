# Packages for Debian and its relatives: libquarnX.Y (named after the SONAME), libquarn-dev and quarn-tools. Made by cpack
# of a build that is configured for /usr; scripts/package does all of it.

set(QUARN_DEB_REVISION 1)
set(deb_version ${PROJECT_VERSION}-${QUARN_DEB_REVISION})
set(deb_library libquarn${QUARN_ABI_VERSION})

# What Debian wants beside the files: the licence, and the history of the package. The day is the build's, or
# SOURCE_DATE_EPOCH's.
set(deb_folder ${PROJECT_BINARY_DIR}/deb)
string(TIMESTAMP deb_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE deb_license)
string(REGEX REPLACE "^MIT License\n\n(Copyright [^\n]*)\n\n" "" deb_license "${deb_license}")
set(deb_copyright ${CMAKE_MATCH_1})
string(REGEX REPLACE "^Copyright \\(c\\) " "" deb_copyright "${deb_copyright}")
string(STRIP "${deb_license}" deb_license)
string(REPLACE "\n\n" "\n.\n" deb_license "${deb_license}")
string(REPLACE "\n" "\n " deb_license "${deb_license}")
configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/copyright.in ${deb_folder}/copyright @ONLY)
configure_file(${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in ${deb_folder}/changelog.Debian @ONLY)
find_program(QUARN_GZIP gzip)
mark_as_advanced(QUARN_GZIP)
if(NOT QUARN_GZIP)
  return()
endif()
execute_process(COMMAND ${QUARN_GZIP} -9nkf ${deb_folder}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
# They are no part of what `cmake --install` installs.
foreach(package IN ITEMS library:${deb_library} dev:libquarn-dev tools:quarn-tools)
  string(REPLACE ":" ";" package ${package})
  list(GET package 0 component)
  list(GET package 1 name)
  install(FILES ${deb_folder}/copyright ${deb_folder}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarn)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The Quarn authors <quarn@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_COMPONENTS_ALL library dev tools)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Pages are packed, and programs of a system look for libraries where it has them.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/packaging/debian/stage.cmake)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE ${QUARN_DEB_REVISION})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # Each package has its own.
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${deb_library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "libgl1-mesa-dri")  # A driver, where the GPU's maker has none.
# What is built with it runs with all that are not older, as long as the SONAME is the same.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "media-core library: compositing, raw frames, audio mixing
Programs that make pictures out of pictures (recorders, streamers, video
mixers) put items into a scene; Quarn composites it on the GPU on a steady
grid of frames, and hands each frame back as raw pixels or as a texture. A
mixer adds streams of sound on the same clock.

This package holds the shared library.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libquarn-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${deb_library} (= ${deb_version})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "media-core library: headers for development
Quarn composites scenes on the GPU, hands back raw frames, and mixes sound.

This package holds the headers, and the files that CMake and pkg-config find
the library by.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME quarn-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "fonts-dejavu-core | fonts-freefont-ttf, qt6-wayland")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${deb_library} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "records films of scenes, and edits scenes in a window
quarn-record composites pictures, videos, texts and colours, and records
them as a film, a still or a stream. quarn-preview shows a scene in a window,
edits it with the pointer and keys, and records it.")

include(CPack)
