# Debian packages made by CPack (cpack -G DEB in the build directory), one per install
# component:
#   lib   -> libcalyx0      the shared library
#   dev   -> libcalyx-dev   headers, CMake package, calyx.pc, JSON Schemas
#   tools -> calyx-tools    the calyx tool, its manual pages, bash completion, sample data
#   dms   -> calyx-dms      the media server and its indexer
# A component gets its package as soon as something installs into it: the server's
# targets only need `install(... COMPONENT dms)`; nothing here has to change. Components
# without files make no package.
set(CPACK_GENERATOR "DEB")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME "libcalyx")
set(CPACK_PACKAGE_VENDOR "libcalyx")
set(CPACK_PACKAGE_CONTACT "libcalyx maintainers <maintainers@calyx.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Each package's description below starts with its own synopsis line. CPack prepends the
# package summary to every description unless the summary is its built-in default, so the
# summary is set to exactly that default.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${CMAKE_PROJECT_NAME} built using CMake")
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")
# Installed with DESTDIR under the real prefix, so that files outside /usr (the service's
# unit, configuration and the library's fixed folders) land where they belong.
set(CPACK_SET_DESTDIR ON)
# Maintainer scripts with the modes Debian wants (0755, conffiles 0644).
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION "libs")
set(CPACK_DEBIAN_PACKAGE_PRIORITY "optional")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://calyx.invalid/libcalyx")
# Runtime dependencies from the shared libraries the binaries need (dpkg-shlibdeps), and
# a shlibs file for packages built against libcalyx0.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# libcalyx itself is found in the build tree; the dependency on it comes from the
# component dependencies below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})

set(CPACK_DEBIAN_LIB_PACKAGE_NAME "libcalyx0")
set(CPACK_DEBIAN_LIB_PACKAGE_SECTION "libs")
set(CPACK_DEBIAN_LIB_DESCRIPTION "support library of a DLNA/UPnP media server
libcalyx recognises the clients of a media server by their profiles, keeps
the client list, describes the device, formats UPnP values, builds queries
over the media index and keeps a rotating log.")
set(CPACK_DEBIAN_LIB_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/packaging/triggers")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME "libcalyx-dev")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION "libdevel")
set(CPACK_COMPONENT_DEV_DEPENDS lib)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libjsoncpp-dev, libpq-dev, libupnp-dev")
set(CPACK_DEBIAN_DEV_DESCRIPTION "support library of a DLNA/UPnP media server - development files
Headers, the CMake package (find_package(Calyx)), the pkg-config file
calyx.pc and the JSON Schemas of the profile list and the client list.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME "calyx-tools")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION "utils")
set(CPACK_COMPONENT_TOOLS_DEPENDS lib)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command-line tool of libcalyx
calyx identifies media clients as libcalyx does, checks profile lists,
edits client lists and shows the device facts, texts and media index
contents.")

set(CPACK_DEBIAN_DMS_PACKAGE_NAME "calyx-dms")
set(CPACK_DEBIAN_DMS_PACKAGE_SECTION "net")
# calyx-tools brings the profile list and `calyx index` / `calyx db init`; PostgreSQL's
# server programs run the private database cluster; adduser makes the service user.
set(CPACK_COMPONENT_DMS_DEPENDS lib tools)
set(CPACK_DEBIAN_DMS_PACKAGE_DEPENDS "postgresql, adduser")
set(CPACK_DEBIAN_DMS_DESCRIPTION "DLNA/UPnP media server built on libcalyx
calyx-dms serves media folders to the televisions and players of the local
network. It indexes them in the background into a PostgreSQL media index: a
private cluster of its own, or an existing server prepared by calyx db init.
The package runs it as the service calyx-dms (user calyx, configuration
/etc/calyx/calyx-dms.conf).")
set(CPACK_DEBIAN_DMS_PACKAGE_CONTROL_EXTRA
    "${PROJECT_SOURCE_DIR}/packaging/dms/postinst;${PROJECT_SOURCE_DIR}/packaging/dms/prerm;${PROJECT_SOURCE_DIR}/packaging/dms/postrm;${PROJECT_SOURCE_DIR}/packaging/dms/conffiles")

# The components that something installs into (this file is included last, after every
# subdirectory), each of which becomes a package carrying the copyright file and the
# changelog Debian policy asks for.
get_cmake_property(CPACK_COMPONENTS_ALL COMPONENTS)
list(REMOVE_ITEM CPACK_COMPONENTS_ALL "Unspecified")
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
file(WRITE ${PROJECT_BINARY_DIR}/packaging/triggers "activate-noawait ldconfig\n")
execute_process(
    COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/packaging/changelog.gz
    COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    string(TOUPPER ${component} upper)
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright
                  ${PROJECT_BINARY_DIR}/packaging/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME}
        COMPONENT ${component})
endforeach()

include(CPack)
