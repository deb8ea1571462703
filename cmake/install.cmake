# What is installed, in three components: "runtime" for programs that run, "development" for those that are made, and
# "tools" for the command. All of it may be moved afterwards: nothing names the prefix.
include(CMakePackageConfigHelpers)

install(TARGETS isam_shared EXPORT isamTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS isam_static EXPORT isamTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES ${isam_headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(DIRECTORY ${isam_man_directory} DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)

# For CMake: find_package(isam), targets isam::isam and isam::isam_static.
set(isam_package_directory ${CMAKE_INSTALL_LIBDIR}/cmake/isam)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/isamConfig.cmake.in ${PROJECT_BINARY_DIR}/isamConfig.cmake
    INSTALL_DESTINATION ${isam_package_directory}
    NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/isamConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/isamConfig.cmake ${PROJECT_BINARY_DIR}/isamConfigVersion.cmake
    DESTINATION ${isam_package_directory} COMPONENT development)
install(EXPORT isamTargets NAMESPACE isam:: DESTINATION ${isam_package_directory} COMPONENT development)

# For pkg-config, which finds the prefix from where the file lies.
file(RELATIVE_PATH isam_prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" isam_prefix_from_pc ${isam_prefix_from_pc})
cmake_path(APPEND isam_pc_libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND isam_pc_includedir "\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(${PROJECT_SOURCE_DIR}/cmake/isam.pc.in ${PROJECT_BINARY_DIR}/isam.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/isam.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

if(TARGET isam_tool)
    # Where the system does not look for libraries, the command looks from where it is itself.
    if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
        file(RELATIVE_PATH isam_lib_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
        set_target_properties(isam_tool PROPERTIES INSTALL_RPATH "$ORIGIN/${isam_lib_from_bin}")
    endif()
    install(TARGETS isam_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/tools/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools
        FILES_MATCHING PATTERN "*.1")
    install(FILES ${PROJECT_BINARY_DIR}/tools/completion/isam
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
endif()
