#!/usr/bin/env bash
# Checks the files of an installation below PREFIX: what must be there is,
# nothing of the tests, benchmarks or fuzzers and no static library is, and
# no ELF file has a RUNPATH that reaches the simulation kernel's directory
# (which would let it stand in for a vendor's kernel by accident).
#
#   layout.sh PREFIX
set -euo pipefail

[ $# -eq 1 ] || {
    echo "usage: $0 PREFIX" >&2
    exit 2
}
prefix=$1
failed=0
fail() {
    echo "layout: $*" >&2
    failed=1
}

lib=$(find "$prefix/lib" -name libnativecosupdateapi-zelmar.so -not -path '*/nativecosupdate/*')
[ -n "$lib" ] || fail "no libnativecosupdateapi-zelmar.so in a library directory"
libdir=$(dirname "${lib:-/nonexistent/x}")
for file in \
    "$libdir/nativecosupdate/sim/libnativecospatchkernel-zelmar.so" \
    "$libdir/cmake/NativeCOSUpdate/NativeCOSUpdateConfig.cmake" \
    "$libdir/cmake/NativeCOSUpdate/NativeCOSUpdateConfigVersion.cmake" \
    "$libdir/pkgconfig/nativecosupdateapi-zelmar.pc" \
    "$libdir/pkgconfig/nativecospatchkernel-zelmar-sim.pc" \
    "$prefix/include/nativecosupdate/ZelmarNativeCOSUpdateApi.h" \
    "$prefix/include/nativecosupdate/kernel/nativeCOSPatchKernel.h" \
    "$prefix/bin/cosupdate" "$prefix/bin/cosupdate-sim" "$prefix/bin/cosupdate-gen" \
    "$prefix/share/man/man1/cosupdate.1.gz" "$prefix/share/man/man1/cosupdate-gen.1.gz" \
    "$prefix/share/bash-completion/completions/cosupdate" \
    "$prefix/share/doc/cosupdate/examples/update.xml"; do
    [ -e "$file" ] || fail "missing: ${file#"$prefix"/}"
done

# Nothing of the tests, and no kernel anywhere the dynamic linker searches.
unwanted=$(find "$prefix" \( -name '*test*' -o -name '*bench*' -o -name '*fuzz*' -o -name '*.a' \
    -o \( -name 'libnativecospatchkernel-zelmar.so' -not -path '*/nativecosupdate/sim/*' \) \) \
    -not -path '*/share/doc/*')
[ -z "$unwanted" ] || fail "installed but not for users: $unwanted"

while IFS= read -r -d '' file; do
    head -c 4 "$file" | grep -q 'ELF' || continue
    runpath=$(readelf -d "$file" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]$/\1/p; s/.*(RPATH).*\[\(.*\)\]$/\1/p')
    case $runpath in
        *nativecosupdate* | *'$ORIGIN'*) fail "${file#"$prefix"/} has RUNPATH $runpath" ;;
    esac
done < <(find "$prefix" -type f -print0)

[ "$failed" -eq 0 ] || exit 1
echo "layout: $prefix as expected"
