# Man pages of the calls, made from the headers.
set(isam_man_directory ${PROJECT_BINARY_DIR}/man/man3)
file(GLOB isam_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
string(TIMESTAMP isam_man_date "%Y-%m-%d" UTC)

add_custom_command(OUTPUT ${isam_man_directory}/isam.3
    COMMAND ${PROJECT_SOURCE_DIR}/cmake/calls_man.sh ${isam_man_directory} ${PROJECT_VERSION} ${isam_man_date}
    DEPENDS
        ${PROJECT_SOURCE_DIR}/cmake/calls_man.sh
        ${PROJECT_SOURCE_DIR}/cmake/calls_man.awk
        ${PROJECT_SOURCE_DIR}/cmake/calls_read.sh
        ${PROJECT_SOURCE_DIR}/cmake/calls_read.awk
        ${PROJECT_SOURCE_DIR}/src/base/isglobal.cpp
        ${isam_headers}
    COMMENT "Writing the man pages of the calls"
    VERBATIM)
add_custom_target(isam_man ALL DEPENDS ${isam_man_directory}/isam.3)
