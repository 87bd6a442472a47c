#!/bin/sh
# Keeps Android.bp and the CMake build in step.
#
#   check-android-bp.sh ANDROID_BP MIRROR
#
# MIRROR is written by CMake (tests/packaging/CMakeLists.txt) and lists, for
# every Android.bp module that mirrors CMake targets, the C/C++ sources of those
# targets:
#   module NAME compared|skipped      skipped: its targets are not in this build
#   source NAME PATH                  PATH relative to the repository root
#   unmapped TARGET                   a target with sources, neither mirrored
#                                     nor declared CMake-only
#
# Fails when a compared module's srcs in Android.bp differ from its sources in
# CMake, when a module named in MIRROR is missing from Android.bp, when a
# module of Android.bp lists sources but mirrors no CMake target, and when a
# CMake target is unmapped. Only srcs at
# the top level of a module are read; ":module" references are not sources.
set -eu

[ $# -eq 2 ] || {
    echo "usage: $0 ANDROID_BP MIRROR" >&2
    exit 2
}
bp=$1
mirror=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Android.bp -> "NAME" for each module that lists source files, "NAME PATH"
# for each of them.
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
LC_ALL=C sort -u "$work/bp.raw" >"$work/bp"

awk '$1 == "module" && $3 == "compared" { print $2 }' "$mirror" | LC_ALL=C sort -u >"$work/compared"
awk '$1 == "module" { print $2 }' "$mirror" | LC_ALL=C sort -u >"$work/mirrored"
awk '$1 == "source" { print $2, $3 }' "$mirror" | LC_ALL=C sort -u >"$work/cmake"

status=0
report() {
    if [ -s "$2" ]; then
        echo "$1"
        sed 's/^/  /' "$2"
        status=1
    fi
}

awk '$1 == "unmapped" { print $2 }' "$mirror" >"$work/unmapped"
report "CMake targets with sources that no Android.bp module mirrors (map them, or declare them CMake-only, in tests/packaging/CMakeLists.txt):" "$work/unmapped"

# Modules of Android.bp that list sources and mirror nothing.
awk 'NF == 1' "$work/bp" | LC_ALL=C comm -23 - "$work/mirrored" >"$work/unmirrored"
report "Android.bp modules with srcs that mirror no CMake target (map them in tests/packaging/CMakeLists.txt):" "$work/unmirrored"

# Compared modules missing from Android.bp.
awk 'NF == 1' "$work/bp" | LC_ALL=C comm -13 - "$work/compared" >"$work/absent"
report "Modules mirrored from CMake but missing from $bp (or listing no srcs):" "$work/absent"

# Sources of compared modules, both ways.
awk 'NR == FNR { keep[$1] = 1; next } NF == 2 && ($1 in keep)' "$work/compared" "$work/bp" >"$work/bpsrcs"
LC_ALL=C comm -13 "$work/bpsrcs" "$work/cmake" >"$work/cmake-only"
LC_ALL=C comm -23 "$work/bpsrcs" "$work/cmake" >"$work/bp-only"
report "In CMake but not in $bp (module source):" "$work/cmake-only"
report "In $bp but not in CMake (module source):" "$work/bp-only"

if [ "$status" -eq 0 ]; then
    echo "Android.bp mirrors $(wc -l <"$work/compared") module(s) and $(wc -l <"$work/cmake") source(s) of the CMake build"
    skipped=$(awk '$1 == "module" && $3 == "skipped" { print $2 }' "$mirror")
    [ -z "$skipped" ] || echo "not in this build, not compared:" $skipped
fi
exit "$status"
