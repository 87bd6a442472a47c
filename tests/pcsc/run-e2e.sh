#!/usr/bin/env bash
# End-to-end test of the PC/SC transport (docs/pcsc.md): starts a private
# pcscd with the vpcd reader driver, runs the e2e test binary (each case puts
# its own vpcd-card into the reader) and stops pcscd again, by process id.
#
#   run-e2e.sh E2E_TEST_BINARY VPCD_CARD_BINARY
#
# pcscd's paths are fixed (/run/pcscd), so it runs in namespaces of its own:
# mount (a fresh /run/pcscd), network (only loopback: no clash, vpcd's port
# reachable from nowhere else) and pid (all its processes die with it, should
# ctest kill the test). Exit 77 (skipped) when pcscd cannot run here.
# Debugging: COSUPDATE_PCSC_E2E_PCSCD_ARGS=-d, COSUPDATE_PCSC_E2E_KEEP=1.
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

# --- inside: private /run/pcscd (all of /run if it cannot be made), loopback -
if mkdir -p /run/pcscd 2>/dev/null; then
    mount -t tmpfs tmpfs /run/pcscd
else
    mount -t tmpfs tmpfs /run
    mkdir /run/pcscd
fi
ip link set lo up

work=$(mktemp -d)
pcscd_pid=
cleanup() {
    if [ -n "$pcscd_pid" ]; then
        kill "$pcscd_pid" 2>/dev/null || true
        wait "$pcscd_pid" 2>/dev/null || true
    fi
    if [ -n "${COSUPDATE_PCSC_E2E_KEEP:-}" ]; then
        echo "pcsc.e2e: kept $work"
    else
        rm -rf "$work"
    fi
}
trap cleanup EXIT

mkdir "$work/reader.conf.d"
printf 'FRIENDLYNAME "Virtual PCD"\nDEVICENAME /dev/null:%s\nLIBPATH %s\nCHANNELID %s\n' \
    "$PORT" "$VPCD_DRIVER" "$PORT" >"$work/reader.conf.d/vpcd"
# Under timeout, and --auto-exit (leaves after 60 s idle): bounded whatever
# happens to this script. ctest gives the whole test 120 s.
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

if COSUPDATE_PCSC_E2E_CARD=$card COSUPDATE_PCSC_E2E_PORT=$PORT COSUPDATE_PCSC_E2E_DIR=$work \
    timeout 100 "$tests"; then
    exit 0
fi
echo "--- pcscd log"
tail -n 60 "$work/pcscd.log"
exit 1
