# CALYX_SANITIZE applies to every target of the build, so that the library's objects,
# the tests and the tools share one runtime.
if(CALYX_SANITIZE)
    set(_calyx_san_flags "")
    foreach(san IN LISTS CALYX_SANITIZE)
        list(APPEND _calyx_san_flags "-fsanitize=${san}")
    endforeach()
    if("undefined" IN_LIST CALYX_SANITIZE)
        list(APPEND _calyx_san_flags "-fno-sanitize-recover=undefined")
    endif()
    list(APPEND _calyx_san_flags "-fno-omit-frame-pointer")
    add_compile_options(${_calyx_san_flags})
    add_link_options(${_calyx_san_flags})
endif()
