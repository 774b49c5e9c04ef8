# CPack runs this before it makes the packages: changes the installed files where the rules of Debian differ.
cmake_minimum_required(VERSION 3.20)
set(ROOT ${CMAKE_CURRENT_LIST_DIR}/..)

function(compress file)
    execute_process(COMMAND gzip -9nf ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The loader finds a library in /usr without a path in the program.
function(forget_where_the_library_is usr)
    file(GLOB programs ${usr}/bin/*)
    foreach(program ${programs})
        file(RPATH_REMOVE FILE ${program})
    endforeach()
endfunction()

function(move_zsh_completions usr)
    if(EXISTS ${usr}/share/zsh/site-functions)
        file(RENAME ${usr}/share/zsh/site-functions ${usr}/share/zsh/vendor-completions)
    endif()
endfunction()

function(compress_manual_pages usr)
    file(GLOB pages ${usr}/share/man/man*/*.[1-8])
    foreach(page ${pages})
        if(IS_SYMLINK ${page})
            file(READ_SYMLINK ${page} target)
            file(CREATE_LINK ${target}.gz ${page}.gz SYMBOLIC)
            file(REMOVE ${page})
        else()
            compress(${page})
        endif()
    endforeach()
endfunction()

# Every package contains its licence and a changelog.
function(add_copyright_and_changelog usr package)
    set(folder ${usr}/share/doc/${package})
    file(MAKE_DIRECTORY ${folder})
    file(READ ${ROOT}/LICENSE licence)
    string(REGEX REPLACE "^MIT License\n\nCopyright[^\n]*\n\n" "" licence "${licence}")
    string(REGEX REPLACE "\n\n" "\n.\n" licence "${licence}")
    string(REGEX REPLACE "\n([^\n])" "\n \\1" licence "${licence}")
    file(WRITE ${folder}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: jay

Files: *
Copyright: 2026 The Jay authors
License: Expat
 ${licence}")
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
    file(WRITE ${folder}/changelog "jay (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * See CHANGELOG.md in the package jay-doc.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
    compress(${folder}/changelog)
endfunction()

# Debian's help systems find the API reference through this, if it was built.
function(register_api_reference usr)
    if(EXISTS ${usr}/share/doc/jay/api/index.html)
        configure_file(${ROOT}/packaging/jay-doc/doc-base ${usr}/share/doc-base/jay-doc.jay-api COPYONLY)
    endif()
endfunction()

foreach(package ${CPACK_COMPONENTS_ALL})
    set(usr ${CPACK_TEMPORARY_DIRECTORY}/${package}/usr)
    add_copyright_and_changelog(${usr} ${package})
    compress_manual_pages(${usr})
    if(package STREQUAL jay-tools)
        forget_where_the_library_is(${usr})
        move_zsh_completions(${usr})
    elseif(package STREQUAL jay-doc)
        register_api_reference(${usr})
    endif()
endforeach()
