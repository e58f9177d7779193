# What makes the media server a service (component "dms", the calyx-dms package): the
# systemd unit, the configuration, the manual page, the library's texts in its texts
# folder and the client list's folder (owned by the service user, made by the package's
# postinst). Included by server/dms/CMakeLists.txt.
#
# The unit, the configuration and the library's fixed folders lie outside the install
# prefix: a system install (prefix /usr, as the packages are made) puts them at /lib,
# /etc and /var; an install anywhere else (`cmake --install --prefix DIR`) under DIR.
set(CALYX_DMS_PACKAGING ${PROJECT_SOURCE_DIR}/packaging/dms)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CALYX_DMS_PACKAGING}/calyx-dms.8)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
execute_process(
    COMMAND gzip -9nc ${CALYX_DMS_PACKAGING}/calyx-dms.8
    OUTPUT_FILE ${PROJECT_BINARY_DIR}/packaging/calyx-dms.8.gz
    COMMAND_ERROR_IS_FATAL ANY)
install(FILES ${PROJECT_BINARY_DIR}/packaging/calyx-dms.8.gz
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT dms)

install(CODE "
    if(CMAKE_INSTALL_PREFIX STREQUAL \"/usr\")
        set(system_root \"\")
    else()
        set(system_root \"\${CMAKE_INSTALL_PREFIX}\")
    endif()
    file(INSTALL DESTINATION \"\${system_root}/etc/calyx\" TYPE FILE
        FILES \"${CALYX_DMS_PACKAGING}/calyx-dms.conf\")
    file(INSTALL DESTINATION \"\${system_root}/lib/systemd/system\" TYPE FILE
        FILES \"${CALYX_DMS_PACKAGING}/calyx-dms.service\")
    file(INSTALL DESTINATION \"\${system_root}/var/packages/Calyx/target/app\" TYPE DIRECTORY
        FILES \"${PROJECT_SOURCE_DIR}/data/texts\")
    # Empty here; file(MAKE_DIRECTORY) does not add DESTDIR itself.
    message(STATUS \"Installing: \$ENV{DESTDIR}\${system_root}/var/packages/Calyx/etc\")
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${system_root}/var/packages/Calyx/etc\")
" COMPONENT dms)
