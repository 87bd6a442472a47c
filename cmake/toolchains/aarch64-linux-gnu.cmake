# Cross build for 64-bit Arm Linux with Debian's cross compiler and the :arm64
# multiarch packages (libbase, liblog, GoogleTest, tinyxml2 under
# /usr/lib/aarch64-linux-gnu, headers shared under /usr/include).
# Binaries run through qemu-aarch64: ctest, gtest_discover_tests and
# add_custom_command(... COMMAND <target>) pick up CMAKE_CROSSCOMPILING_EMULATOR.
#
#   cmake -S . -B build-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(COSUPDATE_CROSS_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${COSUPDATE_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${COSUPDATE_CROSS_TRIPLE}-g++)
# ar, nm, readelf and the other binutils are found by the compiler's prefix.

# Debian multiarch: the target's libraries and package configs live in
# /usr/lib/aarch64-linux-gnu. Naming the architecture makes find_library and
# find_package look there instead of the build machine's x86_64 directories.
set(CMAKE_LIBRARY_ARCHITECTURE ${COSUPDATE_CROSS_TRIPLE})

# The target's files are under /usr like the build machine's, so search / as
# the root, but only ever for libraries, headers and package configs; tools
# (nm, python, qemu) come from the build machine.
set(CMAKE_FIND_ROOT_PATH /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config must read the target's .pc files, never the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} "/usr/lib/${COSUPDATE_CROSS_TRIPLE}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# qemu-aarch64 finds the target's dynamic loader and libc through multiarch
# (libc6:arm64); QEMU_LD_PREFIX is not needed.
find_program(COSUPDATE_QEMU_AARCH64 qemu-aarch64)
if(COSUPDATE_QEMU_AARCH64)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${COSUPDATE_QEMU_AARCH64})
endif()

# List the tests of a GoogleTest binary when ctest runs rather than after each
# link: the listing runs under emulation and would slow down every build.
set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
