#!/bin/sh
# Checks on the binary interface of libnativecosupdateapi-zelmar.so.
#
#   library-interface.sh exports NM LIB OUT
#       Writes the dynamic symbols LIB defines (mangled, sorted) to OUT.
#   library-interface.sh check LIST REQUIRED
#       Fails unless every symbol in LIST belongs to the public namespace
#       Zelmar::Device::COS::V1_0 and every symbol in REQUIRED is in LIST.
#   library-interface.sh same EXPECTED ACTUAL
#       Fails, showing the difference, unless the two symbol lists are equal.
#   library-interface.sh needed READELF LIB NAME
#       Fails unless LIB records NAME among its NEEDED entries and records
#       every entry as a bare file name (a path would not resolve on a device).
set -eu

die() {
    echo "library-interface: $*" >&2
    exit 1
}

case "${1-}-$#" in
exports-4)
    # "address type name": undefined-weak and absolute entries have no address.
    "$2" -D --defined-only "$3" >"$4.raw"
    awk 'NF == 3 { print $3 }' "$4.raw" | LC_ALL=C sort -u >"$4"
    rm -f "$4.raw"
    [ -s "$4" ] || die "$3 exports nothing"
    ;;
check-3)
    # Functions and data of the namespace, and the typeinfo, typeinfo names and
    # vtables of its classes. Which vtables and typeinfo of header-only classes
    # show up depends on the compiler and optimisation level, so REQUIRED names
    # only what every build must export.
    foreign=$(grep -Ev '^_Z(NK?|T[ISV]N)6Zelmar6Device3COS4V1_0' "$2" || true)
    missing=$(grep -v '^#' "$3" | LC_ALL=C sort -u | LC_ALL=C comm -23 - "$2")
    [ -z "$foreign" ] || echo "exported outside Zelmar::Device::COS::V1_0:" "$foreign"
    [ -z "$missing" ] || echo "required but not exported:" "$missing"
    [ -z "$foreign$missing" ] || exit 1
    echo "$(wc -l <"$2") exported symbols, all public, none missing"
    ;;
same-3)
    [ -f "$2" ] && [ -f "$3" ] || die "no symbol list at $2 or $3 (build the library first)"
    if ! diff -u "$2" "$3" >/dev/null; then
        echo "Exported symbols differ (- $2, + $3):"
        diff -u "$2" "$3" | { c++filt 2>/dev/null || cat; }
        exit 1
    fi
    echo "$(wc -l <"$3") exported symbols, as expected"
    ;;
needed-4)
    needed=$("$2" -d "$3" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p')
    echo "$needed"
    echo "$needed" | grep -qxF "$4" || die "$3 does not need $4"
    ! echo "$needed" | grep -q / || die "$3 records a NEEDED entry by path"
    ;;
*)
    die "usage: $0 exports NM LIB OUT | check LIST REQUIRED | same EXPECTED ACTUAL | needed READELF LIB NAME"
    ;;
esac
