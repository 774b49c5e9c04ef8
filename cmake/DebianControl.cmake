# CPack runs this on the finished packages. It removes the scripts of libjay1 that call ldconfig, which CPack adds: Debian
# requires the trigger instead, which the package has.
cmake_minimum_required(VERSION 3.20)

foreach(package ${CPACK_PACKAGE_FILES})
    get_filename_component(name ${package} NAME)
    if(name MATCHES "^libjay1_")
        set(tree ${CPACK_TOPLEVEL_DIRECTORY}/without-ldconfig)
        file(REMOVE_RECURSE ${tree})
        execute_process(COMMAND dpkg-deb -R ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
        file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
        execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b ${tree} ${package}
                        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    endif()
endforeach()
