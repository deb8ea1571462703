# The Debian packages: libisam1, libisam-dev and isam-tools, one for each component. ./package builds them.
set(ISAM_MAINTAINER "The isam authors <isam@example.org>" CACHE STRING "Maintainer of the Debian packages")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME isam)
set(CPACK_PACKAGE_VENDOR "The isam authors")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET isam_tool)
    list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ISAM_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SOURCE isam)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(isam_debian_version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(isam_debian_about "An indexed-sequential file holds records of fixed or variable length and
up to nine B-tree indexes beside them. Several processes may share it under
record locks; transactions over several files are committed or rolled back
by a log.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libisam1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "indexed-sequential files - shared library\n${isam_debian_about}

This package holds the library that programs run with.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libisam-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libisam1 (= ${isam_debian_version}), libc6-dev | libc-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "indexed-sequential files - development files\n${isam_debian_about}

This package holds what programs are made with: headers, the static library,
files for pkg-config and CMake, and a manual page for every call.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME isam-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION database)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libisam1 (= ${isam_debian_version})")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "indexed-sequential files - the isam command\n${isam_debian_about}

This package holds the command that shows, checks and mends such files.")

# Which version of the package a symbol came with, from the version script: NAME@NODE VERSION.
file(STRINGS ${PROJECT_SOURCE_DIR}/cmake/exports.map lines REGEX "^ISAM_|^ +[A-Za-z_][A-Za-z0-9_]*;$")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
set(isam_debian_symbols
    "libisam.so.${PROJECT_VERSION_MAJOR} libisam1 #MINVER#\n* Build-Depends-Package: libisam-dev\n")
foreach(line IN LISTS lines)
    string(REGEX MATCH "[A-Za-z0-9_.]+" name ${line})
    if(line MATCHES "^ISAM_")
        set(node ${name})
        string(REPLACE "ISAM_" "" since ${node})
    endif()
    string(APPEND isam_debian_symbols " ${name}@${node} ${since}\n")
endforeach()
set(isam_control_directory ${PROJECT_BINARY_DIR}/debian)
file(CONFIGURE OUTPUT ${isam_control_directory}/symbols CONTENT "${isam_debian_symbols}" @ONLY)
file(CONFIGURE OUTPUT ${isam_control_directory}/shlibs @ONLY
    CONTENT "libisam ${PROJECT_VERSION_MAJOR} libisam1 (>= ${PROJECT_VERSION})\n")
file(CONFIGURE OUTPUT ${isam_control_directory}/triggers CONTENT "activate-noawait ldconfig\n" @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${isam_control_directory}/shlibs ${isam_control_directory}/symbols ${isam_control_directory}/triggers)

# What CPack itself does not do.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package_files.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package_fields.cmake)
set(CPACK_ISAM_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_ISAM_VERSION ${isam_debian_version})
set(CPACK_ISAM_LIBRARY_VERSION ${PROJECT_VERSION})
set(CPACK_ISAM_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_ISAM_STRIP ${CMAKE_STRIP})

include(CPack)
