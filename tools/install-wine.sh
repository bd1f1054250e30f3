#!/usr/bin/env bash
# Installs 32-bit Wine (Debian's wine and wine32:i386), which runs the tests of
# the Windows builds. wine32 is an i386 package, so the i386 architecture is
# added. Wine comes from the release and its updates only: the security
# suite's i386 index can lag behind its amd64 one, and apt then finds no i386
# twin for the amd64 libraries it took from there. apt reads a sources file of
# our own for this; the machine's apt configuration stays as it is.
set -euo pipefail

installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"; }
installed wine && installed wine32:i386 && exit 0

fail() {
    echo "install-wine.sh: $*" >&2
    echo "install-wine.sh: without 32-bit Wine the Windows builds' tests cannot run" >&2
    exit 1
}

sudo=""
[ "$(id -u)" -eq 0 ] || sudo=sudo
export DEBIAN_FRONTEND=noninteractive

codename=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
[ -n "$codename" ] || fail "/etc/os-release names no Debian release"
mirror=$(apt-get indextargets --no-release-info --format '$(REPO_URI)' "Release: $codename" "Target-Of: deb" | head -n 1)
[ -n "$mirror" ] || fail "no apt source of the machine lists Debian's $codename suite"

echo "Installing wine wine32:i386 from $mirror $codename $codename-updates"
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
"${apt[@]}" install -y --no-install-recommends wine wine32:i386 || fail "apt-get could not install wine wine32:i386"
installed wine32:i386 || fail "wine32:i386 is still not installed"
