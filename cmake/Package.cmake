# `make package` builds a Debian package of the installed files; its dependencies come from the
# shared libraries the programs link (dpkg-shlibdeps, package dpkg-dev).
set(KVX5130_MAINTAINER "kvx5130 developers <kvx5130@example.org>"
    CACHE STRING "The Debian package's maintainer, as \"Name <address>\"")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kvx5130)
set(CPACK_PACKAGE_VENDOR "kvx5130 developers")
set(CPACK_PACKAGE_CONTACT "${KVX5130_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "remote control and trace recording for a bench multimeter")
set(CPACK_PACKAGE_DESCRIPTION_FILE ${PROJECT_SOURCE_DIR}/data/package-description.txt)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
# Plugins are loaded at run time, so the shared-library scan cannot see them.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite, qt6-qpa-plugins")
# The program draws Chinese captions and the digital screen's segments with these fonts;
# a bench that keeps its records on a lab server needs the server's driver.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dseg, fonts-noto-cjk, libqt6sql6-psql")

include(CPack)
