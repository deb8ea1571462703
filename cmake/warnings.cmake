# isam_warnings(target [RELAXED | STRINGS]): the warnings that all code keeps clear of. RELAXED leaves out those that
# the macros of the test framework set off: shadowed names, conversions, undefined macros and a macro under an
# if. STRINGS leaves out what g++ 12 gets wrong about std::string, as RELAXED does.
function(isam_warnings target)
    cmake_parse_arguments(ARG "RELAXED;STRINGS" "" "" ${ARGN})
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wformat=2)
    if(NOT ARG_RELAXED)
        target_compile_options(${target} PRIVATE -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wundef)
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            target_compile_options(${target} PRIVATE -Wclobbered)
        endif()
    else()
        target_compile_options(${target} PRIVATE -Wno-dangling-else)
    endif()
    if((ARG_RELAXED OR ARG_STRINGS) AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # g++ 12 sees overruns in std::string that are none.
        target_compile_options(${target} PRIVATE
            -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread -Wno-restrict)
    endif()
    if(ISAM_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()
