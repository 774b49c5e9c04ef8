# jay_header_only(TARGET FOLDER): makes TARGET, an interface library that finds the header-only package installed as
# /usr/include/FOLDER, or leaves it undefined when that is missing.
#
# Only that folder becomes visible, through a link in the build tree: /usr/include as a whole holds the build machine's own
# C library, which a cross compiler must not see.
function(jay_header_only target folder)
    if(NOT IS_DIRECTORY /usr/include/${folder})
        return()
    endif()
    set(links ${CMAKE_BINARY_DIR}/header-only/${folder})
    file(MAKE_DIRECTORY ${links})
    file(CREATE_LINK /usr/include/${folder} ${links}/${folder} SYMBOLIC)
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE ${links})
endfunction()
