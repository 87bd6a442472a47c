#!/bin/sh
# Writes the Debian symbols file of a shared library: every symbol it
# exports, each required since VERSION. A symbols file, unlike a shlibs file,
# is keyed by the SONAME as it is, so it serves a SONAME without a version.
#
#   symbols.sh NM LIBRARY PACKAGE VERSION OUT
set -eu
[ $# -eq 5 ] || {
    echo "usage: $0 NM LIBRARY PACKAGE VERSION OUT" >&2
    exit 2
}
nm=$1 library=$2 package=$3 version=$4 out=$5
soname=$(basename "$library")
{
    echo "$soname $package #MINVER#"
    echo "* Build-Depends-Package: $package-dev"
    # "address type name": only defined symbols have all three.
    "$nm" -D --defined-only "$library" | awk -v v="$version" 'NF == 3 { print " " $3 "@Base " v }' |
        LC_ALL=C sort -u
} >"$out.tmp"
[ "$(wc -l <"$out.tmp")" -gt 2 ] || {
    echo "symbols.sh: $library exports nothing" >&2
    exit 1
}
mv "$out.tmp" "$out"
