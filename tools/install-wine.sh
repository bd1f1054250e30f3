#!/usr/bin/env bash
# Installs Wine for 32- and 64-bit programs (Debian's wine, wine32:i386 and
# wine64), which runs the tests of the Windows builds. wine32 is an i386
# package, so the i386 architecture is added. Wine comes from the release and its updates only: the security
# suite's i386 index can lag behind its amd64 one, and apt then finds no i386
# twin for the amd64 libraries it took from there. apt reads a sources file of
# our own for this; the machine's apt configuration stays as it is.
set -euo pipefail

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }
packages=(wine wine32:i386 wine64)
all_installed() {
    for package in "${packages[@]}"; do installed "$package" || return 1; done
}
all_installed && exit 0

fail() {
    echo "install-wine.sh: $*" >&2
    echo "install-wine.sh: without Wine the Windows builds' tests cannot run" >&2
    exit 1
}

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive

codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
[ -n "$codename" ] || fail "/etc/os-release names no Debian release"
mirror=$(apt-get indextargets --no-release-info --format '$(REPO_URI)' "Release: $codename" "Target-Of: deb" | head -n 1)
[ -n "$mirror" ] || fail "no apt source of the machine lists Debian's $codename suite"

echo "Installing ${packages[*]} from $mirror $codename $codename-updates"
if ! dpkg --print-foreign-architectures | grep -qx i386; then
    $sudo dpkg --add-architecture i386 || fail "could not add the i386 architecture"
fi

sources=$(mktemp -d)
trap 'rm -rf "$sources"' EXIT
mkdir "$sources/parts"
printf 'deb %s %s main\n' "$mirror" "$codename" "$mirror" "$codename-updates" >"$sources/sources.list"
chmod -R a+rX "$sources"
# The package lists are the machine's: keep those of its other sources.
apt=($sudo apt-get -q -o Dir::Etc::SourceList="$sources/sources.list" -o Dir::Etc::SourceParts="$sources/parts"
     -o APT::Get::List-Cleanup=false)
"${apt[@]}" update || fail "apt-get update failed for $mirror $codename $codename-updates"
"${apt[@]}" install -y --no-install-recommends "${packages[@]}" || fail "apt-get could not install ${packages[*]}"
all_installed || fail "${packages[*]} are still not all installed"
