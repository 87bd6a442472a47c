# Debian packages, one per install component, made by CPack's DEB generator
# from the build tree they are configured in (scripts/package runs it):
#
#   component    package                              Multi-Arch
#   runtime      libnativecosupdateapi-zelmar         same
#   development  libnativecosupdateapi-zelmar-dev     same
#   simkernel    libnativecospatchkernel-zelmar-sim   same
#   tool         cosupdate                            foreign
#
# The SONAME libnativecosupdateapi-zelmar.so has no version: host services
# load the library by that file name. The runtime package is therefore named
# after the SONAME as it is, holds the .so itself in the multiarch library
# directory (there is no versioned file for a -dev package's link), and makes
# it known to dpkg-shlibdeps through a symbols file keyed by the SONAME (a
# shlibs file cannot express a SONAME without a version). What lintian says
# about that is overridden in the package, with the reason (debian/).
if(COSUPDATE_SANITIZERS OR COSUPDATE_BUILD_FUZZERS)
    message(STATUS "Debian packages: not from a sanitizer or fuzz build")
    return()
endif()

set(COSUPDATE_DEB_MAINTAINER "nativecosupdateapi maintainers <nativecosupdateapi@example.org>"
    CACHE STRING "Maintainer field of the Debian packages")

# The Debian architecture of the target, cross builds included.
find_program(COSUPDATE_DPKG_ARCHITECTURE dpkg-architecture)
if(COSUPDATE_DPKG_ARCHITECTURE AND CMAKE_LIBRARY_ARCHITECTURE)
    execute_process(COMMAND ${COSUPDATE_DPKG_ARCHITECTURE} -t ${CMAKE_LIBRARY_ARCHITECTURE}
                            -qDEB_HOST_ARCH
                    OUTPUT_VARIABLE _deb_arch OUTPUT_STRIP_TRAILING_WHITESPACE
                    ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(_deb_arch arm64)
else()
    set(_deb_arch amd64)
endif()

set(_debian ${CMAKE_CURRENT_SOURCE_DIR}/debian)
set(_staged ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(COSUPDATE_DEB_SOURCE nativecosupdateapi)
set(COSUPDATE_DEB_VERSION ${PROJECT_VERSION})

# The changelog of this native package and the copyright file; their date is
# SOURCE_DATE_EPOCH's when set (scripts/package sets it to the commit's), so
# that packages rebuild identically.
string(TIMESTAMP COSUPDATE_DEB_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
string(TIMESTAMP COSUPDATE_DEB_YEAR "%Y" UTC)
configure_file(${_debian}/changelog.in ${_staged}/changelog @ONLY)
configure_file(${_debian}/copyright.in ${_staged}/copyright @ONLY)
execute_process(COMMAND gzip -9nc ${_staged}/changelog OUTPUT_FILE ${_staged}/changelog.gz
                COMMAND_ERROR_IS_FATAL ANY)

# The runtime package's symbols file, from the library's export list.
set(COSUPDATE_DEB_SYMBOLS ${_staged}/symbols)
set(_interface ${PROJECT_SOURCE_DIR}/tests/packaging/library-interface.sh)
add_custom_command(OUTPUT ${COSUPDATE_DEB_SYMBOLS}
    COMMAND sh ${_interface} exports ${CMAKE_NM} $<TARGET_FILE:nativecosupdateapi-zelmar>
            ${_staged}/exports.txt
    COMMAND sh ${_debian}/symbols.sh ${_staged}/exports.txt libnativecosupdateapi-zelmar.so
            libnativecosupdateapi-zelmar ${PROJECT_VERSION} ${COSUPDATE_DEB_SYMBOLS}
    DEPENDS nativecosupdateapi-zelmar ${_interface} ${_debian}/symbols.sh
    COMMENT "Writing the Debian symbols file of libnativecosupdateapi-zelmar.so"
    VERBATIM)
add_custom_target(cosupdate_deb_symbols ALL DEPENDS ${COSUPDATE_DEB_SYMBOLS})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${COSUPDATE_DEB_SOURCE})
set(CPACK_PACKAGE_VERSION ${COSUPDATE_DEB_VERSION})
set(CPACK_PACKAGE_VENDOR "nativecosupdateapi")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime development simkernel tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${_deb_arch})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${COSUPDATE_DEB_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SOURCE ${COSUPDATE_DEB_SOURCE})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(_version_eq "(= ${COSUPDATE_DEB_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libnativecosupdateapi-zelmar)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS libnativecospatchkernel-zelmar-sim)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${COSUPDATE_DEB_SYMBOLS} ${_debian}/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION [=[library to update the card operating system of a secure element
libnativecosupdateapi-zelmar.so updates the card operating system (COS) of
an embedded secure element: it loads an update file, selects the scripts
that apply to the chip and runs them through the patch kernel, verifying
the chip after each one.
.
The patch kernel, libnativecospatchkernel-zelmar.so, is the chip vendor's and
is not packaged here; the library loads whichever one the dynamic linker
finds. libnativecospatchkernel-zelmar-sim holds a simulation kernel.]=])

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libnativecosupdateapi-zelmar-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libnativecosupdateapi-zelmar ${_version_eq}")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "libnativecospatchkernel-zelmar-sim ${_version_eq}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION [=[development files of libnativecosupdateapi-zelmar
The public header of libnativecosupdateapi-zelmar, the declaration of the
patch kernel's interface, the CMake package NativeCOSUpdate
(find_package(NativeCOSUpdate CONFIG)) and the pkg-config file
nativecosupdateapi-zelmar.
.
Linking a program against the library needs a patch kernel: the vendor's,
or the simulation kernel of libnativecospatchkernel-zelmar-sim.]=])

set(CPACK_DEBIAN_SIMKERNEL_PACKAGE_NAME libnativecospatchkernel-zelmar-sim)
set(CPACK_DEBIAN_SIMKERNEL_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_SIMKERNEL_DESCRIPTION [=[simulation patch kernel for libnativecosupdateapi-zelmar
A stand-in for the vendor's patch kernel libnativecospatchkernel-zelmar.so:
the same file name and operations, over a simulated secure element reached
through the library's transport. It lets updates run on any machine,
without the vendor's kernel.
.
It is installed outside the dynamic linker's search path, so that it never
takes the place of a vendor's kernel by accident: programs use it when
LD_LIBRARY_PATH names its directory, as cosupdate-sim does.]=])

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME cosupdate)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "libnativecosupdateapi-zelmar ${_version_eq}")
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS "libnativecospatchkernel-zelmar-sim ${_version_eq}")
set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS "pcscd")
set(CPACK_COMPONENT_TOOL_DESCRIPTION [=[update the card operating system of a secure element
cosupdate is the command-line host service of libnativecosupdateapi-zelmar:
it validates update files, tells whether an update applies to a chip and
runs it, over a simulated chip or a secure element in a PC/SC reader.
cosupdate-sim runs it on the simulation patch kernel.
.
Also: cosupdate-gen, which writes large update files for load tests, and
vpcd-card, which serves the simulated chip to pcscd.]=])

# Every package: copyright, changelog and lintian overrides. Installed for
# the packages only (EXCLUDE_FROM_ALL keeps them out of cmake --install).
foreach(component runtime development simkernel tool)
    string(TOUPPER ${component} _upper)
    set(_package ${CPACK_DEBIAN_${_upper}_PACKAGE_NAME})
    set(_doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/${_package})
    install(FILES ${_staged}/copyright ${_staged}/changelog.gz DESTINATION ${_doc}
        COMPONENT ${component} EXCLUDE_FROM_ALL)
    if(EXISTS ${_debian}/${_package}.lintian-overrides)
        install(FILES ${_debian}/${_package}.lintian-overrides
            DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides RENAME ${_package}
            COMPONENT ${component} EXCLUDE_FROM_ALL)
    endif()
endforeach()

# What CPack 3.25 cannot be told (the Multi-Arch field, no ldconfig in
# maintainer scripts) is done to the finished packages.
set(CPACK_POST_BUILD_SCRIPTS ${_debian}/FinishPackages.cmake)
set(COSUPDATE_DEB_MULTIARCH
    "libnativecosupdateapi-zelmar=same;libnativecosupdateapi-zelmar-dev=same;libnativecospatchkernel-zelmar-sim=same;cosupdate=foreign")
set(CPACK_COSUPDATE_DEB_MULTIARCH "${COSUPDATE_DEB_MULTIARCH}")

include(CPack)
