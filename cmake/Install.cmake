# What `cmake --install` installs. The installed tree can be moved: no file in it contains the path of the tree.
# The components are those of the Debian packages: libjay1, libjay-dev, jay-tools, python3-jaybus, jay-doc.
include(CMakePackageConfigHelpers)

# ---- the library and its headers ----
install(TARGETS jay EXPORT jayTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libjay1 NAMELINK_COMPONENT libjay-dev
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/jay)

# Only the headers that applications include: the folders detail/ are not installed.
install(FILES jay.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/jay COMPONENT libjay-dev)
foreach(folder ${JAY_FOLDERS})
    file(GLOB headers CONFIGURE_DEPENDS ${folder}/*.h)
    install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/jay/${folder} COMPONENT libjay-dev)
endforeach()

# The manual of the C interface: one page, found by the name of each function.
install(FILES man/ca_open.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT libjay-dev)
foreach(function ca_close ca_write ca_read ca_peek ca_next ca_dump)
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/man)
    file(CREATE_LINK ca_open.3 ${CMAKE_BINARY_DIR}/man/${function}.3 SYMBOLIC)
    install(FILES ${CMAKE_BINARY_DIR}/man/${function}.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT libjay-dev)
endforeach()

# ---- how an application finds them: find_package(jay) and pkg-config ----
set(JAY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/jay)
configure_package_config_file(cmake/jayConfig.cmake.in ${CMAKE_BINARY_DIR}/cmake/jayConfig.cmake
                              INSTALL_DESTINATION ${JAY_CMAKE_DIR}
                              NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/cmake/jayConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/cmake/jayConfig.cmake ${CMAKE_BINARY_DIR}/cmake/jayConfigVersion.cmake
        DESTINATION ${JAY_CMAKE_DIR} COMPONENT libjay-dev)
install(EXPORT jayTargets NAMESPACE jay:: DESTINATION ${JAY_CMAKE_DIR} COMPONENT libjay-dev)

file(RELATIVE_PATH JAY_PREFIX_FROM_PC /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" JAY_PREFIX_FROM_PC ${JAY_PREFIX_FROM_PC})
configure_file(cmake/jay.pc.in ${CMAKE_BINARY_DIR}/cmake/jay.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/cmake/jay.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT libjay-dev)

# ---- the tools, with their manual pages, completions and service files ----
if(JAY_TOOLS)
    file(RELATIVE_PATH JAY_LIB_FROM_BIN /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    foreach(tool jayd jay_tool)
        if(TARGET ${tool})
            set_target_properties(${tool} PROPERTIES INSTALL_RPATH "$ORIGIN/${JAY_LIB_FROM_BIN}")
            install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT jay-tools)
        endif()
    endforeach()

    foreach(section 1 8)
        file(GLOB pages CONFIGURE_DEPENDS man/*.${section})
        install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT jay-tools)
    endforeach()
    install(FILES completions/bash/jay completions/bash/jayd
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT jay-tools)
    install(FILES completions/zsh/_jay completions/zsh/_jayd
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT jay-tools)
    install(FILES tools/jayd/systemd/jayd.service DESTINATION lib/systemd/system COMPONENT jay-tools)
    install(FILES tools/jayd/systemd/jayd.sysusers DESTINATION lib/sysusers.d RENAME jayd.conf COMPONENT jay-tools)
    install(FILES tools/jayd/systemd/jayd.logrotate DESTINATION ${CMAKE_INSTALL_DATADIR}/jay COMPONENT jay-tools)
    install(FILES tools/wireshark/jaybus.lua DESTINATION ${CMAKE_INSTALL_DATADIR}/jay/wireshark COMPONENT jay-tools)
endif()

# ---- the client for Python ----
# The default is right below /usr on Debian. Below another prefix, Python finds the package through PYTHONPATH.
set(JAY_PYTHON_DIR lib/python3/dist-packages CACHE STRING "where the Python package jaybus is installed, below the prefix")
install(DIRECTORY bindings/python/jaybus DESTINATION ${JAY_PYTHON_DIR} COMPONENT python3-jaybus PATTERN __pycache__ EXCLUDE)

# ---- the documents ----
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT jay-doc)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT jay-doc PATTERN api EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT jay-doc PATTERN CMakeLists.txt EXCLUDE)
# The API reference, if the target docs was built.
install(DIRECTORY ${CMAKE_BINARY_DIR}/api DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT jay-doc OPTIONAL)
