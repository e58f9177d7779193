# The programs' parts: the media indexer (indexer/) and the folders of calyx-dms
# (server/dms/<part>/). Like the library's layers, each part is an object library with an
# include scope of its own: its include root under the build tree holds a link to its own
# folder only, the roots of the parts it may use come with them, and headers are included
# as "<folder>/name.h". The parts see the library's public headers only and link no
# library build: a program links Calyx::calyx, a test the test build of the library.
# docs/architecture.md draws the arrows; tests/layers checks them.

# calyx_part_root(FOLDER SOURCE_FOLDER OUT): the include root that shows SOURCE_FOLDER as
# FOLDER, in OUT.
function(calyx_part_root folder source_folder out)
    set(root ${PROJECT_BINARY_DIR}/parts/${folder})
    if(NOT IS_SYMLINK ${root}/${folder})
        file(MAKE_DIRECTORY ${root})
        file(CREATE_LINK ${source_folder} ${root}/${folder} SYMBOLIC)
    endif()
    set(${out} ${root} PARENT_SCOPE)
endfunction()

# calyx_add_part(TARGET FOLDER SOURCE_FOLDER SOURCES file... [USES target...] [LIBS lib...]
#                [HEADER_ONLY])
# HEADER_ONLY makes an interface library (a folder of headers).
function(calyx_add_part target folder source_folder)
    cmake_parse_arguments(ARG "HEADER_ONLY" "" "SOURCES;USES;LIBS" ${ARGN})
    calyx_part_root(${folder} ${source_folder} root)
    if(ARG_HEADER_ONLY)
        add_library(${target} INTERFACE)
        target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${root}>)
        target_link_libraries(${target} INTERFACE ${ARG_USES} ${ARG_LIBS})
        return()
    endif()
    add_library(${target} OBJECT EXCLUDE_FROM_ALL ${ARG_SOURCES})
    target_include_directories(${target}
        PUBLIC $<BUILD_INTERFACE:${root}>
        PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include)
    # calyx_deps: the include paths the public headers need (jsoncpp, ixml, libpq).
    target_link_libraries(${target} PUBLIC ${ARG_USES} ${ARG_LIBS} calyx_deps)
    calyx_set_warnings(${target})
    set_target_properties(${target} PROPERTIES CALYX_LAYER_FOLDER ${folder})
    set_property(GLOBAL APPEND PROPERTY CALYX_PARTS ${target})
endfunction()
