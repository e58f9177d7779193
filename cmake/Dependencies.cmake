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

# calyx_target_path(VAR PATH): PATH as the target system sees it. A cross build finds its
# libraries under a sysroot (CMAKE_FIND_ROOT_PATH); the installed package names them
# without it.
function(calyx_target_path var path)
    foreach(root IN LISTS CMAKE_FIND_ROOT_PATH)
        string(FIND "${path}" "${root}/" at)
        if(at EQUAL 0)
            string(LENGTH "${root}" length)
            string(SUBSTRING "${path}" ${length} -1 path)
        endif()
    endforeach()
    set(${var} "${path}" PARENT_SCOPE)
endfunction()
calyx_target_path(IXML_TARGET_INCLUDE_DIR ${IXML_INCLUDE_DIR})
calyx_target_path(IXML_TARGET_LIBRARY ${IXML_LIBRARY})

add_library(calyx_deps INTERFACE)
target_include_directories(calyx_deps INTERFACE
    $<BUILD_INTERFACE:${IXML_INCLUDE_DIR}> $<INSTALL_INTERFACE:${IXML_TARGET_INCLUDE_DIR}>)
target_link_libraries(calyx_deps INTERFACE
    PkgConfig::JSONCPP PkgConfig::LIBPQ Threads::Threads
    $<BUILD_INTERFACE:${IXML_LIBRARY}> $<INSTALL_INTERFACE:${IXML_TARGET_LIBRARY}>)
install(TARGETS calyx_deps EXPORT CalyxTargets)
