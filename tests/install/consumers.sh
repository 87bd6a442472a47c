#!/usr/bin/env bash
# Builds the consumer (consumer/) against an installation of the library,
# from a copy outside the repository, with find_package, with find_package
# given a "vendor" kernel (NativeCOSUpdate_PATCH_KERNEL) and with pkg-config,
# and runs each on the example update against the simulation kernel. Also
# checks that find_package refuses another major version.
#
#   consumers.sh ROOT PREFIX UPDATE_FILE
#
# ROOT: where the installation was unpacked ("" for one installed in place,
# as cmake --install --prefix PREFIX does); PREFIX: its prefix below ROOT
# (/usr for the Debian packages). Native builds only.
set -euo pipefail

[ $# -eq 3 ] || {
    echo "usage: $0 ROOT PREFIX UPDATE_FILE" >&2
    exit 2
}
root=$1
prefix=$2
update=$(realpath "$3")
here=$(cd "$(dirname "$0")" && pwd)
installed=$root$prefix

pc=$(find "$installed/lib" -name nativecosupdateapi-zelmar.pc -path '*/pkgconfig/*' | head -1)
[ -n "$pc" ] || {
    echo "consumers: no nativecosupdateapi-zelmar.pc below $installed/lib" >&2
    exit 1
}
libdir=$(dirname "$(dirname "$pc")")
simkernel=$libdir/nativecosupdate/sim

work=$(mktemp -d "${TMPDIR:-/tmp}/cosupdate-consumer.XXXXXX")
trap 'rm -rf "$work"' EXIT
cp "$here/consumer/consumer.cpp" "$here/consumer/CMakeLists.txt" "$work/"
cd "$work"
flags="-Wall -Wextra -Werror"

# Run on the simulation kernel, found as cosupdate-sim finds it: it is in no
# directory the dynamic linker searches by itself.
run() {
    local name=$1
    shift
    echo "consumers: $name"
    LD_LIBRARY_PATH=$simkernel:$libdir "$@" ./update.xml 0102 || {
        echo "consumers: $name failed" >&2
        exit 1
    }
}
cp "$update" ./update.xml

# find_package.
cmake -S . -B cmake-build -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH >cmake.log ||
    { cat cmake.log; exit 1; }
cmake --build cmake-build >>cmake.log || { cat cmake.log; exit 1; }
run "find_package(NativeCOSUpdate CONFIG REQUIRED)" cmake-build/consumer

# A vendor's kernel named by NativeCOSUpdate_PATCH_KERNEL, linked by file
# name (the simulation kernel's file plays the vendor's here).
cmake -S . -B cmake-vendor -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=BOTH \
    -DNativeCOSUpdate_PATCH_KERNEL="$simkernel/libnativecospatchkernel-zelmar.so" >cmake-vendor.log ||
    { cat cmake-vendor.log; exit 1; }
cmake --build cmake-vendor -v >>cmake-vendor.log || { cat cmake-vendor.log; exit 1; }
grep -q -- "-L$simkernel .*-lnativecospatchkernel-zelmar" cmake-vendor.log || {
    cat cmake-vendor.log
    echo "consumers: NativeCOSUpdate_PATCH_KERNEL was not linked by -L and -l" >&2
    exit 1
}
run "find_package with NativeCOSUpdate_PATCH_KERNEL" cmake-vendor/consumer

# A package of major version 1 does not serve a request for version 2.
if cmake -S . -B cmake-v2 -G Ninja -DCMAKE_PREFIX_PATH="$installed" \
    -DNATIVECOSUPDATE_WANTED=2.0 >cmake-v2.log 2>&1; then
    echo "consumers: find_package(NativeCOSUpdate 2.0) accepted version 1" >&2
    exit 1
fi
grep -q "compatible with requested version \"2.0\"" cmake-v2.log || {
    cat cmake-v2.log
    exit 1
}

# pkg-config, with the installation's root as its sysroot.
export PKG_CONFIG_LIBDIR=$libdir/pkgconfig PKG_CONFIG_PATH=
export PKG_CONFIG_SYSROOT_DIR=${root%/}
modules="nativecosupdateapi-zelmar nativecospatchkernel-zelmar-sim"
# shellcheck disable=SC2046,SC2086
c++ -std=c++17 $flags consumer.cpp -o pkg-config-consumer $(pkg-config --cflags --libs $modules)
run "pkg-config $modules" ./pkg-config-consumer
