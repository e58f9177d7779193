# calyx_object_archive(NAME [WITHOUT_PORTABLE_PLATFORM])
# A static archive of the library's own objects, for the programs that reach its
# internals (tests, fuzz targets, benchmarks): it carries the public and private include
# directories and the library's dependencies. WITHOUT_PORTABLE_PLATFORM leaves out the
# portable platform operations, which the program then supplies itself (fault injection).
function(calyx_object_archive name)
    cmake_parse_arguments(ARG "WITHOUT_PORTABLE_PLATFORM" "" "" ${ARGN})
    set(objlibs ${CALYX_OBJECT_LIBS})
    if(ARG_WITHOUT_PORTABLE_PLATFORM)
        set(objlibs ${CALYX_CORE_OBJECT_LIBS})
    endif()
    add_library(${name} STATIC)
    foreach(objlib IN LISTS objlibs)
        target_sources(${name} PRIVATE $<TARGET_OBJECTS:${objlib}>)
    endforeach()
    target_include_directories(${name} PUBLIC
        ${PROJECT_SOURCE_DIR}/include ${PROJECT_BINARY_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    target_link_libraries(${name} PUBLIC calyx_deps)
endfunction()
