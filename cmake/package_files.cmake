# Run by CPack when all is installed in directories of its own, one a component, and before packages are made of them:
# adds the documents that Debian wants in every package, compresses the man pages and strips what has been compiled.
cmake_minimum_required(VERSION 3.25)

# The licence, in the form that programs read.
file(READ ${CPACK_ISAM_SOURCE_DIR}/LICENSE license)
string(REGEX MATCH "Copyright( \\([Cc]\\))? ([^\n]*)\n+(.*)" license "${license}")
set(holder ${CMAKE_MATCH_2})
string(STRIP "${CMAKE_MATCH_3}" license)
string(REGEX REPLACE "\n\n+" "\n.\n" license "${license}")
string(REPLACE "\n" "\n " license "${license}")
set(copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: isam
Upstream-Contact: ${CPACK_DEBIAN_PACKAGE_MAINTAINER}

Files: *
Copyright: ${holder}
License: Expat
 ${license}
")

# The time is SOURCE_DATE_EPOCH where that is set.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changes "isam (${CPACK_ISAM_VERSION}) stable; urgency=medium

  * Built from the sources; changelog.gz tells what is new in them.

 -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}
")

function(compress)
    execute_process(COMMAND gzip -9nf ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

function(strip)
    execute_process(COMMAND ${CPACK_ISAM_STRIP} --remove-section=.comment --remove-section=.note ${ARGN}
        COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    set(root ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX})
    string(TOUPPER ${component} id)
    set(documents ${root}/share/doc/${CPACK_DEBIAN_${id}_PACKAGE_NAME})
    file(WRITE ${documents}/copyright "${copyright}")
    file(WRITE ${documents}/changelog.Debian "${changes}")
    compress(${documents}/changelog.Debian)
    if(EXISTS ${CPACK_ISAM_SOURCE_DIR}/CHANGELOG.md)
        configure_file(${CPACK_ISAM_SOURCE_DIR}/CHANGELOG.md ${documents}/changelog COPYONLY)
        compress(${documents}/changelog)
    endif()
    file(GLOB pages ${root}/share/man/man?/*.?)
    if(pages)
        compress(${pages})
    endif()
    file(GLOB compiled ${root}/bin/* ${root}/${CPACK_ISAM_LIBDIR}/*.so.${CPACK_ISAM_LIBRARY_VERSION})
    file(GLOB archives ${root}/${CPACK_ISAM_LIBDIR}/*.a)
    if(compiled)
        strip(--strip-unneeded ${compiled})
    endif()
    if(archives)
        strip(--strip-debug --enable-deterministic-archives ${archives})
    endif()
    # A package is not moved.
    set(pc ${root}/${CPACK_ISAM_LIBDIR}/pkgconfig/isam.pc)
    if(EXISTS ${pc})
        file(READ ${pc} text)
        string(REGEX REPLACE "prefix=[^\n]*" "prefix=${CPACK_PACKAGING_INSTALL_PREFIX}" text "${text}")
        file(WRITE ${pc} "${text}")
    endif()
    execute_process(COMMAND chmod -R u=rwX,go=rX ${root} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
