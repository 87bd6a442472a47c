#!/usr/bin/env bash
# Runs an installed cosupdate on the example update, on a fresh simulated
# chip: the update is deployed (status 0), then there is nothing left to do
# (status 3).
#
#   run-update.sh COSUPDATE UPDATE_FILE [EMULATOR]
#
# COSUPDATE is cosupdate-sim, or cosupdate with LD_LIBRARY_PATH naming the
# simulation kernel; EMULATOR (qemu-aarch64) runs it for another architecture.
set -euo pipefail

[ $# -ge 2 ] && [ $# -le 3 ] || {
    echo "usage: $0 COSUPDATE UPDATE_FILE [EMULATOR]" >&2
    exit 2
}
tool=$1
update=$2
emulator=${3:-}
work=$(mktemp -d "${TMPDIR:-/tmp}/cosupdate-run.XXXXXX")
trap 'rm -rf "$work"' EXIT

cosupdate() {
    # shellcheck disable=SC2086
    $emulator "$tool" --chip "$work/chip.state" "$@"
}

cosupdate update "$update" >"$work/first.out" 2>"$work/first.err" || {
    cat "$work/first.out" "$work/first.err"
    echo "run-update: the first update did not deploy" >&2
    exit 1
}
grep -qx 'COS version:  0100 -> 0102' "$work/first.out" || {
    cat "$work/first.out"
    echo "run-update: the chip did not end at COS 0102" >&2
    exit 1
}
status=0
cosupdate update "$update" >"$work/second.out" 2>&1 || status=$?
[ "$status" -eq 3 ] || {
    cat "$work/second.out"
    echo "run-update: the second update exited $status, not 3 (nothing to do)" >&2
    exit 1
}
echo "run-update: $tool deployed the update (0100 -> 0102), then had nothing to do"
