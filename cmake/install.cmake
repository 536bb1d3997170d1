# What an installed Quarn consists of: the library, its public headers, a CMake package, a pkg-config file and, where
# they are built, the example programs. The components library, dev and tools are packages of their own.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(QUARN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/quarn)

install(TARGETS quarn EXPORT quarnTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/quarn DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILES_MATCHING PATTERN "*.h")

install(EXPORT quarnTargets NAMESPACE quarn:: DESTINATION ${QUARN_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/quarnConfig.cmake.in quarnConfig.cmake INSTALL_DESTINATION ${QUARN_CMAKE_DIR})
write_basic_package_version_file(quarnConfigVersion.cmake COMPATIBILITY ${QUARN_COMPATIBILITY})
install(FILES
  ${PROJECT_BINARY_DIR}/quarnConfig.cmake
  ${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake
  DESTINATION ${QUARN_CMAKE_DIR} COMPONENT dev)

# The pkg-config file finds its prefix from where it lies, so that an installed tree may be moved. Only a static library
# leaves its own dependencies to the host.
set(QUARN_PC_PRIVATE "")
if(NOT QUARN_SHARED)
  string(JOIN " " QUARN_PC_PRIVATE ${QUARN_XCB_MODULES} ${QUARN_WAYLAND_MODULES})
  string(PREPEND QUARN_PC_PRIVATE "Requires.private: opengl egl ")
  string(APPEND QUARN_PC_PRIVATE "\nLibs.private: -pthread -Wl,-z,nodelete\n")
endif()
file(RELATIVE_PATH QUARN_PC_PREFIX
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/quarn.pc.in quarn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quarn.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# Programs find the library beside them, wherever the tree lies.
file(RELATIVE_PATH QUARN_RPATH ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set(CMAKE_INSTALL_RPATH "$ORIGIN/${QUARN_RPATH}")

# The programs are targets only once the folder of the examples has been read.
function(quarn_install_examples)
  foreach(program quarn-record quarn-preview hello-frame hello-mix hello-texture)
    if(TARGET ${program})
      set(component examples)
      if(program MATCHES "^quarn-")
        set(component tools)
      endif()
      install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
    endif()
  endforeach()
endfunction()
cmake_language(DEFER CALL quarn_install_examples)
