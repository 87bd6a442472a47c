#!/bin/sh
# Writes the Debian symbols file of a shared library from its export list
# (tests/packaging/library-interface.sh exports): every symbol, required since
# VERSION. A symbols file, unlike a shlibs file, is keyed by the SONAME as it
# is, so it serves a SONAME without a version.
#
#   symbols.sh EXPORTS SONAME PACKAGE VERSION OUT
set -eu
[ $# -eq 5 ] || {
    echo "usage: $0 EXPORTS SONAME PACKAGE VERSION OUT" >&2
    exit 2
}
exports=$1 soname=$2 package=$3 version=$4 out=$5
[ -s "$exports" ] || {
    echo "symbols.sh: $exports lists no symbol" >&2
    exit 1
}
{
    echo "$soname $package #MINVER#"
    echo "* Build-Depends-Package: $package-dev"
    sed "s/^/ /; s/\$/@Base $version/" "$exports"
} >"$out"
