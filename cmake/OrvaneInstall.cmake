# Installation and the Debian package. The program goes to bin; the desktop entry, the icons and
# the AppStream metainfo go where the freedesktop rules let menus, file managers and software
# centres find them.
include(GNUInstallDirs)

set(ORVANE_APP_ID app.orvane.Orvane)
set(ORVANE_DIST_DIR ${PROJECT_SOURCE_DIR}/dist/linux)
set(ORVANE_ICON_SIZES 16 24 32 48 64 128 256 512)

install(TARGETS orvane RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES ${ORVANE_DIST_DIR}/${ORVANE_APP_ID}.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)

configure_file(${ORVANE_DIST_DIR}/${ORVANE_APP_ID}.metainfo.xml.in
    ${PROJECT_BINARY_DIR}/${ORVANE_APP_ID}.metainfo.xml @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${ORVANE_APP_ID}.metainfo.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

install(FILES ${ORVANE_DIST_DIR}/icons/${ORVANE_APP_ID}.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
# The PNGs are rendered from the SVG once and kept in the tree (scripts/render-icons.sh), so a
# build needs no SVG renderer.
foreach(size IN LISTS ORVANE_ICON_SIZES)
    install(FILES ${ORVANE_DIST_DIR}/icons/${size}x${size}/${ORVANE_APP_ID}.png
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps)
endforeach()

# cpack -G DEB: the shared libraries' packages are found by dpkg-shlibdeps (package dpkg-dev).
set(CPACK_PACKAGE_NAME orvane)
set(CPACK_PACKAGE_VENDOR "Orvane")
set(CPACK_PACKAGE_CONTACT "Orvane developers <developers@orvane.app>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "table editor for delimited text files")
set(CPACK_PACKAGE_DESCRIPTION "Orvane opens CSV, TSV and other delimited text files as a grid of
cells, edits them with a large set of keyboard commands, and saves them back with the delimiter,
encoding, line ending and quoting they came with.")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://orvane.app")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION editors)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so dpkg-shlibdeps can't see it: the platform plugin for Wayland sessions.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS qt6-wayland)
include(CPack)
