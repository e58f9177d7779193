# Installs the library, its headers, a pkg-config file (calyx.pc) and a CMake package
# (find_package(Calyx) giving Calyx::calyx).
include(CMakePackageConfigHelpers)

# Components (one Debian package each, see cmake/Packaging.cmake): "lib" the shared
# library, "dev" what building against it needs.
install(TARGETS calyx EXPORT CalyxTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT lib NAMELINK_COMPONENT dev
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT lib)
install(DIRECTORY include/calyx DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/include/calyx/version.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/calyx COMPONENT dev)
# The JSON Schemas of the profile list and the client list, and their reference.
install(DIRECTORY schema/ DESTINATION ${CMAKE_INSTALL_DATADIR}/calyx/schema COMPONENT dev)
install(FILES docs/profiles.md DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/libcalyx-dev
    COMPONENT dev)

set(CALYX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Calyx)
install(EXPORT CalyxTargets NAMESPACE Calyx:: DESTINATION ${CALYX_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(cmake/CalyxConfig.cmake.in
    ${PROJECT_BINARY_DIR}/CalyxConfig.cmake INSTALL_DESTINATION ${CALYX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/CalyxConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/CalyxConfig.cmake ${PROJECT_BINARY_DIR}/CalyxConfigVersion.cmake
    DESTINATION ${CALYX_CMAKE_DIR} COMPONENT dev)
# The .pc file names the prefix it is installed under, written at install time, so that an
# install made with `cmake --install --prefix` points at itself and the package's file
# gives the plain -I/usr/include. jsoncpp, libpq and ixml (libupnp) are private
# requirements: their include paths come along, their libraries only for static links.
install(CODE "
    set(CALYX_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    set(CMAKE_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
    set(CMAKE_INSTALL_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
    set(PROJECT_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
    set(PROJECT_VERSION \"${PROJECT_VERSION}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/cmake/calyx.pc.in\" \"${PROJECT_BINARY_DIR}/calyx.pc\" @ONLY)
" COMPONENT dev)
install(FILES ${PROJECT_BINARY_DIR}/calyx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT dev)
