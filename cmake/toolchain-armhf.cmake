# Cross build for 32-bit ARM (arm-linux-gnueabihf) with Debian's cross compilers
# (crossbuild-essential-armhf). The libraries come from a private sysroot of Debian's
# armhf packages (scripts/armhf-sysroot.sh); the compilers keep their own C and C++
# runtime, which the sysroot holds at run time as well. Programs of the build, tests
# included, run through qemu-arm with the sysroot as its library prefix (binfmt is not
# needed).
#
#   CALYX_ARMHF_SYSROOT   the sysroot (default: build/armhf-sysroot/root)
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)

if(NOT CALYX_ARMHF_SYSROOT)
    set(CALYX_ARMHF_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot/root")
endif()
get_filename_component(CALYX_ARMHF_SYSROOT "${CALYX_ARMHF_SYSROOT}" ABSOLUTE)
set(CALYX_ARMHF_SYSROOT "${CALYX_ARMHF_SYSROOT}" CACHE PATH "Private armhf sysroot" FORCE)
if(NOT EXISTS "${CALYX_ARMHF_SYSROOT}/usr/include")
    message(FATAL_ERROR "No armhf sysroot at ${CALYX_ARMHF_SYSROOT}: run scripts/armhf-sysroot.sh")
endif()

# The libraries of the sysroot need each other at link time. Not CMAKE_SYSROOT: the
# compilers' C library lives outside it.
set(_lib "${CALYX_ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT
        "-Wl,-rpath-link,${_lib} -Wl,-rpath-link,${CALYX_ARMHF_SYSROOT}/lib/arm-linux-gnueabihf")
endforeach()

set(CMAKE_FIND_ROOT_PATH "${CALYX_ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config reads the sysroot's .pc files and prefixes their paths with it.
set(ENV{PKG_CONFIG_LIBDIR} "${_lib}/pkgconfig:${CALYX_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CALYX_ARMHF_SYSROOT}")

# Set CMAKE_CROSSCOMPILING_EMULATOR to empty for a build whose tests run on a board.
if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L "${CALYX_ARMHF_SYSROOT}")
endif()
