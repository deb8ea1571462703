# The examples are plain C programs, linked by the C compiler against the shared library.
add_executable(ucd_demo ${PROJECT_SOURCE_DIR}/examples/ucd_demo.c)
target_link_libraries(ucd_demo PRIVATE isam_shared)
set_target_properties(ucd_demo PROPERTIES LINKER_LANGUAGE C)
isam_warnings(ucd_demo)
