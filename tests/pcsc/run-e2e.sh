#!/usr/bin/env bash
# End-to-end test of the PC/SC transport (docs/pcsc.md has the why of each step).
#
#   run-e2e.sh E2E_TEST_BINARY VPCD_CARD_BINARY
#
# Runs the test binary against a private pcscd with the vpcd reader driver, in
# mount, network and pid namespaces of its own; exit 77 (skipped) when pcscd
# cannot run here. Debugging: COSUPDATE_PCSC_E2E_PCSCD_ARGS=-d, COSUPDATE_PCSC_E2E_KEEP=1.
set -euo pipefail

readonly VPCD_DRIVER=/usr/lib/pcsc/drivers/serial/libifdvpcd.so
readonly PORT=35963 # vpcd's default: the network is the namespace's own
tests=$1
card=$2

skip() {
    echo "pcsc.e2e SKIPPED: $*"
    exit 77
}

# --- outside: re-enter this script in namespaces of its own -----------------
if [ -z "${COSUPDATE_PCSC_SANDBOX:-}" ]; then
    for program in pcscd unshare ip; do
        command -v "$program" >/dev/null || skip "$program is not installed (scripts/setup installs it)"
    done
    [ -e "$VPCD_DRIVER" ] || skip "vsmartcard-vpcd is not installed (scripts/setup installs it)"
    for user in "" --user; do # as root; else in a user namespace
        sandbox=(unshare ${user:+--user --map-root-user} --mount --net --pid --fork --kill-child)
        if "${sandbox[@]}" true 2>/dev/null; then
            exec env COSUPDATE_PCSC_SANDBOX=1 "${sandbox[@]}" --propagation private -- bash "$0" "$@"
        fi
    done
    skip "no mount, network and pid namespaces can be made here"
fi

# --- inside: private /run/pcscd (all of /run if it cannot be made), /proc, loopback
if mkdir -p /run/pcscd 2>/dev/null; then
    mount -t tmpfs tmpfs /run/pcscd
else
    mount -t tmpfs tmpfs /run
    mkdir /run/pcscd
fi
# This pid namespace's own /proc: LeakSanitizer reads /proc/<pid>/task at exit.
mount -t proc proc /proc
ip link set lo up

work=$(mktemp -d)
pcscd_pid=
cleanup() {
    [ -z "$pcscd_pid" ] || { kill "$pcscd_pid" && wait "$pcscd_pid"; } 2>/dev/null || true
    [ -n "${COSUPDATE_PCSC_E2E_KEEP:-}" ] && echo "pcsc.e2e: kept $work" || rm -rf "$work"
}
trap cleanup EXIT

mkdir "$work/reader.conf.d"
printf 'FRIENDLYNAME "Virtual PCD"\nDEVICENAME /dev/null:%s\nLIBPATH %s\nCHANNELID %s\n' \
    "$PORT" "$VPCD_DRIVER" "$PORT" >"$work/reader.conf.d/vpcd"
# Bounded whatever happens here: timeout, and --auto-exit (60 s idle).
timeout 110 pcscd --foreground --auto-exit ${COSUPDATE_PCSC_E2E_PCSCD_ARGS:-} \
    --config "$work/reader.conf.d" >"$work/pcscd.log" 2>&1 &
pcscd_pid=$!
for _ in $(seq 100); do
    [ -S /run/pcscd/pcscd.comm ] && break
    kill -0 "$pcscd_pid" 2>/dev/null || break
    sleep 0.1
done
if [ ! -S /run/pcscd/pcscd.comm ]; then
    cat "$work/pcscd.log"
    skip "pcscd did not start here (its log is above)"
fi

COSUPDATE_PCSC_E2E_CARD=$card COSUPDATE_PCSC_E2E_PORT=$PORT COSUPDATE_PCSC_E2E_DIR=$work \
    timeout 100 "$tests" && exit 0
echo "--- pcscd log"
tail -n 60 "$work/pcscd.log"
exit 1
