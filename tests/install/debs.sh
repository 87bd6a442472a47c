#!/usr/bin/env bash
# Checks the Debian packages that scripts/package wrote, one directory per
# architecture, and runs what they install.
#
#   debs.sh PACKAGE_DIR...
#
# For each architecture: the four packages are there, each of that
# architecture and with its Multi-Arch field, every ELF file is built for it,
# and apt finds every dependency installed on this machine. Then dpkg
# installs them into a clean root of their own (dpkg --root: dpkg unpacks and
# configures them there, but the root has no system of its own, so the
# dependencies on libc, libbase and the others are checked against this
# machine by apt instead), and:
#   - the host's architecture: cosupdate-sim updates a chip with the
#     installed example, the consumer builds against the installed
#     development package and runs; the other architectures' Multi-Arch: same
#     packages are installed beside them, as on a machine that cross-builds;
#   - another architecture: the installed cosupdate runs under
#     qemu-<cpu> on the installed example.
set -euo pipefail

[ $# -ge 1 ] || {
    echo "usage: $0 PACKAGE_DIR..." >&2
    exit 2
}
here=$(cd "$(dirname "$0")" && pwd)
host_arch=$(dpkg --print-architecture)
work=$(mktemp -d "${TMPDIR:-/tmp}/cosupdate-debs.XXXXXX")
trap 'rm -rf "$work"' EXIT

declare -A multiarch=(
    [libnativecosupdateapi-zelmar]=same
    [libnativecosupdateapi-zelmar-dev]=same
    [libnativecospatchkernel-zelmar-sim]=same
    [cosupdate]=foreign
)
declare -A elf_machine=([amd64]="Advanced Micro Devices X86-64" [arm64]=AArch64)
declare -A qemu=([arm64]=qemu-aarch64)

fail() {
    echo "debs: $*" >&2
    exit 1
}

# check_packages DIR ARCH: fields, ELF machines and dependencies.
check_packages() {
    local dir=$1 arch=$2 deb package field contents file machine
    for package in "${!multiarch[@]}"; do
        deb=$(ls "$dir/${package}_"*"_$arch.deb" 2>/dev/null) || fail "no $package for $arch in $dir"
        field=$(dpkg-deb --field "$deb" Architecture)
        [ "$field" = "$arch" ] || fail "$deb: Architecture $field"
        field=$(dpkg-deb --field "$deb" Multi-Arch)
        [ "$field" = "${multiarch[$package]}" ] || fail "$deb: Multi-Arch '$field'"
        contents=$work/contents-$arch-$package
        dpkg-deb -x "$deb" "$contents"
        while IFS= read -r -d '' file; do
            head -c 4 "$file" | grep -q ELF || continue
            machine=$(readelf -h "$file" | sed -n 's/^ *Machine: *//p')
            [ "$machine" = "${elf_machine[$arch]}" ] || fail "$deb: ${file#"$contents"} is for $machine"
        done < <(find "$contents" -type f -print0)
    done
    dpkg-deb --field "$dir"/libnativecosupdateapi-zelmar_*"_$arch.deb" Depends | grep -q 'android-libbase' ||
        fail "libnativecosupdateapi-zelmar does not depend on android-libbase"
    # apt would install our four packages and nothing else: every other
    # dependency is a Debian package, installed here.
    apt-get install --simulate -q "$dir"/*"_$arch.deb" >"$work/apt-$arch.log" 2>&1 ||
        { cat "$work/apt-$arch.log"; fail "apt cannot install the $arch packages"; }
    local planned
    planned=$(sed -n 's/^Inst \([^ :]*\).*/\1/p' "$work/apt-$arch.log" | sort | tr '\n' ' ')
    [ "$planned" = "$(printf '%s\n' "${!multiarch[@]}" | sort | tr '\n' ' ')" ] ||
        fail "apt would install, for the $arch packages: $planned"
    echo "debs: $arch: 4 packages, fields, ELF machines and dependencies as expected"
}

# install_into ROOT DEB...: dpkg installs into ROOT, which holds nothing else.
install_into() {
    local root=$1
    shift
    if [ ! -d "$root/var/lib/dpkg" ]; then
        mkdir -p "$root/var/lib/dpkg/info" "$root/var/lib/dpkg/updates"
        touch "$root/var/lib/dpkg/status"
    fi
    local deb arch
    for arch in $(for deb in "$@"; do dpkg-deb --field "$deb" Architecture; done | sort -u); do
        [ "$arch" = "$host_arch" ] || dpkg --root="$root" --add-architecture "$arch"
    done
    dpkg --root="$root" --force-depends --force-script-chrootless --install "$@" \
        >"$root.dpkg.log" 2>&1 || { cat "$root.dpkg.log"; fail "dpkg could not install into $root"; }
}

dirs=()
for dir in "$@"; do
    dirs+=("$(realpath "$dir")")
done
for dir in "${dirs[@]}"; do
    arch=$(dpkg-deb --field "$(ls "$dir"/*.deb | head -1)" Architecture)
    check_packages "$dir" "$arch"
    root=$work/root-$arch
    install_into "$root" "$dir"/*"_$arch.deb"
    "$here/layout.sh" "$root/usr"
    example=$root/usr/share/doc/cosupdate/examples/update.xml
    if [ "$arch" = "$host_arch" ]; then
        "$here/run-update.sh" "$root/usr/bin/cosupdate-sim" "$example"
        "$here/consumers.sh" "$root" /usr "$example"
    else
        emulator=${qemu[$arch]:-}
        command -v "$emulator" >/dev/null || fail "no emulator for $arch (${emulator:-none known})"
        libdir=$root/usr/lib/$(dpkg-architecture -a "$arch" -qDEB_HOST_MULTIARCH 2>/dev/null)
        LD_LIBRARY_PATH=$libdir/nativecosupdate/sim:$libdir \
            "$here/run-update.sh" "$root/usr/bin/cosupdate" "$example" "$emulator"
    fi
done

# Multi-Arch: same packages of every architecture installed side by side.
same=()
for dir in "${dirs[@]}"; do
    for package in "${!multiarch[@]}"; do
        [ "${multiarch[$package]}" = same ] && same+=("$dir/${package}_"*.deb)
    done
done
install_into "$work/root-multiarch" "${same[@]}"
echo "debs: the Multi-Arch: same packages of $# architecture(s) install side by side"
