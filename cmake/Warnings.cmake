function(calyx_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wformat=2 -Wno-unused-parameter -Wno-format-truncation)
endfunction()
