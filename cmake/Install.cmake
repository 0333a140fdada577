# What `cmake --install BUILD --prefix P` puts below P:
#   lib/libPOIEngine.so.<version> (+ .so.<major>, .so)   the engine
#   include/POIEngine/{POIEngine,Base,Admin,Ndf}/*.h    the public headers, laid
#       out as in Include/, so that with -I P/include/POIEngine an application
#       includes "POIEngine/ePOIEngineManager.h" as the engine's own code does
#   lib/cmake/POIEngine/   find_package(POIEngine CONFIG): POIEngine::POIEngine
#   lib/pkgconfig/poiengine.pc
#   bin/poi                the command
#   share/poiengine/words.txt   the default word list for `poi build`
#   share/poiengine/sample/     the bundled sample's sources, for `poi demo`
#   share/doc/poiengine/   README, the docs, the data's sources and licences
include(GNUInstallDirs)
# Installing (and cpack) takes the build as it is: `make install` and
# `make deb` build first, and the install checks run by ctest must not start
# a second build of the tree they are part of.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
include(CMakePackageConfigHelpers)

set(POI_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/POIEngine)

install(TARGETS POIEngine EXPORT POIEngineTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS poi RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The headers are chosen when installing, so that a header added to
# Include/POIEngine later is installed with no edit here: every header of
# Include/POIEngine and, transitively, every header of Include/ that one of
# them includes (cmake/InstallHeaders.cmake).
install(CODE "set(KEST_HEADER_ROOT \"${PROJECT_SOURCE_DIR}/Include\")
set(KEST_HEADER_DESTINATION \"include/POIEngine\")")
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/InstallHeaders.cmake)

install(FILES ${PROJECT_SOURCE_DIR}/Data/words.txt DESTINATION ${CMAKE_INSTALL_DATADIR}/poiengine)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/Data/Sample/ DESTINATION ${CMAKE_INSTALL_DATADIR}/poiengine/sample)
file(GLOB POI_DOCS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/Data/SOURCES.md ${POI_DOCS}
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/poiengine)

# The CMake package: exported target, config and version files.
set_target_properties(POIEngine PROPERTIES EXPORT_NAME POIEngine)
install(EXPORT POIEngineTargets NAMESPACE POIEngine:: DESTINATION ${POI_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/POIEngineConfig.cmake.in
                              ${CMAKE_CURRENT_BINARY_DIR}/POIEngineConfig.cmake
                              INSTALL_DESTINATION ${POI_INSTALL_CMAKEDIR})
# Within one major version a newer engine serves an application built for an
# older one.
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/POIEngineConfigVersion.cmake
                                 VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/POIEngineConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/POIEngineConfigVersion.cmake
        DESTINATION ${POI_INSTALL_CMAKEDIR})

# pkg-config: the file is written when installing, with the prefix installed
# into (the one given to `cmake --install --prefix`, /usr in the package).
set(POI_PC_PREFIX "@POI_PC_PREFIX@") # kept for the second pass below
configure_file(${CMAKE_CURRENT_LIST_DIR}/poiengine.pc.in ${CMAKE_CURRENT_BINARY_DIR}/poiengine.pc.in @ONLY)
# (One copy per destination: cpack and `cmake --install` may run at once.)
install(CODE "set(POI_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
string(MD5 destination \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
configure_file(\"${CMAKE_CURRENT_BINARY_DIR}/poiengine.pc.in\" \"${CMAKE_CURRENT_BINARY_DIR}/pkgconfig/\${destination}/poiengine.pc\" @ONLY)
file(INSTALL \"${CMAKE_CURRENT_BINARY_DIR}/pkgconfig/\${destination}/poiengine.pc\" DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\")")

include(${CMAKE_CURRENT_LIST_DIR}/Package.cmake)

# The proof, run by ctest in the normal build (a sanitized library would need
# the sanitizer in the application too): install into a temporary prefix,
# build examples/keypad with find_package and with pkg-config, run it on the
# compiled sample; and the Debian package's contents and dependencies.
if(POI_TESTS AND NOT POI_SANITIZE AND NOT POI_FUZZ)
  add_test(NAME Install.KeypadExampleBuildsAndRuns
           COMMAND ${PROJECT_SOURCE_DIR}/Scripts/check-install.sh ${PROJECT_BINARY_DIR}
                   ${CMAKE_CURRENT_BINARY_DIR}/check-install)
  add_test(NAME Install.DebianPackageContents
           COMMAND ${PROJECT_SOURCE_DIR}/Scripts/check-deb.sh ${PROJECT_BINARY_DIR}
                   ${CMAKE_CURRENT_BINARY_DIR}/check-deb)
  set_tests_properties(Install.KeypadExampleBuildsAndRuns Install.DebianPackageContents PROPERTIES TIMEOUT 300)
endif()
