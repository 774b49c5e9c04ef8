# Debian packages, one per component of Install.cmake: `cmake --preset package && cmake --build --preset package`, or the
# target `package` of any other build. They are left in packages/ of the build.
# A cross build makes no packages: the dependencies on the other machine are not known here.
if(CMAKE_CROSSCOMPILING OR NOT CMAKE_LIBRARY_ARCHITECTURE)
    return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME jay)
set(CPACK_PACKAGE_VENDOR "The Jay authors")
set(CPACK_PACKAGE_CONTACT "The Jay authors <authors@jay.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Where Debian's rules differ from what `cmake --install` and CPack do.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianFiles.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianControl.cmake)

set(CPACK_COMPONENTS_ALL libjay1 libjay-dev jay-tools python3-jaybus jay-doc)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
# dpkg-shlibdeps finds the library of this build here; no package contains it yet. jay_package() below names its package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})

# jay_package(NAME SECTION SUMMARY TEXT DEPENDS...): the contents of the control file of a package.
function(jay_package name section summary text)
    string(TOUPPER ${name} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    list(JOIN ARGN ", " depends)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
endfunction()

set(about "Jay is a small runtime class library and a local message bus for embedded
Linux devices, to be used from C++ and C.

")
jay_package(libjay1 libs "runtime class library and message bus - shared library"
            "${about}This package holds the shared library.")
jay_package(libjay-dev libdevel "runtime class library and message bus - development files"
            "${about}This package holds the headers, and what CMake and pkg-config need to
find the library."
            "libjay1 (= ${PROJECT_VERSION})")
jay_package(jay-tools utils "runtime class library and message bus - server and client"
            "${about}This package holds jayd, the bus server, and jay, which sends, receives,
measures and decodes from the command line."
            "libjay1 (= ${PROJECT_VERSION})")
jay_package(python3-jaybus python "runtime class library and message bus - client for Python"
            "${about}This package holds jaybus, a client of the bus in Python alone: for asyncio and
without, typed, for Python 3.9 and newer."
            "python3:any (>= 3.9~)")
jay_package(jay-doc doc "runtime class library and message bus - documents and examples"
            "${about}This package holds the documents, the API reference, and example programs
in C++ and C.")

foreach(component LIBJAY1 JAY-TOOLS)
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
endforeach()
set(CPACK_DEBIAN_JAY-DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON3-JAYBUS_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_JAY-TOOLS_PACKAGE_RECOMMENDS "bash-completion, systemd | systemd-standalone-sysusers")

# Scripts that run when a package is installed or removed. shlibs: other packages depend on this version of the library or a
# later one with the same SONAME. triggers: the cache of the loader is updated.
set(JAY_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/packaging/shlibs
     CONTENT "libjay ${JAY_SOVERSION} libjay${JAY_SOVERSION} (>= ${PROJECT_VERSION})\n")
set(CPACK_DEBIAN_LIBJAY1_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/packaging/shlibs ${JAY_PACKAGING}/libjay1/triggers)
set(CPACK_DEBIAN_JAY-TOOLS_PACKAGE_CONTROL_EXTRA
    ${JAY_PACKAGING}/jay-tools/postinst ${JAY_PACKAGING}/jay-tools/prerm ${JAY_PACKAGING}/jay-tools/postrm)
set(CPACK_DEBIAN_PYTHON3-JAYBUS_PACKAGE_CONTROL_EXTRA
    ${JAY_PACKAGING}/python3-jaybus/postinst ${JAY_PACKAGING}/python3-jaybus/prerm)

include(CPack)
