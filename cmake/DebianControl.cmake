# Run by CPack on the finished packages. CPack gives libjay1 scripts that call ldconfig; Debian wants the trigger alone, which
# the package has already.
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
