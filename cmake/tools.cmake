# What is installed with quarn-record and quarn-preview: pages of the manual and completion, which the programs make of
# what their --help says, and what desktops know them by.

function(quarn_tool_page program format folder name)
  set(page ${CMAKE_BINARY_DIR}/tools/${format}/${name})
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/tools/${format})
  add_custom_command(OUTPUT ${page}
    COMMAND $<TARGET_FILE:${program}> --help-as ${format} >${page}
    DEPENDS ${program}
    COMMENT "Making ${name}")
  set_property(GLOBAL APPEND PROPERTY QUARN_TOOL_PAGES ${page})
  install(FILES ${page} DESTINATION ${folder} COMPONENT tools)
endfunction()

foreach(program IN ITEMS quarn-record quarn-preview)
  quarn_tool_page(${program} man ${CMAKE_INSTALL_MANDIR}/man1 ${program}.1)
  quarn_tool_page(${program} bash ${CMAKE_INSTALL_DATADIR}/bash-completion/completions ${program})
  quarn_tool_page(${program} zsh ${CMAKE_INSTALL_DATADIR}/zsh/site-functions _${program})
  quarn_tool_page(${program} fish ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d ${program}.fish)
endforeach()
get_property(pages GLOBAL PROPERTY QUARN_TOOL_PAGES)
add_custom_target(tool-pages ALL DEPENDS ${pages})

set(desktop ${PROJECT_SOURCE_DIR}/packaging/desktop)
install(FILES ${desktop}/org.quarn.Preview.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT tools)
install(FILES ${desktop}/org.quarn.Preview.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo COMPONENT tools)
install(FILES ${desktop}/icons/quarn-preview.svg
  DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps COMPONENT tools)
foreach(size IN ITEMS 48 128)
  install(FILES ${desktop}/icons/quarn-preview-${size}.png RENAME quarn-preview.png
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps COMPONENT tools)
endforeach()

# A scene to begin with, beside its media as in the tree.
install(FILES ${PROJECT_SOURCE_DIR}/examples/scenes/demo.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/quarn/scenes COMPONENT tools)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/media DESTINATION ${CMAKE_INSTALL_DATADIR}/quarn COMPONENT tools
  PATTERN make-media EXCLUDE)
