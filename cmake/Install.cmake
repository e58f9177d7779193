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
# The .pc file finds its prefix relative to itself, so an install moved or made with
# `cmake --install --prefix` still works.
file(RELATIVE_PATH CALYX_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(cmake/calyx.pc.in ${PROJECT_BINARY_DIR}/calyx.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/calyx.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT dev)
