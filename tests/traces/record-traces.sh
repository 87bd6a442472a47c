#!/usr/bin/env bash
# Records the committed traces again, through the real PC/SC path: a private
# pcscd with the vpcd reader driver and the simulated chip as vpcd-card, set
# up by tests/pcsc/run-e2e.sh (see docs/pcsc.md), then cosupdate --record.
#
#   tests/traces/record-traces.sh [BUILD_DIR]     (default: build/default)
#
# Each run's directory under tests/traces/ gets: trace (the recorded calls),
# args (the update file, relative to the repository), stderr (the run's log:
# --log-level verbose --json), result.json and exit-status. Exit 77: pcscd
# cannot run here (the reason is printed).
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=$(cd "${1:-$root/build/default}" && pwd)
for program in tools/cosupdate/cosupdate sim/vpcd/vpcd-card tests/traces/reader-wait; do
    [ -x "$build/$program" ] || { echo "record-traces: $build/$program is not built" >&2; exit 1; }
done

export COSUPDATE_TRACES_TOOL=$build/tools/cosupdate/cosupdate
export COSUPDATE_TRACES_WAIT=$build/tests/traces/reader-wait
export COSUPDATE_TRACES_ROOT=$root
exec bash "$root/tests/pcsc/run-e2e.sh" "$here/record-inside.sh" "$build/sim/vpcd/vpcd-card"
