# Where an installed Tavrin puts its files (the freedesktop layout under the prefix), and the Debian
# package made from the same rules (`make deb`).
#
#   bin/tavrin                                  the command and the application
#   lib/<multiarch>/tavrin/tavrin-onnx.so       the classifier's model runtime, loaded on first use
#   share/tavrin/                               catalogue exports, classifier model, demo session,
#                                               the desktop helpers (helpers/gnome-shell, helpers/kwin)
#   share/applications/app.tavrin.tavrin.desktop
#   share/metainfo/app.tavrin.tavrin.metainfo.xml
#   share/icons/hicolor/<size>/apps/            the icon: SVG, a symbolic SVG, PNGs from 16 to 256
#   share/man/man1/tavrin.1.gz
#   share/doc/tavrin/                           copyright and changelog
#
# The program finds share/tavrin from its own place (bin/../share/tavrin), so the prefix can be
# anything; keep the data folder beside bin.

include(GNUInstallDirs)

set(TAVRIN_APP_ID app.tavrin.tavrin)
set(TAVRIN_HOMEPAGE "https://tavrin.app" CACHE STRING "The product's web site, for the software centres")
set(TAVRIN_PACKAGE_MAINTAINER "Tavrin maintainers <maintainers@tavrin.app>" CACHE STRING
  "Maintainer of the Debian package")

set(TAVRIN_LINUX_DATA ${CMAKE_CURRENT_SOURCE_DIR}/src/resources/linux)
configure_file(${TAVRIN_LINUX_DATA}/${TAVRIN_APP_ID}.metainfo.xml.in
  ${CMAKE_BINARY_DIR}/share/${TAVRIN_APP_ID}.metainfo.xml @ONLY)

# Manual pages and changelogs are installed compressed, without a time stamp in the gzip header so
# that the same sources give the same package.
find_program(TAVRIN_GZIP gzip REQUIRED)
set(TAVRIN_MAN_PAGE ${CMAKE_BINARY_DIR}/share/tavrin.1.gz)
set(TAVRIN_CHANGELOG ${CMAKE_BINARY_DIR}/share/changelog.gz)
add_custom_command(OUTPUT ${TAVRIN_MAN_PAGE}
  COMMAND ${TAVRIN_GZIP} -9nc ${TAVRIN_LINUX_DATA}/tavrin.1 > ${TAVRIN_MAN_PAGE}
  DEPENDS ${TAVRIN_LINUX_DATA}/tavrin.1)
add_custom_command(OUTPUT ${TAVRIN_CHANGELOG}
  COMMAND ${TAVRIN_GZIP} -9nc ${CMAKE_CURRENT_SOURCE_DIR}/packaging/changelog > ${TAVRIN_CHANGELOG}
  DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/packaging/changelog)
add_custom_target(tavrin_docs ALL DEPENDS ${TAVRIN_MAN_PAGE} ${TAVRIN_CHANGELOG})

install(TARGETS tavrin RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS tavrin_onnx_runtime LIBRARY DESTINATION ${TAVRIN_MODULE_DIR})
# A stripped install (the package) also drops the compiler's notes, as Debian's own packages do.
install(CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND ${CMAKE_STRIP} --remove-section=.comment --remove-section=.note
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/tavrin\"
    \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${TAVRIN_MODULE_DIR}/tavrin-onnx.so\")
endif()")
install(FILES ${TAVRIN_RESOURCE_FILES} ${TAVRIN_MODEL} DESTINATION ${CMAKE_INSTALL_DATADIR}/tavrin)
install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/src/resources/helpers DESTINATION ${CMAKE_INSTALL_DATADIR}/tavrin)
install(FILES ${TAVRIN_LINUX_DATA}/${TAVRIN_APP_ID}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${CMAKE_BINARY_DIR}/share/${TAVRIN_APP_ID}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/src/resources/icons/hicolor DESTINATION ${CMAKE_INSTALL_DATADIR}/icons)
install(FILES ${TAVRIN_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_CURRENT_SOURCE_DIR}/packaging/copyright ${TAVRIN_CHANGELOG}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tavrin)

# The Debian package: cpack -G DEB in the build folder (`make deb`) writes tavrin_<version>_<arch>.deb.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavrin)
set(CPACK_PACKAGE_VENDOR "Tavrin")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT ${TAVRIN_PACKAGE_MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "learn the keyboard shortcuts of the buttons you click")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
  "Tavrin runs in the background on an X11 desktop and notices which buttons
and menu items you reach for with the mouse, through the desktop's
accessibility interface. A small cheat sheet then shows the keyboard
shortcuts that would save you the most time, with an estimate of the time
they save in a year. It knows the desktop's shortcuts and those of common
editors, browsers and web sites.

Everything it learns stays in files readable by you alone; usage statistics
are sent only with your agreement. The tavrin command pauses it and shows,
exports and deletes what it keeps.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${TAVRIN_HOMEPAGE})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${TAVRIN_PACKAGE_MAINTAINER})
# Libraries come from dpkg-shlibdeps; what the program talks to without linking it is named here:
# the accessibility bus it reads clicks from.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "at-spi2-core")
# GTK 2 and other toolkits publish their widgets on the bus through this bridge; the colour emoji
# font draws the cheat sheet's tips (without it they show an empty box).
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "libatk-adaptor, fonts-noto-color-emoji")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
include(CPack)
