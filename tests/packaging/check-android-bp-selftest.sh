#!/bin/sh
# Runs check-android-bp.sh on the real Android.bp and mirror, then on copies
# broken in each way the check exists to catch: each must fail, naming what
# drifted.
#
#   check-android-bp-selftest.sh CHECKER ANDROID_BP MIRROR
set -eu

checker=$1
bp=$2
mirror=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

sh "$checker" "$bp" "$mirror" >"$work/out" 2>&1 || {
    echo "FAIL: the check rejects the tree as it is:"
    cat "$work/out"
    exit 1
}

# expect_rejected WHAT NEEDLE BP MIRROR: the check must fail and mention NEEDLE.
expect_rejected() {
    if sh "$checker" "$3" "$4" >"$work/out" 2>&1; then
        echo "FAIL: $1: accepted"
        failures=$((failures + 1))
    elif ! grep -qF "$2" "$work/out"; then
        echo "FAIL: $1: rejected without naming $2:"
        cat "$work/out"
        failures=$((failures + 1))
    else
        echo "ok: $1"
    fi
}

# A compared module and one of its sources, taken from the mirror.
module=$(awk '$1 == "module" && $3 == "compared" { print $2; exit }' "$mirror")
source=$(awk -v m="$module" '$1 == "source" && $2 == m { print $3; exit }' "$mirror")
[ -n "$module" ] && [ -n "$source" ] || {
    echo "FAIL: the mirror compares no module with sources"
    exit 1
}

# A source added to CMake only.
cp "$mirror" "$work/mirror-added"
echo "source $module src/AddedToCMakeOnly.cpp" >>"$work/mirror-added"
expect_rejected "source only in CMake" "src/AddedToCMakeOnly.cpp" "$bp" "$work/mirror-added"

# A source added to Android.bp only, next to an existing one.
awk -v s="\"$source\"," '{ print } index($0, s) { print "        \"src/AddedToBpOnly.cpp\"," }' \
    "$bp" >"$work/bp-added"
expect_rejected "source only in Android.bp" "src/AddedToBpOnly.cpp" "$work/bp-added" "$mirror"

# A source dropped from Android.bp.
grep -vF "\"$source\"" "$bp" >"$work/bp-dropped"
expect_rejected "source dropped from Android.bp" "$source" "$work/bp-dropped" "$mirror"

# A new module with sources that mirrors nothing.
cp "$bp" "$work/bp-stray"
printf 'cc_binary {\n    name: "stray-tool",\n    srcs: ["tools/stray.cpp"],\n}\n' >>"$work/bp-stray"
expect_rejected "module mirroring nothing" "stray-tool" "$work/bp-stray" "$mirror"

# A mirrored module missing from Android.bp.
cp "$mirror" "$work/mirror-module"
printf 'module libmissing compared\nsource libmissing src/Missing.cpp\n' >>"$work/mirror-module"
expect_rejected "module missing from Android.bp" "libmissing" "$bp" "$work/mirror-module"

# A new CMake target that nobody mapped.
cp "$mirror" "$work/mirror-unmapped"
echo "unmapped cosupdate_new_tool" >>"$work/mirror-unmapped"
expect_rejected "CMake target mirrored nowhere" "cosupdate_new_tool" "$bp" "$work/mirror-unmapped"

# Sources in a nested block are not read: refuse rather than pass them.
awk '{ print } /^cc_library_shared {/ && !done { print "    target: { host: { srcs: [\"src/Nested.cpp\"] } },"; done = 1 }' \
    "$bp" >"$work/bp-nested"
expect_rejected "srcs in a nested block" "nested block" "$work/bp-nested" "$mirror"

[ "$failures" -eq 0 ]
