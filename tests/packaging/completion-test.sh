#!/usr/bin/env bash
# The bash completion of cosupdate: what it offers for the word being
# completed, case by case.
#
#   completion-test.sh COMPLETION_SCRIPT
set -u

[ $# -eq 1 ] || {
    echo "usage: $0 COMPLETION_SCRIPT" >&2
    exit 2
}
# shellcheck source=/dev/null
source "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
touch update.xml chip.state

commands="validate check update info chip history help"
fields="platform version customer fc fd services platform-id cos-version customer-id"
files="update.xml chip.state"
failures=0

# expect "OFFERED" WORD... : completing the last WORD (bash splits
# "--option=value" into "--option" "=" "value") offers exactly OFFERED.
expect() {
    local expected actual
    expected=$(printf '%s\n' $1 | sed '/^$/d' | sort -u | tr '\n' ' ')
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    COMPREPLY=()
    _cosupdate
    actual=$(printf '%s\n' "${COMPREPLY[@]}" | sed '/^$/d' | sort -u | tr '\n' ' ')
    if [ "$actual" != "$expected" ]; then
        echo "completing '$*': offered [$actual], expected [$expected]"
        failures=$((failures + 1))
    fi
}

expect "$commands" cosupdate ""
expect "$commands" cosupdate-sim ""
expect "check chip" cosupdate c
expect "$commands" cosupdate --json --chip my.state ""
expect "$commands" cosupdate --log-level = info ""
expect "--verbose --version" cosupdate --ver
expect "--aid-fc --aid-fd --aid-fe --android-log" cosupdate update --a
expect "-v" cosupdate -v

# Option values, "--option value" and "--option=value".
expect "sim pcsc replay" cosupdate --transport ""
expect "pcsc" cosupdate --transport p
expect "sim pcsc replay" cosupdate --transport = ""
expect "warning" cosupdate --log-level w
expect "verbose debug info warning error" cosupdate --log-level = ""
expect "$files" cosupdate --chip ""
expect "$files" cosupdate --record ""
expect "- $files" cosupdate update --events ""
expect "" cosupdate history --platform ""
expect "" cosupdate --aid-fe ""

# Command arguments.
expect "- $files" cosupdate update ""
expect "- $files" cosupdate --json check ""
expect "update.xml" cosupdate validate u
expect "" cosupdate update update.xml ""
expect "FC FD FE" cosupdate info ""
expect "FE" cosupdate --transport sim info FE
expect "show reset set" cosupdate chip ""
expect "$fields" cosupdate chip set ""
expect "" cosupdate chip set version ""
expect "customer cos-version customer-id" cosupdate chip set version 0101 c
expect "" cosupdate chip show ""
expect "$commands" cosupdate help ""
expect "" cosupdate help update ""

# After "--" every word is an argument.
expect "$commands" cosupdate -- ""
expect "- $files" cosupdate -- update ""

if [ "$failures" -ne 0 ]; then
    echo "$failures completion case(s) failed"
    exit 1
fi
echo "bash completion: all cases offer what they should"
