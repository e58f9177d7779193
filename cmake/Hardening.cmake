# Debian's hardening for every program and the library in builds without sanitizers (what
# dpkg-buildflags gives with hardening=+all): fortified libc calls (needs optimisation),
# the stack protector, format-string checks, relocations read-only and bound at start
# (relro, bindnow); position-independent code is on for the whole build already.
if(NOT CALYX_SANITIZE AND NOT CALYX_BUILD_FUZZ)
    add_compile_options(-fstack-protector-strong -Wformat -Werror=format-security)
    if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
        # Options, not definitions: the definitions come before the options on the
        # command line, and the -U would cancel them.
        add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
    endif()
    add_link_options(LINKER:-z,relro LINKER:-z,now)
endif()
