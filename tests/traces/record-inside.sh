#!/usr/bin/env bash
# The runs record-traces.sh records, inside run-e2e.sh's sandbox: pcscd is up,
# COSUPDATE_PCSC_E2E_CARD, _PORT and _DIR say where the card program, its
# port and a scratch directory are.
set -euo pipefail

readonly reader="Virtual PCD 00 00"
tool=$COSUPDATE_TRACES_TOOL
wait_reader=$COSUPDATE_TRACES_WAIT
root=$COSUPDATE_TRACES_ROOT
work=$COSUPDATE_PCSC_E2E_DIR
card_pid=

# insert STATE [CARD OPTIONS...]: a card holding STATE goes into the reader.
# After a card pulled mid-exchange, vpcd may turn the next card away once.
insert() {
    local state=$1 tries
    shift
    for tries in 1 2 3; do
        "$wait_reader" "$reader" empty
        "$COSUPDATE_PCSC_E2E_CARD" --state "$state" --port "$COSUPDATE_PCSC_E2E_PORT" "$@" \
            >>"$work/card.log" 2>&1 &
        card_pid=$!
        "$wait_reader" "$reader" present && return 0
        kill "$card_pid" 2>/dev/null || true
        wait "$card_pid" 2>/dev/null || true
    done
    echo "record-traces: no card in $reader" >&2
    return 1
}

# remove: the card leaves (if it has not pulled itself out already).
remove() {
    kill "$card_pid" 2>/dev/null || true
    wait "$card_pid" 2>/dev/null || true
    "$wait_reader" "$reader" empty
}

# record NAME UPDATE_FILE: one update through the reader, recorded in NAME/.
record() {
    local name=$1 file=$2 out=$root/tests/traces/$1 status=0
    mkdir -p "$out"
    (cd "$root" && "$tool" --transport pcsc:"$reader" --record "$out/trace" \
        --log-level verbose --json update "$file" >"$out/result.json" 2>"$out/stderr") || status=$?
    echo "$status" >"$out/exit-status"
    echo "$file" >"$out/args"
    echo "record-traces: $name: exit status $status, $(($(wc -l <"$out/trace") - 1)) calls"
}

fresh() {
    "$tool" --chip "$work/$1.state" chip reset >/dev/null
    echo "$work/$1.state"
}

state=$(fresh deploy)
insert "$state"
record deploy examples/update.xml
remove

# The card leaves right after executing its 13th APDU, unanswered: MANAGE
# CHANNEL (refused), four FE reads (SELECT, READ BINARY), SELECT loader,
# BEGIN PATCH, LOAD BLOCK, then the second LOAD BLOCK of the first patch. The
# next run, with the card back, resumes the update.
state=$(fresh pulled)
insert "$state" --remove-after 13
record pulled examples/update.xml
remove
insert "$state"
record resumed examples/update.xml
remove

state=$(fresh script-fails)
insert "$state"
record script-fails tests/traces/script-fails/update.xml
remove
