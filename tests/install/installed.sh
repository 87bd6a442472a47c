#!/usr/bin/env bash
# Installs a build into a temporary prefix (cmake --install) and checks the
# result as an integrator would use it: nothing of the tests is installed,
# no installed program or library points at the simulation kernel's
# directory, cosupdate-sim updates a chip with the installed example, and the
# consumer builds and runs against the installation (consumers.sh).
#
#   installed.sh BUILD_DIR
set -euo pipefail

[ $# -eq 1 ] || {
    echo "usage: $0 BUILD_DIR" >&2
    exit 2
}
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/cosupdate-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
"$here/layout.sh" "$prefix"
"$here/run-update.sh" "$prefix/bin/cosupdate-sim" "$prefix/share/doc/cosupdate/examples/update.xml"
"$here/consumers.sh" "" "$prefix" "$prefix/share/doc/cosupdate/examples/update.xml"
