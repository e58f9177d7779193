function(calyx_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wformat=2 -Wno-unused-parameter)
    # Fixed-size buffers cut long texts on purpose; GCC would warn about every one.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        target_compile_options(${target} PRIVATE -Wno-format-truncation)
    endif()
endfunction()
