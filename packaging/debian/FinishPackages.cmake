# CPack post-build script: what CPack 3.25's DEB generator cannot be told.
#   - It writes no Multi-Arch field: added from CPACK_COSUPDATE_DEB_MULTIARCH
#     (PACKAGE=VALUE;...).
#   - It gives a package with a library in /usr/lib maintainer scripts that
#     only call ldconfig: removed, the package's ldconfig trigger does that.
find_program(_dpkg_deb dpkg-deb REQUIRED)
foreach(deb IN LISTS CPACK_PACKAGE_FILES)
    execute_process(COMMAND ${_dpkg_deb} --field ${deb} Package
                    OUTPUT_VARIABLE package OUTPUT_STRIP_TRAILING_WHITESPACE
                    COMMAND_ERROR_IS_FATAL ANY)
    set(value "")
    foreach(entry IN LISTS CPACK_COSUPDATE_DEB_MULTIARCH)
        if(entry MATCHES "^${package}=(.+)$")
            set(value ${CMAKE_MATCH_1})
        endif()
    endforeach()
    if(NOT value)
        message(FATAL_ERROR "No Multi-Arch value for package ${package}")
    endif()

    set(tree ${CPACK_TOPLEVEL_DIRECTORY}/finish/${package})
    file(REMOVE_RECURSE ${tree})
    file(MAKE_DIRECTORY ${CPACK_TOPLEVEL_DIRECTORY}/finish)
    execute_process(COMMAND ${_dpkg_deb} --raw-extract ${deb} ${tree} COMMAND_ERROR_IS_FATAL ANY)

    file(READ ${tree}/DEBIAN/control control)
    string(REGEX REPLACE "\nMulti-Arch: [^\n]*" "" control "${control}")
    string(REGEX REPLACE "(Architecture: [^\n]*\n)" "\\1Multi-Arch: ${value}\n" control "${control}")
    file(WRITE ${tree}/DEBIAN/control "${control}")

    foreach(script postinst postrm)
        if(EXISTS ${tree}/DEBIAN/${script})
            file(STRINGS ${tree}/DEBIAN/${script} lines REGEX "^[^#]")
            list(FILTER lines EXCLUDE REGEX "^[ \t]*(set -e|if .*|then|fi|ldconfig|exit 0)[ \t]*$")
            string(STRIP "${lines}" lines)
            if(lines)
                message(FATAL_ERROR "${package}: ${script} does more than call ldconfig: ${lines}")
            endif()
            file(REMOVE ${tree}/DEBIAN/${script})
        endif()
    endforeach()

    execute_process(COMMAND ${_dpkg_deb} --root-owner-group -Zxz --build ${tree} ${deb}
                    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${tree})
endforeach()
