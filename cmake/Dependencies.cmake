# Third-party libraries, all from the distribution's packages:
#   jsoncpp (JSON documents), ixml from libupnp (XML DOM), libpq (PQExpBuffer and the
#   portable database layer), pthreads.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(LIBPQ REQUIRED IMPORTED_TARGET libpq)

find_path(IXML_INCLUDE_DIR ixml.h PATH_SUFFIXES upnp REQUIRED)
find_library(IXML_LIBRARY ixml REQUIRED)

# PQExpBuffer lives in libpq's internal headers.
find_path(PQEXPBUFFER_INCLUDE_DIR pqexpbuffer.h
    HINTS ${LIBPQ_INCLUDE_DIRS}
    PATH_SUFFIXES internal postgresql/internal REQUIRED)

add_library(calyx_deps INTERFACE)
target_include_directories(calyx_deps INTERFACE ${IXML_INCLUDE_DIR})
target_link_libraries(calyx_deps INTERFACE
    PkgConfig::JSONCPP PkgConfig::LIBPQ ${IXML_LIBRARY} Threads::Threads)
install(TARGETS calyx_deps EXPORT CalyxTargets)
