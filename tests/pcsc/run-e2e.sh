#!/usr/bin/env bash
# End-to-end test of the PC/SC transport: starts a private pcscd whose vpcd
# reader driver waits for virtual cards on loopback, runs every case of the
# e2e test binary in a process of its own (each case puts its own vpcd-card
# into the reader) and stops pcscd again, by process id.
#
#   run-e2e.sh E2E_TEST_BINARY VPCD_CARD_BINARY
#
# pcscd has fixed socket and pid file paths (/run/pcscd), so it runs in a
# mount namespace of its own with a fresh /run/pcscd, and in a network
# namespace of its own where only loopback exists: nothing clashes with a
# pcscd of the machine, and vpcd's port is reachable from nowhere else. As
# root that takes `unshare`; otherwise a user namespace. Without namespaces it
# runs pcscd directly if no other pcscd is running. Exit 77 (skipped) when
# pcscd cannot run here at all.
#
# For debugging: COSUPDATE_PCSC_E2E_PCSCD_ARGS adds options to pcscd (-d: debug
# log), COSUPDATE_PCSC_E2E_LOG_LINES is how much of its log a failure shows,
# COSUPDATE_PCSC_E2E_KEEP keeps the work directory (logs, chip states).
set -euo pipefail

readonly SKIPPED=77
readonly VPCD_DRIVER=/usr/lib/pcsc/drivers/serial/libifdvpcd.so
readonly PCSCD_DIR=/run/pcscd
readonly VPCD_DEFAULT_PORT=35963
readonly DAEMON_LIMIT=110  # seconds; ctest gives the whole test 120
readonly CASE_LIMIT=60

tests=$1
card=$2

skip() {
    echo "pcsc.e2e SKIPPED: $*"
    exit "$SKIPPED"
}

# --- 1. outside: pick the sandbox and re-enter this script inside it ---------
if [ -z "${COSUPDATE_PCSC_SANDBOX:-}" ]; then
    command -v pcscd >/dev/null || skip "pcscd is not installed (scripts/setup installs it)"
    [ -e "$VPCD_DRIVER" ] || skip "vsmartcard-vpcd is not installed (scripts/setup installs it)"
    net=()
    command -v ip >/dev/null && net=(--net)
    if unshare --mount "${net[@]}" true 2>/dev/null; then
        exec env COSUPDATE_PCSC_SANDBOX="namespace${net:+ $net}" \
            unshare --mount "${net[@]}" --propagation private -- bash "$0" "$@"
    fi
    if unshare --user --map-root-user --mount "${net[@]}" true 2>/dev/null; then
        exec env COSUPDATE_PCSC_SANDBOX="user namespace${net:+ $net}" \
            unshare --user --map-root-user --mount "${net[@]}" --propagation private -- \
            bash "$0" "$@"
    fi
    if [ -f "$PCSCD_DIR/pcscd.pid" ] && kill -0 "$(cat "$PCSCD_DIR/pcscd.pid")" 2>/dev/null; then
        skip "a pcscd already runs here and no namespace can be made to run a private one"
    fi
    mkdir -p "$PCSCD_DIR" 2>/dev/null && [ -w "$PCSCD_DIR" ] ||
        skip "cannot write $PCSCD_DIR and no namespace can be made"
    export COSUPDATE_PCSC_SANDBOX=none
fi

# --- 2. inside: private /run/pcscd and loopback, pcscd, the cases ------------
echo "pcsc.e2e: sandbox: $COSUPDATE_PCSC_SANDBOX"
port=$VPCD_DEFAULT_PORT
case $COSUPDATE_PCSC_SANDBOX in
*namespace*)
    if [ ! -d "$PCSCD_DIR" ] && ! mkdir -p "$PCSCD_DIR" 2>/dev/null; then
        PCSCD_DIR_MOUNT=/run  # cannot create it on the machine: hide all of /run
    fi
    mount -t tmpfs tmpfs "${PCSCD_DIR_MOUNT:-$PCSCD_DIR}"
    mkdir -p "$PCSCD_DIR"
    ;;
esac
case $COSUPDATE_PCSC_SANDBOX in
*--net) ip link set lo up ;;
*) port=$((20000 + 2 * (RANDOM % 10000))) ;; # shared network: stay off vpcd's default
esac

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
cat >"$work/reader.conf.d/vpcd" <<CONF
FRIENDLYNAME "Virtual PCD"
DEVICENAME   /dev/null:$port
LIBPATH      $VPCD_DRIVER
CHANNELID    $port
CONF

# --auto-exit: should everything else fail, pcscd still leaves after 60 s idle.
timeout "$DAEMON_LIMIT" pcscd --foreground --auto-exit ${COSUPDATE_PCSC_E2E_PCSCD_ARGS:-} --config "$work/reader.conf.d" \
    >"$work/pcscd.log" 2>&1 &
pcscd_pid=$!
for _ in $(seq 100); do
    [ -S "$PCSCD_DIR/pcscd.comm" ] && break
    kill -0 "$pcscd_pid" 2>/dev/null || break
    sleep 0.1
done
if [ ! -S "$PCSCD_DIR/pcscd.comm" ]; then
    cat "$work/pcscd.log"
    skip "pcscd did not start here (its log is above)"
fi

export COSUPDATE_PCSC_E2E_CARD=$card
export COSUPDATE_PCSC_E2E_PORT=$port
export COSUPDATE_PCSC_E2E_DIR=$work

# One process per case: the library and its kernel keep process-wide state.
mapfile -t cases < <("$tests" --gtest_list_tests | awk '
    /^[^ ]/ { suite = $1; next }
    /^  /   { print suite $1 }')
[ "${#cases[@]}" -gt 0 ] || { echo "pcsc.e2e: no test cases listed"; exit 1; }
passed=0
failed=0
# A case's output (the engine logs to stderr) is shown only when it fails. A
# case passes when it ran and passed: a filter that matched nothing, or a
# skipped case, does not count.
for name in "${cases[@]}"; do
    if timeout "$CASE_LIMIT" "$tests" --gtest_filter="$name" >"$work/case.out" 2>&1 &&
        grep -qx '\[  PASSED  \] 1 test\.' "$work/case.out"; then
        passed=$((passed + 1))
        echo "pcsc.e2e: ok     $name"
    else
        failed=$((failed + 1))
        cat "$work/case.out"
        echo "pcsc.e2e: FAILED $name"
    fi
done
if [ "$failed" -ne 0 ]; then
    echo "--- pcscd log"
    tail -n "${COSUPDATE_PCSC_E2E_LOG_LINES:-60}" "$work/pcscd.log"
fi
echo "pcsc.e2e: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
