#!/bin/sh
# The library reaches the patch kernel through one module only.
#
#   kernel-boundary.sh SRC_DIR KERNEL_HEADER BOUNDARY
#
# Fails when a file below SRC_DIR other than BOUNDARY.h and BOUNDARY.cpp names
# a nativeCOSPatch_ operation, and when BOUNDARY.cpp does not call every
# operation KERNEL_HEADER declares: a check that found no call at all would
# prove nothing.
set -eu

[ $# -eq 3 ] || {
    echo "usage: $0 SRC_DIR KERNEL_HEADER BOUNDARY" >&2
    exit 2
}
src=$1
header=$2
boundary=$3
operation='nativeCOSPatch_[A-Za-z_]+'

outside=$(grep -rlE "$operation" "$src" | grep -vxF -e "$src/$boundary.h" -e "$src/$boundary.cpp" || true)
if [ -n "$outside" ]; then
    echo "kernel operations named outside $boundary:"
    # shellcheck disable=SC2086
    grep -nHE "$operation" $outside
    exit 1
fi

declared=$(grep -oE "$operation\(" "$header" | tr -d '(' | sort -u)
[ -n "$declared" ] || {
    echo "no kernel operations declared in $header"
    exit 1
}
missing=""
for name in $declared; do
    grep -q "$name(" "$src/$boundary.cpp" || missing="$missing $name"
done
if [ -n "$missing" ]; then
    echo "declared by the kernel but not called from $boundary.cpp:$missing"
    exit 1
fi
echo "$(echo "$declared" | wc -l) kernel operations, all called from $boundary.cpp and nowhere else"
