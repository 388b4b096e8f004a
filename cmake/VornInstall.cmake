# Install rules and the Debian package (CPack).
#
#   cmake --install BUILD --prefix PREFIX
#     PREFIX/bin/vorn, PREFIX/bin/vorn-device
#     PREFIX/share/vorn/            sample data (contacts.json, ...)
#     PREFIX/share/doc/vorn/        README, docs/*.md, copyright, changelog.gz
#     PREFIX/share/man/man1/        vorn.1.gz, vorn-device.1.gz
#     PREFIX/share/bash-completion/completions/  vorn, vorn-device

set(VORN_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/vorn)
install(FILES ${PROJECT_SOURCE_DIR}/data/contacts.json ${PROJECT_SOURCE_DIR}/data/calendar.ics
        DESTINATION ${CMAKE_INSTALL_DATADIR}/vorn)
install(FILES ${PROJECT_SOURCE_DIR}/README.md
              ${PROJECT_SOURCE_DIR}/docs/architecture.md
              ${PROJECT_SOURCE_DIR}/docs/device-image.md
              ${PROJECT_SOURCE_DIR}/docs/emulation.md
              ${PROJECT_SOURCE_DIR}/docs/wire-format.md
              ${PROJECT_SOURCE_DIR}/packaging/copyright
        DESTINATION ${VORN_DOC_DIR})
file(GLOB vorn_extra_docs CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/remote-api.md)
if(vorn_extra_docs)
  install(FILES ${vorn_extra_docs} DESTINATION ${VORN_DOC_DIR})
endif()

# The Debian changelog, compressed as Debian wants it (gzip -9n: no name,
# no time stamp, so the package is reproducible).
set(vorn_changelog ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(
  OUTPUT ${vorn_changelog}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
  COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog > ${vorn_changelog}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog
  VERBATIM)
add_custom_target(vorn_changelog ALL DEPENDS ${vorn_changelog})
install(FILES ${vorn_changelog} DESTINATION ${VORN_DOC_DIR})

install(FILES ${PROJECT_SOURCE_DIR}/packaging/bash-completion/vorn
              ${PROJECT_SOURCE_DIR}/packaging/bash-completion/vorn-device
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vorn)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Vorn developers <dev@vorn.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "emulated handheld and desktop tools for handheld synchronisation")
set(CPACK_PACKAGE_DESCRIPTION
    "Vorn is the handheld side of a desktop-to-handheld synchronisation
product. vorn-device is an emulated handheld that runs the sync agent on a
persistent device image and serves its conversations over a pipe, TCP or
the remote API; it is scriptable, breakable by fault injection and
inspectable. vorn drives a handheld from the desktop and mirrors its
contacts into standard formats.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://vorn.example/")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
include(CPack)
