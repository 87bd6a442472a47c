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

case "${1-}" in
exports)
    [ $# -eq 4 ] || die "usage: $0 exports NM LIB OUT"
    # "nm -D --defined-only" prints "address type name"; undefined-weak and
    # absolute entries have no address column and are not ours anyway.
    "$2" -D --defined-only "$3" >"$4.raw"
    awk 'NF == 3 { print $3 }' "$4.raw" | LC_ALL=C sort -u >"$4"
    rm -f "$4.raw"
    [ -s "$4" ] || die "$3 exports nothing"
    ;;
check)
    [ $# -eq 3 ] || die "usage: $0 check LIST REQUIRED"
    # Functions and data of the namespace, and the typeinfo, typeinfo names and
    # vtables of its classes. Which vtables and typeinfo of header-only classes
    # show up depends on the compiler and optimisation level, so REQUIRED names
    # only what every build must export.
    namespace='^_Z(NK?|T[ISV]N)6Zelmar6Device3COS4V1_0'
    foreign=$(grep -Ev "$namespace" "$2" || true)
    missing=$(grep -v '^#' "$3" | LC_ALL=C sort -u | LC_ALL=C comm -23 - "$2")
    [ -z "$foreign" ] || echo "exported outside Zelmar::Device::COS::V1_0:" "$foreign"
    [ -z "$missing" ] || echo "required but not exported:" "$missing"
    [ -z "$foreign$missing" ] || exit 1
    echo "$(wc -l <"$2") exported symbols, all public, none missing"
    ;;
same)
    [ $# -eq 3 ] || die "usage: $0 same EXPECTED ACTUAL"
    for f in "$2" "$3"; do
        [ -f "$f" ] || die "no symbol list at $f (build the library first)"
    done
    if ! diff -u "$2" "$3" >"$3.diff"; then
        echo "Exported symbols differ (- $2, + $3):"
        if command -v c++filt >/dev/null 2>&1; then
            c++filt <"$3.diff"
        else
            cat "$3.diff"
        fi
        rm -f "$3.diff"
        exit 1
    fi
    rm -f "$3.diff"
    echo "$(wc -l <"$3") exported symbols, as expected"
    ;;
needed)
    [ $# -eq 4 ] || die "usage: $0 needed READELF LIB NAME"
    needed=$("$2" -d "$3" | sed -n 's/.*(NEEDED).*\[\(.*\)\]$/\1/p')
    echo "$needed"
    echo "$needed" | grep -qxF "$4" || die "$3 does not need $4"
    if echo "$needed" | grep -q /; then
        die "$3 records a NEEDED entry by path"
    fi
    ;;
*)
    die "usage: $0 exports|check|same|needed ..."
    ;;
esac
