# Debian packages with CPack (`cpack -G DEB` in a build folder configured with
# CMAKE_INSTALL_PREFIX=/usr): one package per install component.
#   libquorviftp-dev  the static and shared library, headers, CMake package, pkg-config file
#   qftp              qftp, qftp-cipher (linked statically), the manual page, completions
# The Python module is installed with pip (python/), not packaged here.
set(CPACK_PACKAGE_NAME quorviftp)
set(CPACK_PACKAGE_VENDOR "QuorviFtp")
set(CPACK_PACKAGE_CONTACT "QuorviFtp developers <quorviftp@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "FTP, FTPS and HTTP(S) client component for C++ and Python")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
# dpkg-shlibdeps (dpkg-dev) names the exact libssl3/libstdc++ versions the binaries need.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_COMPONENTS_ALL library qftp)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libquorviftp-dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libssl-dev")
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "QuorviFtp library, headers and CMake/pkg-config files")
set(CPACK_DEBIAN_QFTP_PACKAGE_NAME qftp)
set(CPACK_COMPONENT_QFTP_DESCRIPTION "qftp, the command-line host of QuorviFtp")
include(CPack)
