# Quarn as an overlay port: vcpkg install quarn --overlay-ports=packaging/vcpkg/ports
#
# It builds the tree that it lies in. X11 and Wayland are the system's (Debian: libxcb1-dev libxcb-shape0-dev
# libwayland-dev wayland-protocols), as everywhere in vcpkg on Linux.
#
# Written from vcpkg's documentation and not run yet: there was no vcpkg where this was made.
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../../.." ABSOLUTE)

vcpkg_check_features(OUT_FEATURE_OPTIONS options FEATURES wayland QUARN_WAYLAND)
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS -DQUARN_BUILD_TESTS=OFF -DQUARN_BUILD_EXAMPLES=OFF ${options})
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/quarn)
vcpkg_fixup_pkgconfig()
file(REMOVE_RECURSE "${CURRENT_PACKAGES_DIR}/debug/include")

file(INSTALL "${CMAKE_CURRENT_LIST_DIR}/usage" DESTINATION "${CURRENT_PACKAGES_DIR}/share/${PORT}")
vcpkg_install_copyright(FILE_LIST "${SOURCE_PATH}/LICENSE")
