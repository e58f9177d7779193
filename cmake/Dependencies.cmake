# Third-party libraries, all from the distribution's packages:
#   jsoncpp (JSON documents), ixml from libupnp (XML DOM), libpq (PQExpBuffer and the
#   portable database layer), pthreads.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(LIBPQ REQUIRED IMPORTED_TARGET libpq)

# ixml has no pkg-config module of its own; libupnp's names its header directory.
pkg_check_modules(LIBUPNP QUIET libupnp)
find_path(IXML_INCLUDE_DIR ixml.h HINTS ${LIBUPNP_INCLUDE_DIRS} PATH_SUFFIXES upnp REQUIRED)
find_library(IXML_LIBRARY ixml HINTS ${LIBUPNP_LIBRARY_DIRS} REQUIRED)

# PQExpBuffer lives in libpq's internal headers.
find_path(PQEXPBUFFER_INCLUDE_DIR pqexpbuffer.h
    HINTS ${LIBPQ_INCLUDE_DIRS}
    PATH_SUFFIXES internal postgresql/internal REQUIRED)

# The installed package names its dependencies without absolute paths of this machine:
# jsoncpp and libpq by their pkg-config modules (looked up again by CalyxConfig.cmake),
# ixml as the plain library name, so that a cross build into a sysroot finds its own.
add_library(calyx_deps INTERFACE)
target_include_directories(calyx_deps INTERFACE $<BUILD_INTERFACE:${IXML_INCLUDE_DIR}>)
target_link_libraries(calyx_deps INTERFACE
    PkgConfig::JSONCPP PkgConfig::LIBPQ
    $<BUILD_INTERFACE:${IXML_LIBRARY}> $<INSTALL_INTERFACE:ixml>
    Threads::Threads)
install(TARGETS calyx_deps EXPORT CalyxTargets COMPONENT dev)
