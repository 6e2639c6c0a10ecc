# What `cmake --install` puts where, and the Debian packages that CPack makes of it: the program by
# itself, as an application that starts it wants it, and the tools for people.
include(GNUInstallDirs)

set(manual ${CMAKE_BINARY_DIR}/orvel-screen.1)
add_custom_command(
  OUTPUT ${manual}.gz
  COMMAND awk -f ${CMAKE_SOURCE_DIR}/cmake/ManPage.awk ${CMAKE_SOURCE_DIR}/docs/develop.md
          ${CMAKE_SOURCE_DIR}/docs/orvel-screen.1.in > ${manual}
  COMMAND gzip -9nkf ${manual}
  DEPENDS cmake/ManPage.awk docs/develop.md docs/orvel-screen.1.in
  VERBATIM)
add_custom_target(manual ALL DEPENDS ${manual}.gz)

install(TARGETS orvel-screen COMPONENT program)
install(FILES ${manual}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} RENAME copyright COMPONENT program)
install(TARGETS orvel-unpack COMPONENT tools)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}-tools RENAME copyright COMPONENT tools)
if(ORVEL_PREVIEW)
  install(TARGETS orvel-preview COMPONENT tools)
  install(DIRECTORY tools/preview/page DESTINATION ${CMAKE_INSTALL_DATADIR}/orvel-screen COMPONENT tools)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The developers of orvel-screen <orvel-screen@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON) # depends on what the programs really link

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME orvel-screen)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "shows a screen to a phone, and lets it drive it
Captures a display or a remote desktop as low-delay H.264, and takes the phone's
pointer, keys, text and clipboard. A companion application starts it.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvel-screen-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "orvel-screen (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "plays the phone of orvel-screen, and records what it shows
A page that plays the phone in a browser, and a program that makes video files.")

include(CPack)
