# The Debian package (`make deb`, i.e. cpack -G DEB in the build directory):
# everything cmake/Install.cmake installs, below /usr. Its dependencies are
# those dpkg-shlibdeps finds for libPOIEngine.so and poi.
set(CPACK_PACKAGE_NAME poiengine)
set(CPACK_PACKAGE_VENDOR "POI engine developers")
set(CPACK_PACKAGE_CONTACT "POI engine developers <poiengine@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "offline point-of-interest search engine for car navigation")
set(CPACK_PACKAGE_DESCRIPTION
    "A C++17 shared library (libPOIEngine.so, namespace Kest) that an application points at a prepared,
read-only data directory and asks for places, with its headers, its CMake package (find_package(POIEngine))
and pkg-config file (poiengine), the poi command that compiles data directories and searches them, and the
default word list.")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A shlibs file and the ldconfig trigger, as a Debian shared library has.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "pkgconf, cmake")
set(CPACK_GENERATOR DEB)
include(CPack)
