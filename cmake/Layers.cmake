# The library's layers: one object library per folder of src/, each with an include
# scope of its own. The internal headers of a layer are included as "<folder>/name.h";
# a layer's include root under the build tree holds a link to its own folder only, and
# the roots of the layers it may use come with them as usage requirements. So a layer
# sees its own headers and those of the layers below it, and an include of any other
# folder does not compile. docs/architecture.md draws the layers.

# calyx_add_layer(TARGET FOLDER SOURCES file... [USES target...])
function(calyx_add_layer target folder)
    cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
    set(root ${PROJECT_BINARY_DIR}/layers/${folder})
    if(NOT IS_SYMLINK ${root}/${folder})
        file(MAKE_DIRECTORY ${root})
        file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${folder} ${root}/${folder} SYMBOLIC)
    endif()
    add_library(${target} OBJECT ${ARG_SOURCES})
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
        $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
        $<BUILD_INTERFACE:${root}>)
    target_link_libraries(${target} PUBLIC ${ARG_USES} calyx_deps)
    calyx_set_warnings(${target})
    set_target_properties(${target} PROPERTIES
        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON
        CALYX_LAYER_FOLDER ${folder})
endfunction()
