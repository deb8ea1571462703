# Run by CPack behind the making of the packages: adds the field that lets packages of several architectures stand side
# by side, and takes away the scripts that do what the trigger does already.
cmake_minimum_required(VERSION 3.25)

foreach(package IN LISTS CPACK_PACKAGE_FILES)
    set(directory ${CPACK_TEMPORARY_DIRECTORY}/fields)
    file(REMOVE_RECURSE ${directory})
    execute_process(COMMAND dpkg-deb -R ${package} ${directory} COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE ${directory}/DEBIAN/postinst ${directory}/DEBIAN/postrm)
    if(package MATCHES "-tools")
        set(beside foreign)
    else()
        set(beside same)
    endif()
    file(READ ${directory}/DEBIAN/control fields)
    string(STRIP "${fields}" fields)
    file(WRITE ${directory}/DEBIAN/control "${fields}\nMulti-Arch: ${beside}\n")
    execute_process(COMMAND dpkg-deb --root-owner-group -Zxz -b ${directory} ${package}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
