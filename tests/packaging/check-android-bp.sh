#!/bin/sh
# Keeps Android.bp and the CMake build in step.
#
#   check-android-bp.sh ANDROID_BP MIRROR
#
# MIRROR, written by CMakeLists.txt here, holds "module NAME compared|skipped"
# (skipped: its targets are not in this build), "source NAME PATH" for each
# C/C++ source of its targets and "unmapped TARGET" for a target with sources
# neither mirrored nor declared CMake-only. Fails on an unmapped target, a
# module of Android.bp with srcs that mirrors nothing, a compared module missing
# from Android.bp, and any difference in a compared module's sources. Only srcs
# at the top level of a module are read; ":module" references are not sources.
set -eu

[ $# -eq 2 ] || {
    echo "usage: $0 ANDROID_BP MIRROR" >&2
    exit 2
}
bp=$1
mirror=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Android.bp -> "NAME" for each module that lists sources, "NAME PATH" for each.
awk '
function fail(msg) { printf "%s: %s\n", FILENAME, msg > "/dev/stderr"; exit 1 }
{ sub(/\/\/.*/, ""); text = text $0 "\n" }
END {
    depth = 0; inlist = 0; name = ""; nsrcs = 0; key = ""; prev = ""
    n = length(text)
    for (i = 1; i <= n; i++) {
        c = substr(text, i, 1)
        if (c == "\"") {
            j = index(substr(text, i + 1), "\"")
            if (j == 0) fail("unterminated string")
            s = substr(text, i + 1, j - 1); i += j
            if (depth == 1 && prev == "name:" && !inlist) name = s
            if (inlist && listkey == "srcs" && listdepth == 1 && s !~ /^:/) srcs[++nsrcs] = s
            prev = "string"; continue
        }
        if (c ~ /[A-Za-z0-9_]/) { word = word c; continue }
        if (word != "") { prev = word; word = "" }
        if (c == ":" ) { prev = prev ":"; if (!inlist) key = prev; continue }
        if (c == "{") { depth++; if (depth == 1) { name = ""; nsrcs = 0 }; prev = ""; continue }
        if (c == "[") {
            if (inlist) fail("nested list")
            inlist = 1; listkey = key; sub(/:$/, "", listkey); listdepth = depth
            if (listkey == "srcs" && depth != 1)
                fail("srcs inside a nested block of module \"" name "\" is not read by this check")
            continue
        }
        if (c == "]") { inlist = 0; prev = ""; continue }
        if (c == "}") {
            depth--
            if (depth < 0) fail("unbalanced }")
            if (depth == 0 && nsrcs > 0) {
                if (name == "") fail("a module with srcs has no name")
                print name
                for (k = 1; k <= nsrcs; k++) print name, srcs[k]
            }
            continue
        }
    }
    if (depth != 0 || inlist) fail("unbalanced braces or brackets")
}' "$bp" >"$work/bp.raw"

# list AWK_PROGRAM FILE...: the program's output, sorted.
list() { awk "$@" | LC_ALL=C sort -u; }
list 1 "$work/bp.raw" >"$work/bp"
list '$1 == "module" && $3 == "compared" { print $2 }' "$mirror" >"$work/compared"
list '$1 == "module" { print $2 }' "$mirror" >"$work/mirrored"
list '$1 == "source" { print $2, $3 }' "$mirror" >"$work/cmake"
list '$1 == "unmapped" { print $2 }' "$mirror" >"$work/unmapped"
list 'NF == 1' "$work/bp" >"$work/bp-modules"
LC_ALL=C comm -23 "$work/bp-modules" "$work/mirrored" >"$work/unmirrored"
LC_ALL=C comm -13 "$work/bp-modules" "$work/compared" >"$work/absent"
list 'NR == FNR { keep[$1] = 1; next } NF == 2 && ($1 in keep)' "$work/compared" "$work/bp" >"$work/bp-srcs"
LC_ALL=C comm -13 "$work/bp-srcs" "$work/cmake" >"$work/cmake-only"
LC_ALL=C comm -23 "$work/bp-srcs" "$work/cmake" >"$work/bp-only"

status=0
report() {
    [ -s "$2" ] || return 0
    echo "$1"
    sed 's/^/  /' "$2"
    status=1
}
lists="tests/packaging/CMakeLists.txt"
report "CMake targets with sources that no Android.bp module mirrors (map them, or declare them CMake-only, in $lists):" "$work/unmapped"
report "Android.bp modules with srcs that mirror no CMake target (map them in $lists):" "$work/unmirrored"
report "Modules mirrored from CMake but missing from $bp (or listing no srcs):" "$work/absent"
report "In CMake but not in $bp (module source):" "$work/cmake-only"
report "In $bp but not in CMake (module source):" "$work/bp-only"
[ "$status" -ne 0 ] || echo "Android.bp mirrors $(wc -l <"$work/compared") module(s) and $(wc -l <"$work/cmake") source(s) of the CMake build"
exit "$status"
