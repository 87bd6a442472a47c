# Where an installation puts things: GNUInstallDirs, with these choices of
# our own (each can still be overridden with -D):
#   - libraries go to lib/<multiarch triplet> whenever the toolchain names one
#     (Debian and its cross compilers), whatever the prefix: the dynamic
#     linker, pkg-config and find_package search there under /usr and
#     /usr/local alike, and the Debian packages need it under /usr;
#   - the documentation goes where the cosupdate package keeps it.
if(CMAKE_LIBRARY_ARCHITECTURE AND NOT DEFINED CMAKE_INSTALL_LIBDIR)
    set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH
        "Object code libraries (lib/${CMAKE_LIBRARY_ARCHITECTURE})")
endif()
if(NOT DEFINED CMAKE_INSTALL_DOCDIR)
    set(CMAKE_INSTALL_DOCDIR share/doc/cosupdate CACHE PATH "Documentation (share/doc/cosupdate)")
endif()
include(GNUInstallDirs)

# Our own directories below those:
#   the public header, and the kernel declaration in kernel/ below it;
#   the simulation kernel, in a directory the dynamic linker never searches by
#   itself, so that it cannot stand in for a vendor's kernel by accident (it
#   has the same file name);
#   the CMake package.
set(COSUPDATE_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/nativecosupdate)
set(COSUPDATE_INSTALL_SIMKERNELDIR ${CMAKE_INSTALL_LIBDIR}/nativecosupdate/sim)
set(COSUPDATE_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/NativeCOSUpdate)
