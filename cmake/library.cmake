# The library: compiled once, linked twice, as libisam.so.1 and as libisam.a.
file(GLOB_RECURSE isam_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.cpp)

# isam_compile(target): how they are compiled.
function(isam_compile target)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
    target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics)
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 ISAM_NO_NAMES)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
    if(CMAKE_CXX_FLAGS MATCHES "-fsanitize" AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        # These two look at C++ type information, which a C program cannot link.
        target_compile_options(${target} PRIVATE -fno-sanitize=function,vptr)
    endif()
    isam_warnings(${target})
endfunction()

add_library(isam_objects OBJECT ${isam_sources})
isam_compile(isam_objects)

# Linked by the C driver, so that nothing but the C library comes in. An open reference would show here; under the
# sanitizers their run-time library answers those only when the program is linked.
add_library(isam_shared SHARED $<TARGET_OBJECTS:isam_objects>)
set_target_properties(isam_shared PROPERTIES
    OUTPUT_NAME isam
    LINKER_LANGUAGE C
    EXPORT_NAME isam
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
target_link_options(isam_shared PRIVATE -static-libgcc LINKER:--as-needed LINKER:-z,relro,-z,now
    LINKER:--version-script=${PROJECT_SOURCE_DIR}/cmake/exports.map)
set_target_properties(isam_shared PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/exports.map)
if(NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    target_link_options(isam_shared PRIVATE LINKER:--no-undefined)
endif()

add_library(isam_static STATIC $<TARGET_OBJECTS:isam_objects>)
set_target_properties(isam_static PROPERTIES
    OUTPUT_NAME isam
    LINKER_LANGUAGE C
    EXPORT_NAME isam_static)

foreach(library isam_shared isam_static)
    target_include_directories(${library} PUBLIC
        $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endforeach()

# The names under which the installed package offers them, for a project that has the sources among its own.
add_library(isam::isam ALIAS isam_shared)
add_library(isam::isam_static ALIAS isam_static)
