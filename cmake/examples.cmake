# The examples are plain C programs, linked by the C compiler against the shared library.
function(add_example name)
    list(TRANSFORM ARGN PREPEND ${PROJECT_SOURCE_DIR}/examples/ OUTPUT_VARIABLE sources)
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE isam_shared)
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C)
    isam_warnings(${name})
endfunction()

add_example(ucd_demo ucd_demo.c)
add_example(order_book order_book.c order_files.c)
